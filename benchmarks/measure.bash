# SPDX-License-Identifier: BSD-3-Clause
#
# Sourced by scripts/bench: commands that are measured in turn, and tables of what came of it. Needs $work, a directory
# of its own, and $rounds.

median() {
    sort -g | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'
}

# Runs commands (name, command; ...) in turn, as often as $rounds says, and leaves their medians in times[name] and the
# shortest and longest in spread[name], in milliseconds. What they print is not kept.
declare -A times spread
measure() {
    local round name options=() names=()
    while [ $# -gt 0 ]; do
        names+=("$1")
        options+=("--command-name" "$1" "$2")
        shift 2
    done
    for ((round = 0; round <= rounds; round++)); do
        if ! hyperfine -N --style none --runs 1 --export-csv "$work/round.$round" "${options[@]}" 2>"$work/said"; then
            cat "$work/said" >&2
            return 1
        fi
    done
    for name in "${names[@]}"; do
        # The first round fills the caches.
        for ((round = 1; round <= rounds; round++)); do
            awk -F, -v name="$name" '$1 == name { print $2 * 1000 }' "$work/round.$round"
        done >"$work/ofName"
        times[$name]=$(median <"$work/ofName")
        spread[$name]=$(sort -g "$work/ofName" | awk 'NR == 1 { low = $1 } END { printf "%.1f to %.1f", low, $1 }')
    done
}

ratio() {
    awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'
}

# Microseconds of each frame but the first: perFrame <ms of all> <ms of one> <frames>
perFrame() {
    awk -v all="$1" -v one="$2" -v n="$3" 'BEGIN { print (all - one) / (n - 1) * 1000 }'
}

row() {
    printf '| %s | %.2f | %s | %s |\n' "$@"
}

header() {
    printf '\n%s\n\n| | %s | %s | %s |\n|---|---:|---:|---|\n' "$@"
}
