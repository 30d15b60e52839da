#!/usr/bin/env bash
# Builds the fuzz targets with clang++ and libFuzzer and runs each, from its corpus on:
#
#     scripts/fuzz.sh [SECONDS [TARGET...]]      60 seconds of each target without arguments
#
# FUZZ_RUNS=N ends a target after N executions, if that is sooner. New inputs stay in the build
# folder (FUZZ_DIR, build/fuzz), with the findings; a finding is status 1.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
build=${FUZZ_DIR:-build/fuzz}
export UBSAN_OPTIONS=print_stacktrace=1 ASAN_OPTIONS=detect_stack_use_after_return=1

cmake --preset fuzz -B "$build" >/dev/null
cmake --build "$build"
if [ $# -eq 0 ]; then
    set -- $(basename -a -s Fuzz.cpp tests/fuzz/*Fuzz.cpp)
fi

# Folders that a target starts from.
seeds() {
    case $1 in
    Contact) echo tests/fuzz/corpus/Contact tests/data/vcards ;;
    *) echo "tests/fuzz/corpus/$1" ;;
    esac
}

# Contact files are written thousands of times; one in memory is faster. A target that ends in the
# middle of an input leaves its own behind.
scratch=$(mktemp -d -p /dev/shm 2>/dev/null || mktemp -d)
trap 'rm -rf "$scratch"' EXIT

failed=0
printf '%-14s %12s %10s  %s\n' target executions per-second findings
for target in "$@"; do
    found="$build/found/$target"
    log="$build/$target.log"
    mkdir -p "$found/corpus" "$found/findings"
    status=0
    TMPDIR="$scratch" "$build/tests/fuzz/${target}Fuzz" \
        -max_total_time="$seconds" -runs="${FUZZ_RUNS:--1}" -max_len=20000 -timeout=20 \
        -rss_limit_mb=2048 -dict=tests/fuzz/text.dict -print_final_stats=1 \
        -artifact_prefix="$found/findings/" "$found/corpus" $(seeds "$target") \
        >"$log" 2>&1 || status=$?
    stat() { sed -n "s/^stat::$1: *//p" "$log"; }
    findings=none
    if [ $status -ne 0 ]; then
        failed=1
        findings="status $status, see $log and $found/findings"
    fi
    printf '%-14s %12s %10s  %s\n' "$target" "$(stat number_of_executed_units)" \
        "$(stat average_exec_per_sec)" "$findings"
done
exit $failed
