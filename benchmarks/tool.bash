# SPDX-License-Identifier: BSD-3-Clause
#
# Sourced by scripts/bench: kxVerifyExrModes ($tool) beside other programs, and beside what nobody can do without.

if [ -n "$quick" ]; then
    rounds=3 frames=100 listed=500 others=1500 few=100 many=1000
else
    rounds=15 frames=2000 listed=24999 others=75001 few=1000 many=24000
fi

# Each directory with its frames, one after the other.
makeFrames() {
    local make=$build/benchmarks/tool_frames
    "$make" "$work/small" small $frames
    "$make" "$work/large" large $frames
    "$make" "$work/one" small 1
    "$make" "$work/few" small $few
    "$make" "$work/many" small $many
    "$make" "$work/listed" small $listed $others
}

# The row of a measured command: compareTo <name> <title> <target>.
compareTo() {
    row "$2" "${times[$1]}" "$(ratio "${times[tool]}" "${times[$1]}")" "$3"
}

# All of one kind of frame through every program.
compareFrames() {
    local kind=$1 names
    cd "$work/$kind"
    names=$(echo beauty.*)
    measure tool "$tool ./beauty.00001.exr" \
        exrheader "exrheader $names" \
        exrinfo "exrinfo $names" \
        iinfo "iinfo $names" \
        bare "$build/benchmarks/tool_bare $names" \
        floor "$build/benchmarks/tool_floor $names"
    header "$frames $kind frames" "ms" "tool / this" "target"
    row "this tool" "${times[tool]}" 1.00 ""
    compareTo exrheader exrheader "at most 0.75"
    compareTo exrinfo exrinfo "at most 2.0"
    compareTo iinfo iinfo "at most 0.2"
    compareTo bare "QCoreApplication and the library's reader" ""
    compareTo floor "open, fstat, read 4 KiB, close" ""
}

# Per frame, what starting costs taken off.
compareGrowth() {
    local perFew perMany
    measure one "$tool $work/one/beauty.00001.exr" \
        few "$tool $work/few/beauty.00001.exr" \
        many "$tool $work/many/beauty.00001.exr"
    perFew=$(perFrame "${times[few]}" "${times[one]}" $few)
    perMany=$(perFrame "${times[many]}" "${times[one]}" $many)
    header "Growth" "µs per frame" "ratio" "target"
    row "$few frames" "$perFew" 1.00 ""
    row "$many frames" "$perMany" "$(ratio "$perMany" "$perFew")" "0.9 to 1.1"
}

compareProcesses() {
    local startTool startBare peakOne peakListed peakBare
    {
        read -r startTool peakOne
        read -r startBare peakBare
    } < <("$build/benchmarks/tool_process" $((rounds * 3)) "$tool $work/one/beauty.00001.exr" \
        "$build/benchmarks/tool_bare $work/one/beauty.00001.exr")
    read -r _ peakListed < <("$build/benchmarks/tool_process" 1 "$tool $work/listed/beauty.00001.exr")
    header "Start to the first frame's line" "µs" "tool / this" "target"
    row "this tool" "$startTool" 1.00 ""
    row "QCoreApplication and one reader" "$startBare" "$(ratio "$startTool" "$startBare")" "at most 1.2"
    header "Peak memory" "KiB" "to one frame" "target"
    row "one frame" "$peakOne" 1.00 "at most 61440"
    row "$listed frames" "$peakListed" "$(ratio "$peakListed" "$peakOne")" "the same"
    row "QCoreApplication and one reader" "$peakBare" "$(ratio "$peakBare" "$peakOne")" ""
}

compareSteps() {
    local -A inside=()
    local name time
    while read -r name time; do inside[$name]=$time; done < \
        <("$build/benchmarks/tool_inside" "$rounds" "$work/small/beauty.00001.exr" "$work/listed/beauty.00001.exr")
    header "One small frame" "µs" "to the reader" "target"
    row "the library's reader, opened and closed" "${inside[reader]}" 1.00 ""
    row "the tool's check and its line" "${inside[testExr]}" "$(ratio "${inside[testExr]}" "${inside[reader]}")" \
        "at most 0.9"
    header "Discovery of $listed frames among $((listed + others)) entries" "µs" "to the floor" "target"
    row "readdir, and fstatat of the frames" "${inside[discoveryFloor]}" 1.00 ""
    row "this tool" "${inside[discovery]}" "$(ratio "${inside[discovery]}" "${inside[discoveryFloor]}")" "at most 1.3"
    header "The sequence record" "µs" "" ""
    row "got, constructed and given back" "${inside[record]}" "" ""
}

# The calls of a run on one frame, and of a run on many per further frame.
countCalls() {
    local directory call count
    local -A one=() all=()
    for directory in one small; do
        LD_PRELOAD=$build/tests/libkxWatchedCalls.so KX_CALL_COUNTS=$work/calls.$directory \
            "$tool" "$work/$directory/beauty.00001.exr" >"$work/lines"
    done
    while read -r call count; do one[$call]=$count; done <"$work/calls.one"
    while read -r call count; do all[$call]=$count; done <"$work/calls.small"
    header "File-system calls" "one frame, start included" "per further frame" "target"
    for call in opendir open stat read close; do
        row "$call" "${one[$call]}" "$(ratio $((all[$call] - one[$call])) $((frames - 1)))" \
            "$([ $call = opendir ] && echo 0 || echo 1)"
    done
}

benchTool() {
    makeFrames
    compareFrames small
    compareFrames large
    compareSteps
    compareProcesses
    compareGrowth
    countCalls
}
