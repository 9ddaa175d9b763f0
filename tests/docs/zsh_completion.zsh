# zsh_completion.zsh FOLDER LINE...: types each line and a tab, and prints what becomes of it.
zmodload zsh/zpty
folder=$1
shift
export TERM=dumb
zpty shell "zsh -f -i"
zpty -w shell "PS1= PROMPT_EOL_MARK=; unsetopt prompt_cr; fpath=($folder \$fpath)"
zpty -w shell "autoload -Uz compinit && compinit -u -D"
# The key behind the tab prints the line between two bytes that nothing else prints.
zpty -w shell "show() { printf '\\001%s\\002' \$BUFFER; BUFFER=; }; zle -N show; bindkey '^X' show"
for line; do
    zpty -w -n shell "$line"$'\t\x18'
    zpty -r -m shell answer $'*\001*\002' || exit 1
    print -r -- "${${answer##*$'\001'}%%$'\002'*}"
done
zpty -d shell
