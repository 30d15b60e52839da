#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, and does nothing where all of them
# are there. Arguments are further packages.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libgmime-3.0-dev nlohmann-json3-dev libutfcpp-dev libcli11-dev libicu-dev libxxhash-dev
    libgtest-dev libbenchmark-dev
    clang-format "$@"
)

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "As root, run: apt-get install --no-install-recommends ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "Installing ${missing[*]}"
apt_get() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@"
}
apt_get update
apt_get install --yes --no-install-recommends "${missing[@]}" >/dev/null
