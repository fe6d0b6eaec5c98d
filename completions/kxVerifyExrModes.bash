# SPDX-License-Identifier: BSD-3-Clause
# Completion of kxVerifyExrModes for bash.

# Directories, and files but for those that match the pattern. The program wants a "/" in the name of a frame.
_kxVerifyExrModes_files() {
    local word=$2
    [[ $word == */* || $word == "~"* ]] || word=./$word
    mapfile -t COMPREPLY < <(compgen -d -- "$word"; compgen -f -X "$1" -- "$word" | while IFS= read -r file; do
        [[ -d $file ]] || printf '%s\n' "$file"
    done)
    compopt -o filenames 2>/dev/null
}

# What stands in the place of the file is taken for it, whatever it is; options follow it.
_kxVerifyExrModes() {
    local current=${COMP_WORDS[COMP_CWORD]} file=1 i
    COMPREPLY=()
    [[ ${COMP_WORDS[1]} == -kxRoot && $COMP_CWORD -gt 1 ]] && file=3
    if ((COMP_CWORD < file)); then
        _kxVerifyExrModes_files '*' "$current"
    elif ((COMP_CWORD > file)); then
        for ((i = COMP_CWORD - 1; i > file && i >= COMP_CWORD - 4; i--)); do
            [[ ${COMP_WORDS[i]} == -seq ]] && return  # one of its four numbers
        done
        [[ ${COMP_WORDS[COMP_CWORD - 1]} == -threadID ]] && return
        mapfile -t COMPREPLY < <(compgen -W "-seq -requireMultiLayer -requireMultipart -noMultipart -del -showChannel
            -threadID" -- "$current")
    elif [[ $current == -* && $file == 1 ]]; then
        mapfile -t COMPREPLY < <(compgen -W "-kxRoot" -- "$current")
    else
        _kxVerifyExrModes_files '!*.[eE][xX][rR]' "$current"
    fi
}

complete -F _kxVerifyExrModes kxVerifyExrModes
