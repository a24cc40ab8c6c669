#!/usr/bin/env bash
# Builds and runs CommonTarn on a Debian machine; installs missing build packages first.
#   ./build.sh demo     build and run the demo host program
#   ./build.sh test     build everything and run the whole test suite
#   ./build.sh asan     the test suite under AddressSanitizer and UndefinedBehaviorSanitizer
#   ./build.sh tsan     the test suite under ThreadSanitizer
#   ./build.sh bench    build and run the benchmarks, which print their ratios
#   ./build.sh deps     only install the missing packages
set -euo pipefail
cd "$(dirname "$0")"

packages=(cmake ninja-build g++ libgtest-dev libbenchmark-dev zlib1g-dev)

install_missing() {
    local missing=()
    for p in "${packages[@]}"; do
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

case "${1:-test}" in
deps) install_missing ;;
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
bench)
    install_missing
    build default
    shift
    for program in build/default/bench/*Bench; do
        "$program" "$@"
    done
    ;;
*)
    sed -n '2,9p' "$0"
    exit 2
    ;;
esac
