#!/usr/bin/env bash
# One record of a run of kxrtc-batch, on the machine where the engine starts it.
# usage: job.sh WORK NUMBER
# Leaves the empty file WORK/results/NUMBER.STATUS, with "full" as the status of a full disk. Without
# it the job was killed.
set -uo pipefail

work=$1
number=$2
# A run that ended has no folder any more, and its jobs end too.
[ -f "$work/settings" ] || exit 0
# No more of a full disk in this round.
[ -f "$work/has_room" ] || exit 0
# shellcheck disable=SC1091  # Written by kxrtc-batch: declarations of variables.
. "$work/settings"
# shellcheck disable=SC2154  # These are declared there.
: "$kxrtc" "$out_dir" "$manifest" "$repair" "$on_done" "${transcode_options[@]}"

IFS= read -r -d '' record < <(sed -z -n "$number{p;q}" "$work/records") || exit 0
output=${record#*$'\t'*$'\t'*$'\t'}
input=${output#*$'\t'}
output=${output%%$'\t'*}
output=$out_dir/${output#./}
mkdir -p -- "${output%/*}"

options=(--if-needed --accept-cut --quiet --manifest "$manifest")
[ -z "$repair" ] || options+=(--repair)
[ -z "$on_done" ] || options+=("--on-done=$on_done")
exec {messages}< <(
  LC_ALL=C exec "$kxrtc" transcode "${options[@]}" "${transcode_options[@]}" -- "$input" "$output" 2>&1
)
pid=$!
trap 'kill -TERM "$pid" 2> /dev/null' INT TERM HUP
said=
# Until the end of kxrtc: what a command of --on-done leaves behind may keep the pipe open for ever.
while true; do
  line=
  if IFS= read -r -t 0.5 -u "$messages" line; then
    said+=$line$'\n'
    continue
  elif [ "$?" -le 128 ]; then
    break
  fi
  said+=$line
  kill -0 "$pid" 2> /dev/null || break
done
wait "$pid"
status=$?
# That somebody else makes the MP4 is no news.
[ "$status" -eq 75 ] || printf '%s' "$said" >&2
result=$status
if [ "$status" -eq 4 ]; then
  case "$said" in *"No space left on device"* | *"Disk quota exceeded"*) result=full ;; esac
fi
[ "$result" != full ] || rm -f -- "$work/has_room"
: 2> /dev/null > "$work/results/$number.$result"
exit "$status"
