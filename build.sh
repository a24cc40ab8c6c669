#!/usr/bin/env bash
# Builds and runs CommonTarn on a Debian machine; installs missing build packages first.
#   ./build.sh demo     build and run the demo host program
#   ./build.sh test     build everything and run the whole test suite
#   ./build.sh asan     the test suite under AddressSanitizer and UndefinedBehaviorSanitizer
#   ./build.sh tsan     the test suite under ThreadSanitizer
#   ./build.sh bench    build and run the benchmarks, which print their ratios
#   ./build.sh windows  build the 64- and 32-bit Windows DLLs and run the 64-bit suites under wine64
#   ./build.sh fuzz [s] build the libFuzzer targets with clang and run each for s seconds (60)
#   ./build.sh coverage the test suite with gcov, then gcovr's line coverage of src/, heap/, platform/
#   ./build.sh deps     only install the missing packages, for Linux and Windows builds
set -euo pipefail
cd "$(dirname "$0")"

packages=(cmake ninja-build g++ libgtest-dev libbenchmark-dev zlib1g-dev libre2-dev pkg-config
    libboost-dev)
# The Windows builds: MinGW-w64 with POSIX threads, zlib for MinGW (the numeric suite's
# oracle), GoogleTest sources to build with the cross compiler, and wine64 to run the tests.
windows_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix
    libz-mingw-w64-dev googletest wine64)
# The fuzz targets: clang and its sanitizer and libFuzzer run-time libraries.
fuzz_packages=(cmake ninja-build clang libclang-rt-dev)
# The coverage report.
coverage_packages=(gcovr)

install_missing() {  # [package...], the Linux packages when none are named
    local wanted=("$@")
    [ ${#wanted[@]} -eq 0 ] && wanted=("${packages[@]}")
    local missing=()
    for p in "${wanted[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

build() {  # preset [targets...]
    local preset=$1
    shift
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" "$@"
}

# Builds both Windows presets, then runs the 64-bit suites under wine64 in a fresh prefix
# that is started once, so the suites do not each pay for setting it up.
windows() {
    install_missing "${windows_packages[@]}"
    build mingw64
    build mingw32
    local prefix
    prefix=$(mktemp -d "${TMPDIR:-/tmp}/commontarn-wine.XXXXXX")
    # shellcheck disable=SC2064
    trap "WINEPREFIX='$prefix' /usr/lib/wine/wineserver64 -k 2>/dev/null || true; rm -rf '$prefix'" EXIT
    export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" DISPLAY=
    /usr/lib/wine/wine64 wineboot -i >/dev/null 2>&1
    ctest --preset mingw64
}

# Runs every fuzz target for the given number of seconds, from its seeds in fuzz/corpus/<name>
# if there are any; a crash, a leak, undefined behaviour or an input that runs longer than
# 10 s stops the run, leaves the input in build/fuzz/findings and fails.
fuzz() {
    local seconds=${1:-60}
    install_missing "${fuzz_packages[@]}"
    build fuzz
    mkdir -p build/fuzz/findings
    local program name corpus
    for program in build/fuzz/fuzz/Fuzz*; do
        [ -x "$program" ] || continue
        name=$(basename "$program")
        corpus=build/fuzz/corpus/$name
        mkdir -p "$corpus"
        [ -d "fuzz/corpus/$name" ] && cp -r "fuzz/corpus/$name/." "$corpus/"
        if ! "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
            -artifact_prefix="build/fuzz/findings/$name-" "$corpus" >"build/fuzz/$name.log" 2>&1; then
            tail -n 60 "build/fuzz/$name.log"
            echo "$name: finding, see build/fuzz/findings"
            return 1
        fi
        echo "$name: no finding in $seconds s, $(find "$corpus" -type f | wc -l) inputs in the corpus"
    done
}

case "${1:-test}" in
deps) install_missing "${packages[@]}" "${windows_packages[@]}" "${fuzz_packages[@]}" "${coverage_packages[@]}" ;;
fuzz) fuzz "${2:-60}" ;;
windows) windows ;;
demo)
    install_missing
    build default --target demo >/dev/null
    build/default/examples/demo
    ;;
test | asan | tsan)
    preset=$1
    [ "$preset" = test ] && preset=default
    install_missing
    build "$preset"
    ctest --preset "$preset"
    ;;
coverage)
    install_missing "${packages[@]}" "${coverage_packages[@]}"
    build coverage
    # Counts of earlier runs would add up: each run measures from zero. The coverage is
    # printed also when a suite fails, and the failure is the mode's answer.
    find build/coverage -name '*.gcda' -delete
    status=0
    ctest --preset coverage || status=$?
    gcovr --root . --filter 'src/' --filter 'heap/' --filter 'platform/' --print-summary \
        --exclude-directories '.*/consumer-work' --output /dev/null build/coverage | grep '^lines:'
    exit "$status"
    ;;
bench)
    install_missing
    build default
    shift
    for program in build/default/bench/*Bench; do
        "$program" "$@"
    done
    ;;
*)
    sed -n '2,11p' "$0"
    exit 2
    ;;
esac
