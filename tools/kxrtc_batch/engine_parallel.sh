# shellcheck shell=bash
# The engine that runs jobs by GNU parallel on this machine.
# shellcheck disable=SC2154  # The variables are those of kxrtc-batch.

engine_check() {
  command -v parallel > /dev/null && return
  say "GNU parallel is missing: install it (apt install parallel)"
  return 1
}

engine_command() {
  command=(parallel --will-cite --line-buffer --halt never --jobs "${jobs:-100%}"
    --termseq "TERM,5000,KILL" "$job" "$work" "{}")
}

engine_describe() {
  local command
  engine_command
  printf '%q ' "${command[@]}"
  printf '\n'
}

engine_run() {
  local command
  engine_command
  exec "${command[@]}" < "$1"
}

engine_stop() {
  # The first signal lets running jobs end, the second ends them.
  kill -TERM "$engine_pid" && kill -TERM "$engine_pid"
  wait "$engine_pid" || true
}
