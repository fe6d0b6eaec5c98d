# SPDX-License-Identifier: BSD-3-Clause
#
# Sourced by scripts/bench: kxCheckFrames ($check) at each level beside other programs and beside itself.

if [ -n "$quick" ]; then
    rounds=3 small=100 ofKind=1 cached=1 onShare=20 largeShare=100 few=50 many=200 onPage=100 most=500
else
    rounds=9 small=2000 ofKind=17 cached=334 onShare=400 largeShare=24999 few=1000 many=20000 onPage=24999 most=24999
fi

# compare <name> <title> <name of the other> <title of the other> <target>: a row with the ratio of two measured commands.
compare() {
    printf '| %s | %.1f (%s) | %s | %.1f (%s) | %s | %s |\n' "$2" "${times[$1]}" "${spread[$1]}" \
        "$4" "${times[$3]}" "${spread[$3]}" "$(ratio "${times[$1]}" "${times[$3]}")" "$5"
}

compareHeader() {
    printf '\n%s\n\n| | ms | beside | ms | ratio | target |\n|---|---:|---|---:|---:|---|\n' "$1"
}

# Headers and structure of one kind of frame.
compareFiles() {
    local kind=$1 names
    "$build/benchmarks/tool_frames" "$work/$kind" "$kind" $small
    cd "$work/$kind"
    names=$(echo beauty.*)
    measure headers "$check --level headers --jobs 1 ." \
        headers2 "$check --level headers --jobs 2 ." \
        headers16 "$check --level headers ." \
        structure "$check --level structure --jobs 1 ." \
        structure2 "$check --level structure --jobs 2 ." \
        exrinfo "exrinfo $names" \
        exrheader "exrheader $names" \
        bare "$build/benchmarks/check_bare headers $names"
    compareHeader "$small $kind frames"
    compare headers "headers, 1 job" exrinfo exrinfo "at most 1.0"
    compare headers "headers, 1 job" bare "the C core's reader" ""
    compare headers "headers, 1 job" exrheader exrheader ""
    compare headers2 "headers, 2 jobs" headers "1 job" "at most 0.6"
    compare headers16 "headers, 16 jobs" headers "1 job" ""
    compare structure "structure, 1 job" headers "headers, 1 job" "at most 1.5"
    compare structure2 "structure, 2 jobs" structure "1 job" ""
}

# Older C cores of the EXR library can't decode DWAA.
comparePixels() {
    local rounds=$(((rounds + 2) / 3)) names peak first one kind
    "$build/benchmarks/check_frames" "$work/hd" $ofKind
    cd "$work/hd"
    names=$(echo *.exr)
    measure pixels "$check --jobs 1 ." \
        pixels2 "$check --jobs 2 ." \
        oiiotool "oiiotool --threads 1 --stats $names"
    compareHeader "$((3 * ofKind)) frames of 1920 x 1080, ZIP, PIZ and DWAA, 12 channels, one and two parts"
    compare pixels "pixels, 1 job" oiiotool "oiiotool --stats, 1 thread" "at most 0.4"
    compare pixels2 "pixels, 2 jobs" pixels "1 job" "at most 0.55"
    for kind in zip piz; do
        measure pixels "$check --jobs 1 $kind.####.exr" bare "$build/benchmarks/check_bare pixels $(echo $kind.*)"
        compare pixels "pixels of $kind, 1 job" bare "decompressing and unpacking alone" "at most 1.25"
    done
    {
        read -r first _
        read -r one _
        read -r _ peak
    } < <("$build/benchmarks/tool_process" "$rounds" "$check --jobs 1 --verbose $work/hd/zip.####.exr" \
        "$check --jobs 1 --verbose --frames 1 $work/hd/zip.####.exr" "$check --jobs 1 --verbose $work/hd")
    header "Start to the first frame's line" "ms" "to one frame" "target"
    row "one frame of $ofKind" "$(ratio "$one" 1000)" 1.00 ""
    row "all of them" "$(ratio "$first" 1000)" "$(ratio "$first" "$one")" "at once"
    header "Peak memory of one process" "MiB" "" "target"
    row "pixels of 1920 x 1080" "$(ratio "$peak" 1024)" "" "at most 64 and 20 bytes a pixel: 103"
}

compareCache() {
    local rounds=$(((rounds + 2) / 3))
    "$build/benchmarks/check_frames" "$work/cached" $cached
    cd "$work/cached"
    "$check" --cache "$work/cache" . >"$work/lines"
    measure structure "$check --level structure ." rerun "$check --cache $work/cache ."
    compareHeader "$((3 * cached)) frames of 1920 x 1080"
    compare rerun "all pixels found in a cache" structure "structure" "at most 3"
}

# Every call of the file system takes microseconds: compareWaits <microseconds> <frames> <level> <target>
compareWaits() {
    local rounds=1 delayed="env KX_DELAY=$1 LD_PRELOAD=$build/tests/libkxWatchedCalls.so $check --level $3"
    "$build/benchmarks/tool_frames" "$work/share" small "$2"
    measure many "$delayed --jobs 16 $work/share" one "$delayed --jobs 1 $work/share"
    compareHeader "$2 frames, $1 microseconds a call"
    compare many "$3, 16 jobs" one "1 job" "at most $4"
    rm -r "$work/share"
}

comparePage() {
    local rounds=$(((rounds + 2) / 3))
    "$build/benchmarks/tool_frames" "$work/paged" small $onPage
    "$check" --cache "$work/pageCache" "$work/paged" >"$work/lines"
    measure page "$check --cache $work/pageCache --report $work/page.html $work/paged" \
        rerun "$check --cache $work/pageCache $work/paged" \
        thumbnails "$build/benchmarks/check_thumbnails $work/pageCache"
    compareHeader "$onPage frames from a cache"
    compare page "with a page" thumbnails "every thumbnail read once" "at most 1.5"
    compare page "with a page" rerun "without" ""
}

# Per frame, what starting costs taken off.
compareLevels() {
    local rounds=$(((rounds + 2) / 3)) level perFew perMany peak
    "$build/benchmarks/tool_frames" "$work/one" small 1
    "$build/benchmarks/tool_frames" "$work/few" small $few
    "$build/benchmarks/tool_frames" "$work/many" small $many
    header "Growth: $many frames beside $few" "µs per frame" "ratio" "target"
    for level in headers structure pixels; do
        measure one "$check --level $level --jobs 2 $work/one" few "$check --level $level --jobs 2 $work/few" \
            many "$check --level $level --jobs 2 $work/many"
        perFew=$(perFrame "${times[few]}" "${times[one]}" $few)
        perMany=$(perFrame "${times[many]}" "${times[one]}" $many)
        row "$level" "$perMany" "$(ratio "$perMany" "$perFew")" "0.9 to 1.1"
    done
    "$build/benchmarks/tool_frames" "$work/most" small $most
    header "Peak memory of one process, $most frames" "MiB" "" "target"
    for level in headers structure pixels; do
        read -r _ peak < <("$build/benchmarks/tool_process" 1 "$check --level $level --verbose $work/most")
        row "$level" "$(ratio "$peak" 1024)" "" "at most 100"
    done
}

benchCheck() {
    compareFiles small
    compareFiles large
    comparePixels
    compareCache
    compareWaits 5000 $onShare headers 0.1
    compareWaits 500 $largeShare structure 0.12
    comparePage
    compareLevels
}
