#!/usr/bin/env bash
# Runs the trials of the address book on every file system that this machine can mount, and prints
# one table. Wants root, for the mounts; takes down all that it set up, however it ends.
#
# Usage: trust.sh [--quick] [--effort PERCENT] [--only "FILESYSTEM..."] PROGRAM
#        PROGRAM is contactmgr_trust. 100 percent take some hours on 2 cores, most of them for the
#        hunt for lost changes; --quick is 15 percent.
set -uo pipefail

effort=100
only='ext4 xfs btrfs tmpfs overlay bindfs ramfs gluster ceph full-btrfs full-xfs ext4-power-cut
xfs-power-cut'
while [ $# -gt 1 ]; do
    case $1 in
        --quick) effort=15 ;;
        --effort) effort=$2; shift ;;
        --only) only=$2; shift ;;
        *) break ;;
    esac
    shift
done
program=$(realpath "${1:?the program contactmgr_trust}") || exit 2
if [ "$(id -u)" -ne 0 ]; then
    echo 'trust: the mounts want root' >&2
    exit 2
fi

address=192.168.77.1 # GlusterFS refuses 127.0.0.1
work=$(mktemp -d /var/tmp/contactmgr-trust-XXXXXX)
mounts=()
cleanups=()
rows=()
skipped=()
is_broken=0
exec 3>"$work/messages"

clean_up() {
    trap - EXIT INT TERM
    local index
    [ -n "${saver:-}" ] && kill "$saver" 2>/dev/null && wait "$saver" 2>/dev/null
    for ((index = ${#mounts[@]} - 1; index >= 0; index--)); do
        umount "${mounts[index]}" 2>&3 || { sleep 1; umount -l "${mounts[index]}" 2>&3; }
    done
    for ((index = ${#cleanups[@]} - 1; index >= 0; index--)); do
        eval "${cleanups[index]}" >&3 2>&3
    done
    # Never into what could not be taken down.
    rm -rf --one-file-system "$work"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# mounted FOLDER COMMAND...: makes the folder and runs the command that mounts something there.
mounted() {
    mkdir -p "$1"
    "${@:2}" >&3 2>&3 || return 1
    mounts+=("$1")
}

unmount_last() {
    umount "${mounts[-1]}" && unset 'mounts[-1]'
}

# image FILE SIZE MKFS...
image() {
    truncate -s "$2" "$1" && "${@:3}" "$1" >&3 2>&3
}

skip() {
    skipped+=("$1: $2")
    echo "skipped: $1: $2"
}

# scaled COUNT: the count at this effort, at least 1.
scaled() {
    echo $((($1 * effort + 99) / 100))
}

add_row() { # FILESYSTEM ROW
    rows+=("$2")
    rows[-1]="${2%%|*}| $1 |${2#*|}"
    echo "${rows[-1]}"
}

# trial FILESYSTEM NAME FOLDER OPTIONS...: a trial that prints no row has broken too.
trial() {
    local row
    row=$("$program" "${@:2}" 2>&3) || is_broken=1
    add_row "$1" "${row:-trial $2 | 0 | 1 | it did not end}"
}

# trials FILESYSTEM FOLDER KILL_PAIRS RANDOM_KILLS CREATIONS SAVES OPENS [SECOND]
trials() {
    local second=()
    [ $# -ge 8 ] && second=(--second "$8")
    trial "$1" kill "$2" --count "$(scaled "$3")"
    trial "$1" random-kill "$2" --count "$(scaled "$4")"
    trial "$1" numbers "$2" --count "$(scaled "$5")" "${second[@]}"
    trial "$1" changes "$2" --count "$(scaled "$6")" "${second[@]}"
    trial "$1" changes "$2" --count "$(scaled "$6")" --jitter "${second[@]}"
    trial "$1" handles "$2" --count "$(scaled "$7")" "${second[@]}"
    trial "$1" mail "$2" --count "$(scaled 500)"
}

try_ext4() {
    image "$work/ext4.img" 512M mkfs.ext4 -q -F &&
        mounted "$work/ext4" mount -o loop "$work/ext4.img" "$work/ext4" &&
        mounted "$work/ext4-again" mount --bind "$work/ext4" "$work/ext4-again" ||
        return 1
    trials ext4 "$work/ext4" 10 3000 1000 600000 100000 "$work/ext4-again"
    trial ext4 root "$work/ext4"
}

try_xfs() {
    image "$work/xfs.img" 512M mkfs.xfs -q -f &&
        mounted "$work/xfs" mount -o loop "$work/xfs.img" "$work/xfs" || return 1
    trials xfs "$work/xfs" 10 2000 1000 100000 100000
}

try_btrfs() {
    image "$work/btrfs.img" 512M mkfs.btrfs -q -f &&
        mounted "$work/btrfs" mount -o loop "$work/btrfs.img" "$work/btrfs" || return 1
    trials btrfs "$work/btrfs" 10 1500 1000 50000 100000
}

try_tmpfs() {
    mounted "$work/tmpfs" mount -t tmpfs none "$work/tmpfs" || return 1
    trials tmpfs "$work/tmpfs" 10 2000 1000 100000 100000
}

try_overlay() {
    image "$work/lower.img" 512M mkfs.ext4 -q -F &&
        mounted "$work/lower" mount -o loop "$work/lower.img" "$work/lower" &&
        mkdir "$work/lower/lower" "$work/lower/upper" "$work/lower/work" &&
        mounted "$work/overlay" mount -t overlay overlay -o \
            "lowerdir=$work/lower/lower,upperdir=$work/lower/upper,workdir=$work/lower/work" \
            "$work/overlay" || return 1
    trials overlay "$work/overlay" 5 1000 1000 50000 100000
}

try_bindfs() {
    mkdir "$work/bound"
    mounted "$work/bindfs" bindfs "$work/bound" "$work/bindfs" || return 1
    trials bindfs "$work/bindfs" 3 500 300 20000 50000
}

# Stands for an old kernel: times move by the tick, no birth time, no attributes.
try_ramfs() {
    mounted "$work/ramfs" mount -t ramfs none "$work/ramfs" || return 1
    trials ramfs "$work/ramfs" 10 1000 1000 600000 100000
}

start_gluster() {
    if [ -e /run/glusterd.pid ] || [ -e /var/run/glusterd.socket ] && gluster volume list >&3 2>&3; then
        echo 'trust: leaving the GlusterFS that runs on this machine alone' >&2
        return 1
    fi
    command -v glusterd >&3 && ip address add "$address/32" dev lo 2>&3 || return 1
    cleanups+=("ip address del $address/32 dev lo")
    mkdir -p /var/log/glusterfs /var/lib/glusterd "$work/brick1" "$work/brick2"
    glusterd -p "$work/glusterd.pid" -L WARNING || return 1
    cleanups+=("kill \$(cat $work/glusterd.pid); sleep 1")
    for _ in 1 2 3 4 5 6 7 8 9 10; do
        sleep 1
        gluster volume list >&3 2>&3 && break
    done
    local volume=contactmgr-trust
    gluster --mode=script volume create $volume replica 2 "$address:$work/brick1" \
        "$address:$work/brick2" force >&3 2>&3 || return 1
    cleanups+=("gluster --mode=script volume delete $volume")
    # What one server has stored is what the other one reads, at once.
    for option in stat-prefetch quick-read io-cache read-ahead open-behind write-behind \
        readdir-ahead; do
        [ -n "${GLUSTER_DEFAULTS:-}" ] ||
            gluster --mode=script volume set $volume performance.$option off >&3 2>&3 || return 1
    done
    gluster --mode=script volume start $volume >&3 2>&3 || return 1
    cleanups+=("gluster --mode=script volume stop $volume force")
    local mount
    for mount in 1 2; do
        mounted "$work/gluster$mount" mount -t glusterfs \
            -o "${GLUSTER_MOUNT:-attribute-timeout=0,entry-timeout=0,negative-timeout=0}" \
            "$address:/$volume" "$work/gluster$mount" || return 1
    done
}

try_gluster() {
    start_gluster || return 1
    trials gluster "$work/gluster1" 1 100 100 3000 4000 "$work/gluster2"
}

# A cluster of one machine: one monitor, one disk in a file, one metadata server; two clients. A
# machine that is busy must not look like a dead server: its clients would be shut out for good.
start_ceph() {
    local home=$work/ceph osd
    osd=$(cat /proc/sys/kernel/random/uuid)
    command -v ceph-fuse >&3 && mkdir -p "$home"/{mon,osd,mds,run} || return 1
    cat >"$home/ceph.conf" <<-EOF
	[global]
	fsid = $(cat /proc/sys/kernel/random/uuid)
	mon host = 127.0.0.1:6790
	auth cluster required = none
	auth service required = none
	auth client required = none
	run dir = $home/run
	log file = $home/\$name.log
	mon data = $home/mon
	osd data = $home/osd
	mds data = $home/mds
	mon allow pool size one = true
	osd pool default size = 1
	osd crush chooseleaf type = 0
	bluestore block size = 2147483648
	osd memory target = 1073741824
	mds tick interval = 0.1
	mds beacon grace = 3600
	osd heartbeat grace = 3600
	[client]
	fuse disable pagecache = true
	EOF
    export CEPH_CONF=$home/ceph.conf
    cleanups+=("pkill -KILL -f 'ceph-(mon|osd|mds).*$home/ceph.conf'; sleep 1")
    monmaptool --create --fsid "$(ceph-conf fsid)" --add a 127.0.0.1:6790 "$home/monmap" >&3 2>&3 &&
        ceph-mon -c "$CEPH_CONF" -i a --mkfs --monmap "$home/monmap" >&3 2>&3 &&
        ceph-mon -c "$CEPH_CONF" -i a >&3 2>&3 &&
        timeout 60 ceph osd new "$osd" >&3 2>&3 || return 1
    ceph-osd -c "$CEPH_CONF" -i 0 --mkfs --osd-uuid "$osd" >&3 2>&3 &&
        ceph-osd -c "$CEPH_CONF" -i 0 >&3 2>&3 &&
        ceph-mds -c "$CEPH_CONF" -i a >&3 2>&3 || return 1
    local pool
    for pool in metadata data; do
        timeout 60 ceph osd pool create $pool 8 >&3 2>&3 || return 1
    done
    timeout 60 ceph fs new trust metadata data >&3 2>&3 || return 1
    timeout 60 bash -c 'until ceph mds stat | grep -q up:active; do sleep 0.5; done' 2>&3 ||
        return 1
    local mount
    for mount in 1 2; do
        mounted "$work/ceph$mount" timeout 60 ceph-fuse -c "$CEPH_CONF" "$work/ceph$mount" || return 1
    done
}

try_ceph() {
    start_ceph || return 1
    trials ceph "$work/ceph1" 1 100 100 3000 20000 "$work/ceph2"
}

try_full-btrfs() {
    image "$work/full-btrfs.img" 400M mkfs.btrfs -q -f &&
        mounted "$work/full-btrfs" mount -o loop "$work/full-btrfs.img" "$work/full-btrfs" ||
        return 1
    trial btrfs full-disk "$work/full-btrfs" --count "$(scaled 100)" --share \
        "btrfs subvolume snapshot -r '$work/full-btrfs' '$work/full-btrfs/before' >&2"
}

try_full-xfs() {
    image "$work/full-xfs.img" 400M mkfs.xfs -q -f -m reflink=1 &&
        mounted "$work/full-xfs" mount -o loop "$work/full-xfs.img" "$work/full-xfs" || return 1
    trial xfs full-disk "$work/full-xfs" --count "$(scaled 100)"
}

# read_copy IMAGE MOUNT OPTIONS [SECOND_IMAGE]: adds what is left in a copy to the power cuts' row.
# With a second image all contacts are opened first, and the power is cut again right behind that.
read_copy() {
    local row=''
    if mounted "$2" mount -o "loop$3" "$1" "$2"; then
        [ $# -lt 4 ] || { "$program" repair "$2" >&3 2>&3 && cp --reflink=always "$1" "$4"; } &&
            row=$("$program" read "$2" --log "$work/log.cut" 2>&3)
        unmount_last
    fi
    row=${row:-'| 1 | 1 | a copy cannot be mounted or repaired'}
    tried=$((tried + $(cut -d'|' -f2 <<<"$row")))
    broken=$((broken + $(cut -d'|' -f3 <<<"$row")))
    note+=$(cut -d'|' -f4 <<<"$row")
}

# A disk image on a file system that copies by reference: a copy taken while contacts are being
# saved is the disk as a power cut leaves it.
power_cuts() { # FILESYSTEM MOUNT_OPTIONS MKFS...
    local options=$2 cut tried=0 broken=0 note='' host="$work/$1-host"
    image "$host.img" 3G mkfs.xfs -q -f -m reflink=1 &&
        mounted "$host" mount -o loop "$host.img" "$host" &&
        image "$host/disk.img" 400M "${@:3}" &&
        mounted "$host-disk" mount -o "loop$options" "$host/disk.img" "$host-disk" || return 1
    local cuts
    cuts=$(scaled 100)
    : >"$work/log"
    "$program" save "$host-disk" --log "$work/log" 2>&3 &
    saver=$!
    sleep 1
    for ((cut = 0; cut < cuts; cut++)); do
        sleep "0.0$((RANDOM % 90 + 10))"
        cp "$work/log" "$work/log.cut"
        cp --reflink=always "$host/disk.img" "$host/cut.img" || break
        read_copy "$host/cut.img" "$host-cut" "$options" "$host/again.img"
        read_copy "$host/again.img" "$host-cut" "$options"
    done
    kill -0 "$saver" 2>&3 || { broken=$((broken + 1)); note+=' the saver ended'; }
    [ "$cut" -eq "$cuts" ] || { broken=$((broken + 1)); note+=' not all copied'; }
    kill "$saver" 2>&3
    wait "$saver" 2>&3
    saver=
    sleep 1
    [ "$broken" -eq 0 ] || is_broken=1
    add_row "$1" "power cuts with flushing, each twice: whole, none acknowledged lost | $tried | $broken | $cut cuts ${note:0:200}"
}

try_ext4-power-cut() { power_cuts ext4 '' mkfs.ext4 -q -F; }
try_xfs-power-cut() { power_cuts xfs ,nouuid mkfs.xfs -q -f; }

for file_system in $only; do
    "try_$file_system" || skip "$file_system" "cannot be mounted here"
done
skip 'ext4 with 128-byte inodes' 'keeps whole seconds only, which is not supported'
skip 'NFS, several machines' 'nothing here to mount them with'

echo
{
    echo 'promise | file system | tried | broken | note'
    printf '%s\n' "${rows[@]}"
} | column -t -s '|' -o '|'
printf 'skipped: %s\n' "${skipped[@]}"
exit $is_broken
