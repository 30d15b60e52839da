#!/usr/bin/env bash
# Imports the vCards of folders, card by card, and compares what came in with what vobject and
# libebook make of the same cards. Prints one table, in rows by version.
#
#     scripts/import-table.sh [--list] [FOLDER...]      tests/data/vcards without arguments
#
# --list also prints each card that does not come in, and each value that a peer has and the address
# book has not. TOOL=FILE is the program (build/release/contactmgr). Wants python3-vobject,
# libebook-contacts1.2-dev and g++.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# shellcheck disable=SC2046 # flags are words
g++ -O1 -std=c++20 -w bench/peers/EvolutionCards.cpp -o "$work/EvolutionCards" \
    $(pkg-config --cflags --libs libebook-contacts-1.2)
/usr/bin/python3 scripts/import_table.py "${TOOL:-build/release/contactmgr}" \
    "$work/EvolutionCards" "$work" "$@"
