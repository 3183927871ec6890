#!/bin/sh
# Installs the packages of a set, if any is missing: setup.sh [--list] [run|test|bench|gate]
#   run     a compiler, CMake, Ninja and the libraries of the tool
#   test    what `make test` needs, too
#   bench   the peers of the benchmarks
#   gate    everything (as without a name)
# With --list, only prints what the set holds.
set -eu

list=""
if [ "${1:-}" = --list ]; then
    list=yes
    shift
fi
run="g++ cmake ninja-build libicu-dev libsimdjson-dev rapidjson-dev"
test="ccache python3 clang-14 lld-14 libclang-rt-14-dev qemu-user abigail-tools libgtest-dev
nlohmann-json3-dev"
# Their configuration files are read by tests.
test="$test systemd hicolor-icon-theme libkf5kdelibs4support-data"
bench="libvalijson-dev nlohmann-json3-dev"
gate="llvm-14 gcovr valgrind googletest git clang-tidy-14 clang-format-14 codespell shellcheck"
case ${1:-gate} in
run) packages="$run" ;;
test) packages="$run $test" ;;
bench) packages="$run $bench" ;;
gate) packages="$run $test $bench $gate" ;;
*)
    echo "setup.sh: there is no set $1" >&2
    exit 2
    ;;
esac
if [ -n "$list" ]; then
    for package in $packages; do echo "$package"; done
    exit 0
fi

missing=""
for package in $packages; do
    state=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [ "$state" = "install ok installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

distribution=""
if [ -r /etc/os-release ]; then
    distribution=$(. /etc/os-release && echo "${ID:-} ${VERSION_ID:-}")
fi
if [ "$distribution" != "debian 12" ]; then
    if [ "${NQ_PACKAGES:-}" = "provided" ]; then exit 0; fi
    echo "Packages are installed on Debian 12 only. Here, provide what these hold:" >&2
    # shellcheck disable=SC2086 # a list of words
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
# shellcheck disable=SC2086 # a list of words
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
