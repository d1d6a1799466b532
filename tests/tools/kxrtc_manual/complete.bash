# Prints what bash offers for a command line, one a line.
# usage: complete.bash SCRIPT WORD...   (the last word is the one to complete)
source /usr/share/bash-completion/bash_completion
# shellcheck disable=SC1090,SC1091
source "$1"
shift
COMP_LINE=$*
COMP_POINT=${#COMP_LINE}
# As readline does: "=" is a word of its own.
COMP_WORDS=()
for word in "$@"; do
  if [[ $word == --*=* ]]; then
    COMP_WORDS+=("${word%%=*}" "=" "${word#*=}")
    [[ ${word#*=} ]] || unset 'COMP_WORDS[-1]'
  else
    COMP_WORDS+=("$word")
  fi
done
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_kxrtc kxrtc "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
[[ ${#COMPREPLY[@]} -eq 0 ]] || printf '%s\n' "${COMPREPLY[@]}"
