#!/usr/bin/env bash
# Builds the Debian packages from a copy of the sources, without their tests, and looks them over with
# lintian. Two builds of the same sources give the same bytes.
#
# Usage: make-deb.sh FOLDER      FOLDER gets the packages; its folder `source` is made anew.
set -euo pipefail

mkdir -p "$1"
folder=$(realpath "$1")
cd "$(dirname "$0")/.."
version=$(sed -n 's/^    VERSION //p' CMakeLists.txt)
if [ "$(dpkg-parsechangelog --show-field Version)" != "$version" ]; then
    echo "debian/changelog does not begin with version $version, as CMakeLists.txt has it." >&2
    exit 1
fi

rm -rf "$folder/source" "$folder"/*.deb
mkdir "$folder/source"
tar --create --exclude=./build --exclude=./.git --mtime="@$(dpkg-parsechangelog --show-field Timestamp)" . |
    tar --extract --directory "$folder/source"
cd "$folder/source"
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.cache/ccache} # debhelper gives the build another home folder
DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)" dpkg-buildpackage --build=binary --no-sign
cd ..
lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs ./*.changes
