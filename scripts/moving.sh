#!/usr/bin/env bash
# Trials of an import that does not come to its end: ended by Ctrl-C, by kill -9 and by a full disk,
# and each time taken up again, with --skip-existing and with --update. The address book must then
# be the one that an import without a stop makes. Prints one table; a fault is status 1.
#
#     scripts/moving.sh [CARDS [ROUNDS]]      1,500 cards and 1 round without arguments
#
# TOOL=FILE is the program (build/release/contactmgr). The full disk wants root, for its mount.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2

cards=${1:-1500}
rounds=${2:-1}
tool=$(realpath "${TOOL:-build/release/contactmgr}") || exit 2
work=$(mktemp -d /var/tmp/contactmgr-moving-XXXXXX)
disk=$work/disk
mkdir "$disk"
failed=0

clean_up() {
    mountpoint -q "$disk" && umount "$disk"
    rm -rf --one-file-system "$work"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# Persons with a UID, with an address alone, and with a number alone, in three versions.
python3 - "$cards" >"$work/cards.vcf" <<'PYTHON'
import sys

for i in range(int(sys.argv[1])):
    version = ("3.0", "2.1", "4.0")[i % 3]
    way = ((f"UID:uid-{i}", f"EMAIL:p{i}@example.org"), (f"EMAIL:p{i}@example.org",),
           (f"TEL:+1 555 {i}",))[i // 3 % 3]
    print("BEGIN:VCARD", f"VERSION:{version}", f"N:Person {i};Ann;;;", f"FN:Ann Person {i}", *way,
          f"NOTE:number {i}", "END:VCARD", sep="\r\n", end="\r\n")
PYTHON

# on STORE ARGUMENTS...
on() {
    "$tool" --store "$1" --mailbox ann@example.org "${@:2}"
}

fresh() {
    rm -rf "$1"
    mkdir -p "$1/example.org/ann/cur"
}

# The contacts of a store, one a line, without what each save renews, and without the UIDs that follow
# from the numbers: a kill uses one up.
contacts() {
    on "$1" export | grep -av '^REV:\|^X-LARKMERE-WSSVERSION:\|^UID:[0-9a-f]\{8\}-' | tr -d '\r' | tr '\n' '|' |
        sed 's/END:VCARD|/\n/g' | sort
}

# fault TRIAL TEXT
fault() {
    echo "moving: $1: $2" >&2
    failed=1
}

# check_stop TRIAL STORE STATUS: what a run that was told to stop must leave.
check_stop() {
    local trial=$1 store=$2 status=$3 made
    made=$(wc -l <"$work/out")
    [ "$status" -eq 1 ] || fault "$trial" "status $status"
    grep -q "stopped at card $((made + 1)) of $work/cards.vcf\$" "$work/err" ||
        fault "$trial" "$made identifiers, but: $(tail -n 1 "$work/err")"
    [ "$(contacts "$store" | wc -l)" -eq "$made" ] || fault "$trial" "not $made contacts"
    [ "$(grep -vc 'made of vCard' "$work/err")" -le 2 ] || fault "$trial" "too many lines"
}

# check_end TRIAL STORE OPTION: takes the import up again.
check_end() {
    local trial="$1, then $3" store=$2 empty
    [ "$(contacts "$store" | wc -l)" -lt "$cards" ] || fault "$trial" "it was not stopped in time"
    empty=$(find "$store" -name .redo -prune -o -name '*.vcf' -size 0 -print | wc -l)
    [ "$empty" -le 1 ] || fault "$trial" "$empty empty files"
    on "$store" import "$3" "$work/cards.vcf" >"$work/out" 2>"$work/err" ||
        fault "$trial" "$(tail -n 1 "$work/err")"
    [ "$(grep -c '^created \|^skipped ' "$work/out")" -eq "$cards" ] ||
        fault "$trial" "not each card is told"
    contacts "$store" | cmp -s - "$work/expected" || fault "$trial" "other contacts"
    printf '| %-32s | %6s | %7s |\n' "$trial" "$(grep -c '^skipped ' "$work/out")" \
        "$(grep -c '^created ' "$work/out")"
}

# by_signal SIGNAL OPTION: at a random moment of the import.
by_signal() {
    local store=$work/store pid status=0
    fresh "$store"
    # A job in the background ignores Ctrl-C.
    env --default-signal=INT "$tool" --store "$store" --mailbox ann@example.org \
        import "$work/cards.vcf" >"$work/out" 2>"$work/err" &
    pid=$!
    sleep "$(awk -v s="$RANDOM" -v t="$seconds" 'BEGIN { print t * (0.1 + 0.5 * s / 32768) }')"
    kill -"$1" "$pid"
    wait "$pid" 2>/dev/null || status=$?
    [ "$1" = KILL ] || check_stop "$1" "$store" "$status"
    check_end "$1" "$store" "$2"
}

# Half of the cards fit, at a page each.
by_full_disk() {
    local status=0
    mount -t tmpfs -o "size=$((cards * 2))k" tmpfs "$disk" || return
    fresh "$disk/store"
    on "$disk/store" import "$work/cards.vcf" >"$work/out" 2>"$work/err" || status=$?
    check_stop 'full disk' "$disk/store" "$status"
    mount -o "remount,size=$((cards * 16))k" "$disk"
    check_end 'full disk' "$disk/store" "$1"
    umount "$disk"
}

fresh "$work/whole"
begin=$(date +%s%N)
on "$work/whole" import "$work/cards.vcf" >/dev/null 2>&1
seconds=$(awk -v b="$begin" -v e="$(date +%s%N)" 'BEGIN { print (e - b) / 1e9 }')
contacts "$work/whole" >"$work/expected"
[ "$(wc -l <"$work/expected")" -eq "$cards" ] || fault whole 'it is not whole'

printf 'An import of %s cards takes %.1f s without a stop.\n\n' "$cards" "$seconds"
printf '| %-32s | %6s | %7s |\n| --- | --- | --- |\n' 'stopped by' there created
for ((round = 0; round < rounds; round++)); do
    for option in --skip-existing --update; do
        by_signal INT "$option"
        by_signal TERM "$option"
        by_signal KILL "$option"
        if [ "$(id -u)" -eq 0 ]; then
            by_full_disk "$option"
        fi
    done
done
exit $failed
