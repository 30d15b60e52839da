#!/usr/bin/env bash
# Builds the programs that measure other libraries, and prints their figures, one JSON object a
# line. What is missing is told as left out.
#
# Usage: run.sh WORK CORPUS      WORK keeps the programs for the next run
set -uo pipefail
cd "$(dirname "$0")"
work=$1
corpus=$2

# program NAME FLAGS...
program() {
    [ -x "$work/$1" ] || g++ -O2 -std=c++20 -w "$1.cpp" -o "$work/$1" "${@:2}"
}

left_out() {
    printf '{"peer": "%s", "left_out": "it could not be built or run"}\n' "$1"
}

# A store of the round before would be one contact of each too many.
store=$(mktemp -d "$work/evolution-XXXXXX")
{
    # shellcheck disable=SC2046 # flags are words
    program EvolutionPeer $(pkg-config --cflags --libs libedata-book-1.2) &&
        "$work/EvolutionPeer" "$corpus" "$store"
} || left_out evolution-data-server
{
    # shellcheck disable=SC2046
    program KContactsPeer -fPIC -I/usr/include/KF5/KContacts \
        $(pkg-config --cflags --libs Qt5Gui) -lKF5Contacts && "$work/KContactsPeer" "$corpus"
} || left_out KContacts
/usr/bin/python3 vobject_peer.py "$corpus" || left_out python3-vobject
