# shellcheck shell=bash
# SPDX-License-Identifier: BSD-3-Clause
#
# What scripts/verify and scripts/check have in common: they build the programs if need be and run one of them.
#
# The arguments are passed on as they are, relative paths count from the caller's directory, standard output and the
# exit code are the program's. What the set-up says goes to standard error; when it fails the exit code is 2.
set -euo pipefail
root=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
build=$root/build/release

setUp() {
    "$root/scripts/install-dependencies" build || return
    if [ ! -f "$build/build.ninja" ]; then
        (cd "$root" && cmake --preset release -DKX_BUILD_TESTS=OFF) || return
    fi
    cmake --build "$build" --target kxVerifyExrModes kxCheckFrames writeSampleSequence writeDamagedSequence
}

# Runs the program of this name with the arguments that follow. Without any it calls runOnSample, which the script
# has, with the program's path and a temporary directory.
runProgram() {
    local program=$build/$1
    shift
    if ! setUp >&2 </dev/null; then
        echo "The tool could not be built, see above." >&2
        exit 2
    fi
    [ $# -eq 0 ] || exec "$program" "$@"
    directory=$(mktemp -d "${TMPDIR:-/tmp}/kxSample.XXXXXX")
    trap 'rm -rf "$directory"' EXIT
    trap 'exit 130' INT TERM
    runOnSample "$program" "$directory"
}
