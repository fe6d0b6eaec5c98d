# SPDX-License-Identifier: BSD-3-Clause
#
#   zsh -f completeInZsh.zsh <folder of completions> <new file> <lines
#
# Types each line into an interactive zsh on a terminal of its own, with the completion key behind it, and appends what
# the line is then to the file. Ends with 1 when an answer takes a minute.
zmodload zsh/zpty zsh/zselect zsh/datetime || exit 1
folder=${1:a} answers=${2:a}

# Waits for the file's line $1. What the terminal shows is read meanwhile: a full one would stop the shell.
awaitAnswer() {
    local shown lines start=$EPOCHSECONDS
    while (( EPOCHSECONDS - start < 60 )); do
        while zpty -r shell shown 2>/dev/null; do :; done
        [[ -e $answers ]] && lines=("${(@f)$(<$answers)}") && (( $#lines >= $1 )) && return 0
        zselect -t 2
    done
    return 1
}

zpty -b shell "TERM=dumb zsh -f -i"
zpty -w shell "fpath=(${(q)folder} \$fpath); autoload -Uz compinit; compinit -D -u; kxCheckFrames() { : }; kxVerifyExrModes() { : }; PS1=; PS2="
zpty -w shell "show() { print -r -- \"<\$BUFFER>\" >>${(q)answers}; BUFFER=; zle accept-line }; zle -N show
bindkey '^X' show; unsetopt beep; setopt no_list_beep no_auto_list; print ready >>${(q)answers}"

outcome=0 count=1
awaitAnswer $count || outcome=1
while (( outcome == 0 )) && IFS= read -r line; do
    zpty -w -n shell "$line"$'\t'$'\x18'
    awaitAnswer $((++count)) || outcome=1
done
zpty -d shell
exit $outcome
