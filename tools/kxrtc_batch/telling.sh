# shellcheck shell=bash
# What kxrtc-batch tells of its jobs while they run and afterwards: results, progress, metrics.
# shellcheck disable=SC2154  # The variables are those of kxrtc-batch.

# Of this run, without those that another try may still change.
count_results() {
  local counts
  counts=$(find "$work/results" -type f -printf '%f\n' | awk '
    FILENAME != "-" { weight[$1] = $2; length_us[$1] = $3; bytes[$1] = $4; total += $2; next }
    {
      split($1, result, ".")
      number = result[1]
      status = result[2]
      if (status == "full" || status >= 75) next
      ended++
      ended_weight += weight[number]
      if (status == 0) done++
      else if (status == 14) hooks++
      else failed++
      if (status == 0 || status == 14) {
        done_us += length_us[number]
        done_bytes += bytes[number]
      }
    }
    END {
      printf "ended=%d done=%d hooks=%d failed=%d done_us=%.0f done_bytes=%.0f permille=%d",
        ended, done, hooks, failed, done_us, done_bytes, total ? 1000 * ended_weight / total : 1000
    }' "$work/weights" -)
  # shellcheck disable=SC2086  # Numbers.
  declare -g $counts
}

# The numbers of the records without a result, or with one that another try may change.
numbers_to_try() {
  find "$work/results" -type f -printf '%f\n' | awk -F . '
    FILENAME == "-" { if ($2 != "full" && $2 < 75) settled[$1] = 1; next }
    { split($1, weight, " "); if (!(weight[1] in settled)) print weight[1] }' - "$work/weights"
}

is_terminal=
[ ! -t 2 ] || is_terminal=yes

# Sets the variable $1 to the time of $2 seconds.
clock() { printf -v "$1" '%d:%02d:%02d' $(($2 / 3600)) $(($2 / 60 % 60)) $(($2 % 60)); }

# One line over all records of this run.
show_progress() {
  local seconds=$((SECONDS - started)) text='' speed left=''
  count_results
  printf -v text '%d of %d, %d%%' "$ended" "$count" $((permille / 10))
  [ $((failed + hooks)) -eq 0 ] || text+=", $((failed + hooks)) failed"
  if [ "$seconds" -gt 0 ] && [ "$permille" -gt 0 ]; then
    speed=$((done_us / seconds / 100000))
    clock left $((seconds * (1000 - permille) / permille))
    text+=", $((speed / 10)).$((speed % 10))x, $left left"
  fi
  if [ -n "$is_terminal" ]; then
    printf '\r\033[K%s' "$text" >&2
  elif [ "$text" != "${last_text:-}" ]; then
    say "$text"
  fi
  last_text=$text
}
clear_progress() { [ -z "$is_terminal" ] || printf '\r\033[K' >&2; }

# Seconds since the recording of the oldest record that is left, 0 where none is.
age_of_oldest() {
  local oldest
  numbers_to_try | sed 's/$/p/' | sed -z -n -f /dev/stdin "$work/records" |
    sed -z 's/^\([^\t]*\t\)\{4\}//; s,$,/SpeakeRecord.index,' | # sic
    xargs -0 -r stat -c %Y -- 2> /dev/null | sort -n | head -n 1 > "$work/oldest" || true
  oldest=$(cat "$work/oldest")
  echo $((${oldest:-$EPOCHSECONDS} < EPOCHSECONDS ? EPOCHSECONDS - oldest : 0))
}

metric() {
  printf '# HELP kxrtc_batch_%s %s\n# TYPE kxrtc_batch_%s gauge\n' "$1" "$2" "$1"
  shift 2
  while [ "$#" -gt 0 ]; do
    printf '%s %s\n' "$1" "$2"
    shift 2
  done
}

print_metrics() {
  local archive all empty
  archive=$(printf '%s' "$out_dir" | iconv -c -f UTF-8 -t UTF-8 | tr '\n' ' ' |
    sed 's/[\\"]/\\&/g')
  archive="archive=\"$archive\""
  all=$(tr -dc '\0' < "$work/all" | wc -c)
  empty=$(LC_ALL=C sed -z -n $'/^[a-z]*\t[0-9-]*\t[0-9]*\tempty\t/p' < "$work/all" |
    tr -dc '\0' | wc -c)
  local records="kxrtc_batch_records{$archive,state="
  metric records "Records below ROOT by what became of them." \
    "$records\"done\"}" $((all - empty - count + done)) "$records\"failed\"}" "$failed" \
    "$records\"hook_failed\"}" "$hooks" "$records\"pending\"}" $((count - ended)) \
    "$records\"empty\"}" "$empty"
  metric run_seconds "How long this run takes." \
    "kxrtc_batch_run_seconds{$archive}" $((SECONDS - started))
  metric run_media_seconds "Length of the records of which this run made MP4s." \
    "kxrtc_batch_run_media_seconds{$archive}" $((done_us / 1000000))
  metric run_record_bytes "Size of the records of which this run made MP4s." \
    "kxrtc_batch_run_record_bytes{$archive}" "$done_bytes"
  metric oldest_pending_age_seconds "Age of the oldest record that waits for its MP4; 0: none." \
    "kxrtc_batch_oldest_pending_age_seconds{$archive}" "$(age_of_oldest)"
  metric updated_timestamp_seconds "When this file was written." \
    "kxrtc_batch_updated_timestamp_seconds{$archive}" "$EPOCHSECONDS"
}

# Into the file $1, unless that is empty. Readers see a whole file only; they read names that end in
# .prom.
write_metrics() {
  [ -n "$1" ] || return 0
  count_results
  if ! { print_metrics > "$1.new" && mv -f -- "$1.new" "$1"; }; then
    rm -f -- "$1.new"
    clear_progress
    say "cannot write $1"
  fi
}
