# Prints what zsh offers for a command line, one a line.
# usage: zsh -f complete.zsh FOLDER_OF_SCRIPT LINE
zmodload zsh/zpty
zpty shell zsh -f -i
# Instead of showing the matches, print them.
zpty -w shell "PS1= PS2=; unsetopt prompt_cr prompt_sp; fpath=(${(q)1} \$fpath)
autoload -Uz compinit && compinit -C
compadd() {
  if [[ \${@[1,(i)(-|--)]} == *-(O|A|D)\\ * ]]; then builtin compadd \"\$@\"; return \$?; fi
  local -a hits; builtin compadd -A hits \"\$@\"
  builtin compadd \"\$@\"
  local hit; for hit in \$hits; do print -r - \"offer:\$hit\"; done
}
say_end() { print -r - 'offer-end'; exit }
comppostfuncs=(say_end)
bindkey '^I' complete-word
print ready-\${:-now}"
while zpty -r shell text; do [[ $text == *ready-now* ]] && break; done
zpty -w -n shell "$2"$'\t'
while zpty -r shell text; do
  text=${text%%$'\n'}
  text=${text%%$'\r'}
  [[ $text == *offer-end* ]] && break
  [[ $text == *offer:* ]] && print -r - ${text##*offer:}
done
zpty -d shell
