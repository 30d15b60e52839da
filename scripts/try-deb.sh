#!/usr/bin/env bash
# Installs the packages of `make deb` into a bare root of Debian 12, runs debian/tests there, removes
# everything again, and fails if any file is left but the stores that the tests have made. The root
# has the packages that are essential and apt, and is deleted at the end. Wants mmdebstrap.
#
# Usage: try-deb.sh FOLDER      FOLDER has the packages.
set -euo pipefail

folder=$(realpath "$1")
cd "$(dirname "$0")/.."

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cp -r "$folder"/*.deb debian/tests "$stage"
chmod -R a+rX "$stage"
cat >"$stage/try" <<'INSIDE'
set -eu
export DEBIAN_FRONTEND=noninteractive LC_ALL=C

# What apt, dpkg and the system write about their own work does not count.
files() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /var/lib/apt \
        -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/log -o -path /packages \) -prune \
        -o -print | sort
}
packages() {
    dpkg-query --show --showformat '${Package}\n' | sort -u
}
run_test() {
    echo "== debian/tests/$1"
    mkdir -p "/srv/$1"
    AUTOPKGTEST_TMP=/srv/$1 "/packages/tests/$1"
}

files >/tmp/files.before
packages >/tmp/packages.before
apt-get update -qq
apt-get install -qq --no-install-recommends /packages/contactmgr-tools_*.deb >/dev/null
run_test demo
apt-get install -qq --no-install-recommends /packages/libcontactmgr0_*.deb \
    /packages/libcontactmgr-dev_*.deb cmake g++ make pkg-config >/dev/null
run_test examples

echo '== removal'
packages | comm -13 /tmp/packages.before - | xargs apt-get purge -qq >/dev/null
packages | diff /tmp/packages.before -
if files | grep -v '^/srv/demo\|^/srv/examples' | diff /tmp/files.before -; then
    echo 'Nothing is left but the stores.'
fi
test -d /srv/demo/demo/store/example.org/alice/Contacts
INSIDE

mmdebstrap --variant=minbase --quiet \
    --customize-hook="cp -r '$stage' \"\$1/packages\"" \
    --customize-hook='chroot "$1" sh /packages/try' \
    bookworm /dev/null
