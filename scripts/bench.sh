#!/usr/bin/env bash
# Measures the library beside its floors and beside other programs, and a store of many mailboxes,
# and writes docs/performance.md, docs/scale.md and the pictures from the figures.
#
# Usage: bench.sh [--no-peers] BUILD
#        BUILD is the build folder. The files lie below TMPDIR: choose the file system by it. On a
#        machine that does nothing else it takes less than ten minutes. MAILBOXES=COUNT gives the
#        large store another size.
set -euo pipefail

peers=--peers
if [ "${1:-}" = --no-peers ]; then
    peers=
    shift
fi
build=$(realpath "${1:?the build folder}")
cd "$(dirname "$0")/.."
results=$build/bench/results
work=$(mktemp -d "${TMPDIR:-/tmp}/contactmgr-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT TERM
mkdir -p "$work/tmp" "$results"
rm -f "$results"/*

step() {
    printf '== %s (after %d s)\n' "$1" "$SECONDS"
}

corpus=$work/corpus
export CONTACTMGR_BENCH_CORPUS=$corpus
step 'corpus'
python3 bench/make_corpus.py vcards "$corpus/plain" -n 10000 --photo-share 0
python3 bench/make_corpus.py vcards "$corpus/photos" -n 2000
python3 bench/make_corpus.py maildir "$corpus/mail" -m 2000

# Once before and once after the library, and the better figure counts.
measure_peers() {
    if [ -n "$peers" ]; then
        step "other libraries, round $1"
        bench/peers/run.sh "$work" "$corpus" >>"$results/peers.jsonl"
    fi
}

measure_peers 1
step 'library and floors'
TMPDIR=$work/tmp "$build/bench/contactmgr_bench" --benchmark_out="$results/bench.json" \
    --benchmark_out_format=json --benchmark_format=console >"$results/bench.txt" 2>&1 ||
    { cat "$results/bench.txt" >&2; exit 1; }
measure_peers 2
step 'commands'
mkdir "$work/commands"
# Not the first python3 of the path: khard and vobject belong to the system's.
/usr/bin/python3 bench/commands.py "$corpus" "$work/commands" "$build/contactmgr" $peers \
    >"$results/commands.jsonl" 2>"$results/commands.txt" ||
    { cat "$results/commands.txt" >&2; exit 1; }
step 'many mailboxes'
mkdir "$work/scale"
"$build/bench/contactmgr_scale" "$work/scale" "${MAILBOXES:-100000}" >"$results/scale.json"
step 'pages'
python3 -B bench/report.py "$results" "$work" docs
step 'clearing up'
rm -rf "$work"
step 'done'
