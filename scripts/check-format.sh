#!/usr/bin/env bash
# Fails if clang-format would lay out a source otherwise. Versions differ in their results, so only
# the one that .clang-format was written for is asked.
set -euo pipefail
cd "$(dirname "$0")/.."

version=14
for formatter in "clang-format-$version" clang-format; do
    if "$formatter" --version 2>/dev/null | grep -q "version $version\."; then
        find src tools tests bench examples \( -name '*.h' -o -name '*.cpp' \) -print0 |
            xargs -0 -r "$formatter" --dry-run -Werror
        exit
    fi
done
echo "The layout of the sources is not checked: there is no clang-format $version." >&2
