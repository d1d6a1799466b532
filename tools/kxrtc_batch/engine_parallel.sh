# shellcheck shell=bash
# The engine that runs jobs by GNU parallel, on this machine or on those that ssh reaches.
# shellcheck disable=SC2154  # The variables are those of kxrtc-batch.

# For the answer of a machine that ssh reaches.
machine_limit_s=60
shopt -s extglob

engine_check() {
  command -v parallel > /dev/null && return
  say "GNU parallel is missing: install it (apt install parallel)"
  return 1
}

engine_command() {
  command=(parallel --will-cite --line-buffer --halt never --jobs "${jobs:-100%}"
    --termseq "TERM,5000,KILL" --null)
  [ -z "$1" ] || command+=(--sshlogin "$1")
}

# Sets $quoted to the word by which any shell means this text.
shell_word() { quoted="'${1//\'/\'\\\'\'}'"; }

# Prints the command of each number in a file, a zero byte behind each. Whole commands, because parallel
# would replace a "{}" in the paths, and its shell would read them.
engine_jobs() {
  local quoted front number
  shell_word "$job"
  # On another machine parallel kills the job as soon as a shell around it has ended.
  front="exec $quoted"
  shell_word "$work"
  front+=" $quoted"
  while read -r number; do printf '%s %s\0' "$front" "$number"; done < "$1"
}

engine_describe() {
  local command
  engine_command "$machines"
  printf '%q ' "${command[@]}"
  printf '\n'
  engine_jobs <(head -n 1 -- "$1") | tr '\0' '\n'
}

# Sets $ready to those of the machines that have the files of this run, commas between them, and tells
# of the others. On one without them each job would end at once, and so it would take them all.
find_ready_machines() {
  local quoted file look=: answers machine all
  for file in "$job" "$work/settings"; do
    shell_word "$file"
    look+=" && test -f $quoted"
  done
  # It names a machine without the number of jobs in front.
  answers=$(parallel --will-cite --nonall --tag --timeout "$machine_limit_s" --sshlogin "$machines" \
    "$look && echo ready") || true
  ready=
  IFS=, read -r -a all <<< "$machines"
  for machine in "${all[@]}"; do
    if [[ $'\n'$answers == *$'\n'"${machine#+([0-9])/}"$'\t'ready* ]]; then
      ready+=${ready:+,}$machine
    else
      say "$machine takes no jobs: it does not answer, or has no $out_dir or $job"
    fi
  done
}

engine_run() {
  local command ready=
  if [ -n "$machines" ]; then
    find_ready_machines
    [ -n "$ready" ] || return 0
  fi
  engine_command "$ready"
  exec "${command[@]}" < <(engine_jobs "$1")
}

engine_stop() {
  # It ends its jobs at one signal and itself at the next. What comes while it starts is lost.
  local looks=0
  while kill -0 "$engine_pid" 2> /dev/null; do
    [ $((looks++ % 10)) -gt 1 ] || kill -TERM "$engine_pid" 2> /dev/null || true
    sleep 0.2
  done
  wait "$engine_pid" || true
}
