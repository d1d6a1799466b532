# Shows Doxygen the comments of a header, which are ordinary ones in the sources.
# usage: awk -f header_filter.awk HEADER
#
# The comment at the top describes the file, a comment of its own line what follows, and one behind a
# declaration that declaration. Lines indented by three spaces are an example.

function plain(text) {
  gsub(/[\\@<>#%&]/, "\\\\&", text)
  gsub(/::/, "\\\\::", text)
  return text
}

function end_example() {
  if (in_example) print margin "/// @endcode"
  in_example = 0
}

BEGIN { is_top = 1 }

/^ *\/\/( |$)/ {
  margin = $0
  sub(/\/\/.*/, "", margin)
  text = $0
  sub(/^ *\/\/ ?/, "", text)
  if (NR == 1) print "/// @file"
  if (text ~ /^  / && (in_example || was_empty)) {
    if (!in_example) print margin "/// @code{.cpp}"
    in_example = 1
    print margin "/// " substr(text, 3)
    next
  }
  if (text == "" && in_example) {
    print margin "///"
    next
  }
  end_example()
  was_empty = text == ""
  print margin "/// " plain(text)
  next
}

{
  end_example()
  was_empty = 0
  if (is_top) print ""  # Ends the comment of the file.
  is_top = 0
}

/[;,)]  ?\/\/ / && !/\/\/ NOLINT/ && !/^#/ {
  place = match($0, /[;,)] +\/\/ /)
  print substr($0, 1, place) "  ///< " plain(substr($0, place + RLENGTH))
  next
}

{ print }
