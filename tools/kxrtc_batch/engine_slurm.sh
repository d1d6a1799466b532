# shellcheck shell=bash
# The engine that runs jobs as arrays in a Slurm cluster.
# shellcheck disable=SC2154  # The variables are those of kxrtc-batch.
#
# An array has at most slurm_array_limit tasks, and the next one is submitted when it has ended: so the
# throttle holds for all of them, and the queue of the cluster does not fill up. Its files are in
# $work/slurm/ROUND.ARRAY: "todo" has the numbers of the jobs, line I that of task I; "script" is what
# each task runs; file I has what task I printed.

slurm_array_limit=1000
# The cluster kills what does not end, after 30 s if it is not configured otherwise.
slurm_stop_limit_s=90

engine_check() {
  local program
  for program in sbatch scancel scontrol squeue; do
    command -v "$program" > /dev/null && continue
    say "$program is missing: run kxrtc-batch where jobs are submitted to the cluster, or without --engine slurm"
    return 1
  done
  if [ "$(slurm_tasks_of_array)" -lt 1 ]; then
    say "the cluster does not answer, or takes no arrays: see sinfo, and MaxArraySize in its configuration"
    return 1
  fi
}

# All arrays of a run have one name.
slurm_name() { printf 'kxrtc-batch-%s' "${work##*/run-}"; }

# How many tasks an array has; 0 where the cluster does not answer.
slurm_tasks_of_array() {
  local size
  # The largest index is one below the size, and the first is 1.
  size=$(($(scontrol show config | sed -n 's/^MaxArraySize *= *//p') - 1))
  printf '%s' $((size < 0 ? 0 : size < slurm_array_limit ? size : slurm_array_limit))
}

# Megabytes and minutes for the longest and the largest record of the numbers in the file "todo". A
# record of an hour has 22 MB of tables (docs/benchmarks/transcode.md); the rest is for the largest
# pictures. An encoder on one slow processor takes about as long as the conference did, and a slow
# disk reads 5 MB a second. Each round doubles the time, for the jobs which that was not enough for. A
# damaged record may claim any length: none counts for more than 100 hours.
slurm_needs() {
  awk -v round="$2" '
    NR == FNR { wanted[$1]; next }
    $1 in wanted { if ($3 > length_us) length_us = $3; if ($4 > bytes) bytes = $4 }
    END {
      if (length_us > 100 * 3600e6) length_us = 100 * 3600e6
      print 1024 + int(32 * length_us / 3600e6), \
            int((15 + length_us / 60e6 + bytes / 300e6) * 2 ^ (round - 1))
    }' "$1" "$work/weights"
}

# The script of the array whose files are in that folder. Slurm itself cannot name a file in a folder
# with "%" or a backslash, so the script opens the output.
slurm_script() {
  local folder=$1 round=$2 megabytes minutes
  read -r megabytes minutes < <(slurm_needs "$folder/todo" "$round")
  cat <<END
#!/usr/bin/env bash
#SBATCH --job-name=$(slurm_name)
#SBATCH --array=1-$(wc -l < "$folder/todo")${jobs:+%$jobs}
#SBATCH --nodes=1
#SBATCH --ntasks=1
#SBATCH --mem=${megabytes}M
#SBATCH --time=$minutes
#SBATCH --requeue
#SBATCH --chdir=/
#SBATCH --output=/dev/null
exec >> $(printf %q "$folder")/"\$SLURM_ARRAY_TASK_ID" 2>&1
number=\$(sed -n "\${SLURM_ARRAY_TASK_ID}p" $(printf %q "$folder/todo"))
exec $(printf %q "$job") $(printf %q "$work") "\$number"
END
}

# Makes the folders of the arrays for the numbers in a file.
slurm_make_arrays() {
  local todo folder round=$2
  mkdir -p -- "$work/slurm"
  split --numeric-suffixes=1 --suffix-length=4 --lines="$(slurm_tasks_of_array)" "$1" \
    "$work/slurm/todo."
  for todo in "$work/slurm"/todo.*; do
    folder=$work/slurm/$round.${todo##*.}
    mkdir -- "$folder"
    mv -- "$todo" "$folder/todo"
    slurm_script "$folder" "$round" > "$folder/script"
  done
}

engine_describe() {
  slurm_make_arrays "$1" 1
  cat -- "$work/slurm"/1.*/script
}

# Whether the job of that number has left a result. In $work, whose path may look like a pattern.
slurm_has_result() { compgen -G "results/$1.*" > /dev/null; }

# Prints what tasks have printed, of those that ended, or of all of them.
slurm_show_output() {
  local folder=$1 which=$2 file number
  for file in "$folder"/[0-9]*; do
    [ -s "$file" ] || continue
    number=$(sed -n "${file##*/}p" "$folder/todo")
    if [ "$which" = all ] || slurm_has_result "$number"; then
      cat -- "$file" >&2
      rm -f -- "$file"
    fi
  done
}

# States and reasons of what the cluster still has of this run, one a line; fails where it does not
# answer.
slurm_queue() { squeue --noheader --name="$(slurm_name)" --format='%T %r'; }

# Waits for the end of the array, and tells once what keeps all its tasks waiting.
slurm_await() {
  local folder=$1 queue reason told="" begin=$SECONDS pause
  while true; do
    if ! queue=$(slurm_queue 2> "$folder/error"); then
      queue="UNKNOWN the cluster does not answer: $(head -n 1 "$folder/error")"
    fi
    [ -n "$queue" ] || break
    # Without its front nobody would submit the rest, or read the results.
    kill -0 "$$" 2> /dev/null || exit
    slurm_show_output "$folder" ended
    reason=$(sed -n -E '/^(PENDING|UNKNOWN) /!d;s///;p;q' <<< "$queue")
    case "$reason" in
      "" | None | Priority | Resources | JobArrayTaskLimit | BeginTime | Cleaning | "$told") ;;
      *)
        say "jobs wait in the cluster: $reason"
        told=$reason
        ;;
    esac
    # The controller is asked less and less often. A signal ends the wait, and not the sleep.
    pause=$(((SECONDS - begin) / 10 + 1))
    [ "$pause" -le 10 ] || pause=10
    sleep "$pause" &
    sleeper=$!
    wait "$sleeper"
    sleeper=
  done
  slurm_show_output "$folder" all
}

# Says how many jobs of the array the cluster has ended, and why; none where all ended by themselves.
slurm_tell_ends() {
  local count state
  { squeue --noheader --array --jobs="$1" --states=TIMEOUT,OUT_OF_MEMORY,NODE_FAIL --format=%T \
    2> /dev/null || true; } | sort | uniq -c |
    while read -r count state; do
      say "the cluster ended jobs: $count with the state $state"
    done
}

# Whether any job of the array has left a result.
slurm_has_results() {
  local number
  while read -r number; do
    slurm_has_result "$number" && return
  done < "$1"
  return 1
}

engine_run() {
  local round=1 folder id sleeper=
  # Runs when sbatch has ended: no array is submitted later.
  trap '[ -z "$sleeper" ] || end_wait "$sleeper"; exit' TERM
  cd -- "$work" || return
  engine_check || return
  while compgen -G "slurm/$round.*" > /dev/null; do round=$((round + 1)); done
  slurm_make_arrays "$1" "$round"
  for folder in "$work/slurm/$round".*; do
    if ! id=$(sbatch --parsable "$folder/script"); then
      say "the cluster has not taken the jobs"
      return
    fi
    slurm_await "$folder"
    slurm_tell_ends "${id%%;*}"  # In a federation the name of the cluster follows.
    slurm_has_results "$folder/todo" ||
      say "no job has left a result: do the nodes have $out_dir and $job at the same paths?"
  done
}

engine_stop() {
  local end=$((SECONDS + slurm_stop_limit_s))
  kill -TERM "$engine_pid" 2> /dev/null || true
  wait "$engine_pid" || true
  scancel --name="$(slurm_name)" || true
  while [ -n "$(slurm_queue 2> /dev/null)" ]; do
    if [ "$SECONDS" -ge "$end" ]; then
      say "the cluster still ends jobs: see squeue --name=$(slurm_name)"
      break
    fi
    sleep 0.2
  done
}
