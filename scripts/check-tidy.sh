#!/usr/bin/env bash
# Runs clang-tidy, with the checks in .clang-tidy, over the sources that differ from a commit: the one
# given, else the last that the upstream branch has too, else the one before. With --all over all.
# A full run takes ten minutes on two cores, so `make check` asks for what has changed. The sources of
# a release have no history, and were looked at before.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/tidy
base=${1:-}
if [ -z "$base" ] && [ ! -e .git ]; then
    echo 'clang-tidy: there is no history to tell what has changed; --all looks at every source'
    exit 0
fi
if [ -z "$base" ]; then
    base=$(git merge-base HEAD '@{upstream}' 2>/dev/null || true)
    if [ -z "$base" ] || [ "$base" = "$(git rev-parse HEAD 2>/dev/null)" ]; then
        base=$(git rev-parse --quiet --verify HEAD~1 || true)
    fi
fi
if [ "$base" = --all ] || [ -z "$base" ]; then
    mapfile -t sources < <(find src tools -name '*.cpp' | sort)
else
    # A header is looked at through the source of its name.
    mapfile -t sources < <(git diff --name-only "$base" -- src tools | sed -n 's/\.\(h\|cpp\)$/.cpp/p' |
        sort -u | while read -r source; do [ ! -f "$source" ] || echo "$source"; done)
fi
if [ ${#sources[@]} -eq 0 ]; then
    echo "clang-tidy: no source has changed since $base"
    exit 0
fi
echo "clang-tidy: ${#sources[@]} sources"
cmake --preset tidy >/dev/null
printf '%s\0' "${sources[@]}" |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy-14 --quiet --warnings-as-errors='*' -p "$build" \
        2> >(grep -v 'warnings\? generated' >&2)
