#!/usr/bin/env bash
# Makes an MP4 of each record below a folder (docs/archive.md).
set -euo pipefail

help() {
  cat <<'EOF'
Make an MP4 of each record below a folder
usage: kxrtc-batch ROOT OUT_DIR [OPTIONS] [-- OPTIONS OF kxrtc transcode]

  --engine parallel|slurm  what runs the jobs: GNU parallel on this machine (default), or
                           the cluster that this machine submits to
  --jobs N                 jobs at the same time (default: parallel: one for each processor;
                           slurm: as the cluster decides)
  --sshlogin MACHINES      run the jobs on these machines, which have the same files: names for ssh,
                           commas between them; ":" is this one
  --repair                 repair torn and damaged records before; ROOT stays as it is
  --metrics FILE           write metrics for Prometheus to this file
  --on-done COMMAND        run this shell command for each MP4 that was made
  --dry-run                tell what would be done, and do nothing
  -h, --help               print this help and exit
  --version                print the version and exit

Run it again at any time: it does only what is left to do, also after it was killed.
OUT_DIR/manifest.ndjson has a line of JSON for each MP4 that was made and each failure.

Status: 0 all is done; 1 some records failed; 14 some commands failed; 75 run it again, some
records were not done; 3 some folders cannot be read; 128 + n stopped by signal n.

Examples:
  kxrtc-batch ~/records ~/films
  kxrtc-batch ~/records ~/films --repair -- --video copy
EOF
}

# docs/archive.md. The same numbers mean the same as with kxrtc.
status_failed=1
status_usage=2
status_unreadable=3
status_not_written=4
status_output_refused=5
status_hook_failed=14
status_left=75

say() { printf 'kxrtc-batch: %s\n' "$1" >&2; }
fail() {
  say "$2"
  exit "$1"
}
refuse() { fail "$status_usage" "$1; --help tells the options"; }

here=$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")
pieces=$here/@KXRTC_BATCH_PIECES@
kxrtc=$here/kxrtc

# --- Options -------------------------------------------------------------------------------------

engine=parallel
jobs=
machines=
repair=
metrics=
on_done=
dry_run=
transcode_options=()
folders=()

needs_value() {
  [ "$1" -ge 2 ] || refuse "$2 needs a value"
}

while [ "$#" -gt 0 ]; do
  case "$1" in
    --engine) needs_value "$#" "$1"; engine=$2; shift ;;
    --jobs) needs_value "$#" "$1"; jobs=$2; shift ;;
    --sshlogin) needs_value "$#" "$1"; machines=$2; shift ;;
    --metrics) needs_value "$#" "$1"; metrics=$2; shift ;;
    --on-done) needs_value "$#" "$1"; on_done=$2; shift ;;
    --repair) repair=yes ;;
    --dry-run) dry_run=yes ;;
    -h | --help) help; exit 0 ;;
    --version) exec "$kxrtc" --version ;;
    --) shift; transcode_options=("$@"); break ;;
    -*) refuse "unknown option $1" ;;
    *) folders+=("$1") ;;
  esac
  shift
done
[ "${#folders[@]}" -eq 2 ] || refuse "give two folders, ROOT and OUT_DIR"
case "$engine" in
  parallel | slurm) ;;
  *) refuse "--engine $engine: it is parallel or slurm" ;;
esac
[[ "$jobs" =~ ^([1-9][0-9]{0,5})?$ ]] || refuse "--jobs $jobs: it is a number from 1 to 999999"
[ -z "$machines" ] || [ "$engine" = parallel ] ||
  refuse "--sshlogin is for --engine parallel; the cluster has its own machines"
weighs_bytes=
for option in "${transcode_options[@]}"; do
  case "$option" in
    --force | --json | --log-file* | --captions* | --help | -h | --version)
      refuse "$option is not for many records at once" ;;
    --manifest* | --on-done* | --repair | --if-needed | --accept-cut)
      refuse "$option stands for itself: leave it out behind --" ;;
    copy | --video=copy) weighs_bytes=yes ;;  # Copying takes as long as reading.
  esac
done

# Symbolic links resolved. $result, because $() would take line feeds from its end.
absolute_path() {
  result=$(readlink -m -- "$1" && printf x)
  result=${result%$'\n'x}
}
[ -d "${folders[0]}" ] || fail "$status_unreadable" "${folders[0]} is no folder"
absolute_path "${folders[0]}"
root=$result
absolute_path "${folders[1]}"
out_dir=$result
manifest=$out_dir/manifest.ndjson

# shellcheck disable=SC1090
. "$pieces/engine_$engine.sh"
# What became of the jobs so far: count_results sets it.
ended=0 done=0 hooks=0 failed=0
started=$SECONDS
# shellcheck disable=SC1091
. "$pieces/telling.sh"
engine_check || exit "$status_failed"
[ ! -e "$manifest" ] || { [ -f "$manifest" ] && [ -r "$manifest" ]; } ||
  fail "$status_output_refused" "$manifest is no file that can be read: mend or rename it"

# Options that kxrtc does not know would fail each job. With others it only finds no record here.
said=$("$kxrtc" transcode --quiet "${transcode_options[@]}" -- /dev/null/record /dev/null/mp4 2>&1) ||
  [ "$?" -ne "$status_usage" ] || fail "$status_usage" "kxrtc transcode does not take these options:
$said"

# --- The work of this run ------------------------------------------------------------------------

state_dir=$out_dir/.kxrtc-batch
run_lock=

cannot_write() { fail "$status_left" "cannot write below $state_dir: is the disk full?"; }

# What the MP4s of this run are made with.
note_options() {
  printf '%s\0' "$("$kxrtc" --version)" "$repair" "${transcode_options[@]}" > "$work/options" ||
    cannot_write
}

# A folder of this run, locked as long as it lives; those of runs that were killed are removed. Two
# runs with different options would replace each other's MP4s.
make_work_folder() {
  local run other lock
  mkdir -p -- "$state_dir" || fail "$status_output_refused" "cannot make $state_dir"
  exec {lock}> "$state_dir/lock"
  flock "$lock" || true
  work=$(mktemp -d -- "$state_dir/run-XXXXXXXX") || cannot_write
  trap 'rm -rf -- "$work"' EXIT
  note_options
  for run in "$state_dir"/run-*; do
    [ "$run" != "$work" ] || continue
    { exec {other}> "$run/lock"; } 2> /dev/null || continue  # It has just ended.
    if flock -n "$other"; then
      rm -rf -- "$run"
    else
      cmp -s -- "$run/options" "$work/options" ||
        fail "$status_left" "another run works on $out_dir with other options: wait until it ends"
    fi
    exec {other}>&-
  done
  exec {run_lock}> "$work/lock"
  flock "$run_lock" || true
  exec {lock}>&-
}

if [ -n "$dry_run" ]; then
  work=$(mktemp -d)
  trap 'rm -rf -- "$work"' EXIT
  note_options
else
  make_work_folder
fi
# shellcheck disable=SC2034  # For the engine.
job=$pieces/job.sh
mkdir -- "$work/results"
declare -p kxrtc out_dir manifest repair on_done transcode_options > "$work/settings" || cannot_write

# The MP4s that are there were made with other ones, or with several.
options_are_new() {
  [ -e "$manifest" ] && ! cmp -s "$work/options" "$state_dir/options"
}

# Writes $work/records, the due ones: length in us, bytes, state, MP4 below OUT_DIR, folder; tabs
# between them and a zero byte behind each. Most expensive first.
list_records() {
  local key=1
  list_status=0
  (cd -- "$out_dir" 2> /dev/null || cd -- "$work"
    exec "$kxrtc" list "$root" --out . --manifest "$manifest" --print0 \
      --columns due,length_us,bytes,state,output) > "$work/all" || list_status=$?
  [ "$list_status" -ne "$status_not_written" ] || cannot_write
  [ "$list_status" -eq 0 ] || [ "$list_status" -eq "$status_unreadable" ] ||
    fail "$status_failed" "kxrtc list failed with status $list_status"
  [ -z "$weighs_bytes" ] || key=2
  local is_due=$'s/^true\t//p'
  # Whether other options count, kxrtc transcode finds out for each record.
  if options_are_new; then
    is_due=$'/^[a-z]*\t[0-9-]*\t[0-9]*\tempty\t/d; s/^[a-z]*\t//p'
  fi
  LC_ALL=C sed -z -n "$is_due" < "$work/all" |
    LC_ALL=C sort -z -t $'\t' -k "$key,${key}nr" > "$work/records" || cannot_write
  count=$(tr -dc '\0' < "$work/records" | wc -c)
  # Number, weight, length in us, bytes.
  tr '\n\0' ' \n' < "$work/records" | awk -F '\t' -v key="$key" \
    '{ printf "%d %.0f %.0f %.0f\n", NR, $key + 1, $1, $2 }' > "$work/weights" ||
    cannot_write
}

# --- The rounds ----------------------------------------------------------------------------------

engine_pid=
timer_pid=
# Ends a "sleep" that runs beside.
end_wait() {
  kill "$1" 2> /dev/null || true
  wait "$1" 2> /dev/null || true
}

# shellcheck disable=SC2317  # The traps below call it.
stop() {
  trap '' INT TERM HUP
  clear_progress
  say "stopping"
  [ -z "$timer_pid" ] || end_wait "$timer_pid"
  [ -z "$engine_pid" ] || engine_stop
  count_results
  write_metrics "$metrics"
  say "stopped after $done of $count; the same command goes on"
  exit $((128 + $1))
}
trap 'stop 1' HUP
trap 'stop 2' INT
trap 'stop 15' TERM

# Waits for the engine, or for $1 seconds. The trap of a signal comes first.
wait_at_most() {
  sleep "$1" {run_lock}>&- &
  timer_pid=$!
  wait -n $engine_pid "$timer_pid" || true
  end_wait "$timer_pid"
  timer_pid=
}

seconds_to_metrics=15
seconds_to_line=30
run_round() {
  local next_metrics=$((SECONDS + seconds_to_metrics)) next_line=$((SECONDS + seconds_to_line))
  if [ -n "$is_terminal" ]; then
    engine_run "$work/todo" {run_lock}>&- 2> >(exec sed -u $'s/^/\r\033[K/' >&2) &
  else
    engine_run "$work/todo" {run_lock}>&- &
  fi
  engine_pid=$!
  while kill -0 "$engine_pid" 2> /dev/null; do
    if [ -n "$is_terminal" ] || [ "$SECONDS" -ge "$next_line" ]; then
      show_progress
      next_line=$((SECONDS + seconds_to_line))
    fi
    if [ "$SECONDS" -ge "$next_metrics" ]; then
      write_metrics "$metrics"
      next_metrics=$((SECONDS + seconds_to_metrics))
    fi
    wait_at_most 1
  done
  engine_pid=
}

# Another try helps where somebody else makes the MP4, a job was killed, or the disk was full.
retry_pauses=(1 2 4 8 16)
run_all() {
  local pause
  for pause in "${retry_pauses[@]}" ""; do
    numbers_to_try > "$work/todo" || cannot_write
    # A job that finds the disk full removes it, and the others of the round do not begin.
    : > "$work/has_room" || cannot_write
    [ -s "$work/todo" ] || return 0
    while IFS= read -r number; do
      rm -f -- "$work/results/$number".*
    done < "$work/todo"
    run_round
    [ -e "$work/has_room" ] || say "the disk of $out_dir is full"
    [ -n "$pause" ] && [ -n "$(numbers_to_try)" ] || return 0
    wait_at_most "$pause"
  done
}

# Before this run made something with them.
take_options() {
  if options_are_new; then
    echo mixed > "$state_dir/options"
  else
    cp -- "$work/options" "$state_dir/options"
  fi
}

list_records
if [ -n "$dry_run" ]; then
  seq "$count" > "$work/todo"
  echo "$count records are due"
  [ "$count" -eq 0 ] || engine_describe "$work/todo"
  exit "$list_status"
fi
write_metrics "$metrics"
take_options
[ "$count" -eq 0 ] || run_all
count_results
write_metrics "$metrics"
clear_progress

left=$((count - ended))
# Every record was looked at with these options. What failed is due anyway.
[ "$left" -gt 0 ] || cp -- "$work/options" "$state_dir/options"
summary="$done of $count records done"
[ "$failed" -eq 0 ] || summary+=", $failed failed"
[ "$hooks" -eq 0 ] || summary+=", the command of $hooks failed"
[ "$left" -eq 0 ] || summary+=", $left left: run it again later"
took=
clock took $((SECONDS - started))
summary+=", in $took"
[ "$count" -gt 0 ] || summary="nothing is due"
# The status tells of the records, also where nobody can read this.
printf '%s\n' "$summary" || true
if [ $((failed + hooks)) -gt 0 ]; then
  say "$manifest tells why"
fi

if [ "$failed" -gt 0 ]; then exit "$status_failed"; fi
if [ "$hooks" -gt 0 ]; then exit "$status_hook_failed"; fi
if [ "$left" -gt 0 ]; then exit "$status_left"; fi
exit "$list_status"
