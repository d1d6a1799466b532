# Gives Doxygen the anchors of a guide as GitHub makes them from its headings, with the name of the page
# in front, since Doxygen has one set for all pages.
# usage: awk -f guide_filter.awk GUIDE.md

function page_of(path) {
  sub(/.*\//, "", path)
  sub(/\.md$/, "", path)
  return path
}

function anchor_of(heading) {
  heading = tolower(heading)
  gsub(/[^a-z0-9 _-]/, "", heading)
  gsub(/ /, "-", heading)
  return heading
}

# Doxygen takes quotation marks in a span of code for those of a text.
function with_safe_spans(text,    line, span) {
  line = ""
  while (match(text, /`[^`]+`/)) {
    span = substr(text, RSTART, RLENGTH)
    if (span ~ /['"]/) {
      gsub(/`/, "", span)
      gsub(/[\\@<>#%&"]/, "\\\\&", span)
      span = "<code>" span "</code>"
    }
    line = line substr(text, 1, RSTART - 1) span
    text = substr(text, RSTART + RLENGTH)
  }
  return line text
}

/^```/ { is_code = !is_code }

!is_code && /^# / {
  gsub(/`/, "")  # Shown as "<tt>" in the list of pages.
}

!is_code && /^##+ / {
  heading = $0
  sub(/^#+ /, "", heading)
  print $0 " {#" page_of(FILENAME) "-" anchor_of(heading) "}"
  next
}

{
  rest = $0
  line = ""
  while (!is_code && match(rest, /\]\([^)#: ]*#[^) ]+\)/)) {
    target = substr(rest, RSTART + 2, RLENGTH - 3)
    path = anchor = target
    sub(/#.*/, "", path)
    sub(/.*#/, "", anchor)
    line = line substr(rest, 1, RSTART - 1) "](@ref " page_of(path == "" ? FILENAME : path) "-" anchor ")"
    rest = substr(rest, RSTART + RLENGTH)
  }
  print is_code ? rest : with_safe_spans(line rest)
}
