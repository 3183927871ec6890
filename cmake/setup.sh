#!/bin/sh
# Installs the packages that building and testing need, if any is missing.
set -eu

packages="g++ clang-14 lld-14 libclang-rt-14-dev cmake ninja-build ccache python3 qemu-user
libgtest-dev libbenchmark-dev libicu-dev libsimdjson-dev libcli11-dev
libvalijson-dev nlohmann-json3-dev rapidjson-dev llvm-14
gcovr abigail-tools valgrind googletest"
# Their configuration files are read by tests.
packages="$packages systemd hicolor-icon-theme libkf5kdelibs4support-data"

missing=""
for package in $packages; do
    state=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [ "$state" = "install ok installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

distribution=$(. /etc/os-release 2>/dev/null && echo "${ID:-} ${VERSION_ID:-}" || true)
if [ "$distribution" != "debian 12" ]; then
    if [ "${NQ_PACKAGES:-}" = "provided" ]; then exit 0; fi
    echo "Packages are installed on Debian 12 only. Here, provide what these hold:" >&2
    echo $packages >&2
    echo "and run again with NQ_PACKAGES=provided in the environment." >&2
    exit 1
fi

echo "Installing:$missing"
as_root=""
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
        echo "That needs root, and there is no sudo. As root, run: apt-get install$missing" >&2
        exit 1
    fi
    as_root="sudo"
fi
$as_root apt-get update -qq
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
