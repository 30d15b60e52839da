#!/usr/bin/env bash
# Whether phones reach the address book and other programs read what goes out. With the vdirsyncer,
# Radicale, khard and vobject of the distribution.
#
# Usage: phones.sh [--long] TOOL
#
#   1. khard and vobject read the exports of the sample cards of the tests.
#   2. A phone's address book in Radicale goes through vdirsyncer and `contactmgr sync` into the
#      mailbox, and back. Both sides create, change and delete cards in rounds, also the same ones,
#      and `contactmgr sync` is killed at random moments. After each round both sides must have
#      every card once (phones.py).
#
# Takes under a minute; --long takes many. Listens on a free port of 127.0.0.1.
set -Eeuo pipefail

rounds=12
if [ "${1:-}" = --long ]; then
    rounds=300
    shift
fi
tool=$(realpath "$1")
root=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d /tmp/contactmgr-phones-XXXXXX)
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data
export CONTACTMGR_STORE=$work/store CONTACTMGR_MAILBOX=alice@example.org
radicale=''

fail() {
    echo "FAILED   $*" >&2
    exit 1
}

clean_up() {
    [ -z "$radicale" ] || kill "$radicale" 2>/dev/null || true
    rm -rf "$work"
}
trap clean_up EXIT
trap 'fail "line $LINENO"' ERR

mkdir -p "$CONTACTMGR_STORE" "$work/config/khard"
"$tool" mailbox add "$CONTACTMGR_MAILBOX"
"$tool" mailbox add bob@example.org

# What khard and vobject make of a folder of cards; both must be silent.
read_by_others() {
    local what=$1 folder=$2 count
    count=$(find "$folder" -name '*.vcf' | wc -l)
    cat >"$work/config/khard/khard.conf" <<CONF
[addressbooks]
[[book]]
path = $folder
[general]
default_action = list
CONF
    khard list --parsable >"$work/khard.out" 2>"$work/khard.err"
    [ ! -s "$work/khard.err" ] || fail "khard on $what: $(head -n 3 "$work/khard.err")"
    [ "$(wc -l <"$work/khard.out")" = "$count" ] ||
        fail "khard shows $(wc -l <"$work/khard.out") of $count cards of $what"
    /usr/bin/python3 -W error - "$folder" <<'PYTHON' || fail "vobject on $what"
import glob, sys, vobject
for path in glob.glob(sys.argv[1] + "/*.vcf"):
    with open(path, encoding="utf-8", newline="") as file:
        cards = list(vobject.readComponents(file.read()))
    assert len(cards) == 1, path
    cards[0].validate()
    cards[0].serialize()
PYTHON
    echo "ok       khard and vobject read $what: $count cards"
}

"$tool" --mailbox bob@example.org import "$root"/tests/data/vcards/*.vcf >"$work/ids" 2>/dev/null || true
[ -s "$work/ids" ] || fail 'no sample card came in'
"$tool" --mailbox bob@example.org new GivenName=Only --email only@example.org >/dev/null
for version in 3.0 4.0; do
    "$tool" --mailbox bob@example.org export --version $version --vdir "$work/export-$version" 2>/dev/null
    read_by_others "export --version $version --vdir" "$work/export-$version"
done
# Plain export writes what is stored, so only cards that vobject reads before count.
"$tool" mailbox add carol@example.org
for file in "$root"/tests/data/vcards/*.vcf; do
    if /usr/bin/python3 -c 'import sys, vobject
list(vobject.readComponents(open(sys.argv[1], encoding="utf-8", newline="").read()))' "$file" 2>/dev/null; then
        "$tool" --mailbox carol@example.org import "$file" >/dev/null 2>&1 || true
    fi
done
"$tool" --mailbox carol@example.org export >"$work/all.vcf"
/usr/bin/python3 -W error -c 'import sys, vobject
with open(sys.argv[1], encoding="utf-8", newline="") as file:
    cards = list(vobject.readComponents(file.read()))
assert all(card.uid.value for card in cards)
print("ok       vobject reads export:", len(cards), "cards")' "$work/all.vcf"

port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
radicale --hosts "127.0.0.1:$port" --storage-filesystem-folder "$work/radicale" --auth-type none \
    --logging-level warning >"$work/radicale.log" 2>&1 &
radicale=$!
mkdir -p "$work/vdir/book" "$work/vdirsyncer"
cat >"$work/vdirsyncer/config" <<CONF
[general]
status_path = "$work/vdirsyncer/status/"
[pair phone]
a = "here"
b = "server"
collections = ["book"]
[storage here]
type = "filesystem"
path = "$work/vdir/"
fileext = ".vcf"
[storage server]
type = "carddav"
url = "http://127.0.0.1:$port/alice/"
username = "alice"
password = "none"
CONF
"$root/scripts/phones.py" --tool "$tool" --folder "$work/vdir/book" --server "http://127.0.0.1:$port" \
    --config "$work/vdirsyncer/config" --rounds "$rounds" || fail "$(tail -n 3 "$work/radicale.log")"
read_by_others 'the folder that was synchronized' "$work/vdir/book"
