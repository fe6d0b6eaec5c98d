# SPDX-License-Identifier: BSD-3-Clause
# Completion of kxCheckFrames for bash.

# Words for the last item of a comma-separated list: what stands before it stays.
_kxCheckFrames_list() {
    local before=
    [[ $2 == *,* ]] && before=${2%,*},
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$1" -- "${2#"$before"}")
    compopt -o nospace 2>/dev/null
}

# Directories, and files but for those that match the pattern.
_kxCheckFrames_files() {
    mapfile -t COMPREPLY < <(compgen -d -- "$2"; compgen -f -X "$1" -- "$2" | while IFS= read -r file; do
        [[ -d $file ]] || printf '%s\n' "$file"
    done)
    compopt -o filenames 2>/dev/null
}

_kxCheckFrames() {
    local current=${COMP_WORDS[COMP_CWORD]} at=$((COMP_CWORD - 1)) mayBeOption=1 i
    # "--level=he" comes as three words, "--expect=type=ha" as five.
    if [[ $current == "=" ]]; then
        current=
    elif [[ ${COMP_WORDS[at]} == "=" ]]; then
        ((at -= 1))
    fi
    local option=${COMP_WORDS[at]} before=${COMP_WORDS[*]:0:at}
    [[ ${COMP_WORDS[at + 1]} == "=" && $before =~ \ --expect(\ =)?$ ]] && option="--expect $option"
    for ((i = 1; i < COMP_CWORD; i++)); do
        [[ ${COMP_WORDS[i]} == "--" ]] && option= && mayBeOption= && break  # no options behind it
    done

    local codes="empty not-exr header modes expected differs differs-coding size-jump unfinished truncated chunk
        tile-missing alpha-missing nan inf black flat repeated jump"
    COMPREPLY=()
    case $option in
        -l | --level) mapfile -t COMPREPLY < <(compgen -W "headers structure pixels" -- "$current") ;;
        --sort)
            mapfile -t COMPREPLY < <(compgen -W "frame machine date size difference
                -frame -machine -date -size -difference" -- "$current")
            ;;
        --progress | --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$current") ;;
        --list) _kxCheckFrames_list "good suspicious bad missing unknown" "$current" ;;
        --fail-on | --ignore) _kxCheckFrames_list "$codes" "$current" ;;
        --expect)
            local keys="size= data-window= compression= storage= type= parts= pixel-aspect= channels="
            mapfile -t COMPREPLY < <(compgen -W "$keys" -- "$current")
            compopt -o nospace 2>/dev/null
            ;;
        "--expect compression")
            _kxCheckFrames_list "none rle zips zip piz pxr24 b44 b44a dwaa dwab htj2k256 htj2k32" "$current"
            ;;
        "--expect storage") _kxCheckFrames_list "scanline tiled deepscanline deeptile" "$current" ;;
        "--expect type") _kxCheckFrames_list "half float uint" "$current" ;;
        "--expect "*) ;;
        --cache | --move-to) _kxCheckFrames_files '*' "$current" ;;
        --json | --report) _kxCheckFrames_files '' "$current" ;;
        -f | --frames | --chunk | -j | --jobs | --min-age | --timeout | --time-limit | --memory-limit) ;;
        *)
            local options="--level --frames --chunk --single --jobs --cache --require-multi-layer --require-multipart
                --no-multipart --expect --fail-on --ignore --strict --verbose --info --sort --list --json --report
                --delete --move-to --remove-most --min-age --follow --timeout --time-limit --memory-limit --progress
                --color --help --version"
            if [[ $mayBeOption && $current == -* ]]; then
                mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
            else
                _kxCheckFrames_files '!*.[eE][xX][rR]' "$current"
            fi
            ;;
    esac
}

complete -F _kxCheckFrames kxCheckFrames
