#!/usr/bin/env bash
# Installs the Debian packages that the named groups need, as root or through sudo: all groups without an argument, save
# `cross`, which makes arm64 a foreign architecture of the system. Takes no package away, and is quiet and quick when
# everything is there.
#   scripts/install-dependencies.sh [build|test|lint|check|docs|page|install|coverage|bench|sanitize|cross]...
set -euo pipefail

declare -A packages_of=(
    # ca-certificates: uploads over https verify the server.
    [build]="cmake ninja-build g++ ccache pkg-config ca-certificates
             zlib1g-dev libcurl4-openssl-dev libsimdjson-dev libasio-dev libfmt-dev uuid-dev
             libcli11-dev libcpp-httplib-dev"
    # tzdata: tests of calendars choose their time zone. libssl-dev, openssl: servers over TLS and their certificates.
    # python3-jsonschema: what is uploaded is held against its schema. lld: links in a quarter of the time.
    [test]="lld libgtest-dev libgmock-dev librapidcheck-dev nlohmann-json3-dev libssl-dev openssl python3 python3-jsonschema
            tzdata"
    [lint]="clang clang-format clang-tidy"
    [check]="python3 git"
    [docs]="doxygen"
    # The inspector's page is built with npm and tried in a browser.
    [page]="nodejs npm chromium"
    # dpkg-dev: what the Debian packages depend on. clang, libc++-dev: the second compiler and library of the installed headers.
    [install]="clang libc++-dev dpkg-dev"
    [coverage]="gcovr"
    # strace, binutils: system calls and sizes are counted, too.
    [bench]="libbenchmark-dev libsqlite3-dev libleveldb-dev strace binutils python3"
    # libclang-rt: the sanitizers and libFuzzer. llvm: names instead of addresses in what they report.
    [sanitize]="clang libclang-rt-dev llvm"
    # libsimdjson14: its libsimdjson-dev would take the native one away (cmake/aarch64-linux-gnu/).
    [cross]="g++-aarch64-linux-gnu qemu-user
             zlib1g-dev:arm64 libcurl4-openssl-dev:arm64 libsimdjson14:arm64 libfmt-dev:arm64 uuid-dev:arm64
             libcpp-httplib-dev:arm64 libgtest-dev:arm64 libgmock-dev:arm64 librapidcheck-dev:arm64 libssl-dev:arm64"
)

groups=("$@")
if [ ${#groups[@]} -eq 0 ]; then
    for group in "${!packages_of[@]}"; do
        [ "$group" = cross ] || groups+=("$group")
    done
fi

wanted=()
for group in "${groups[@]}"; do
    if [ -z "${packages_of[$group]:-}" ]; then
        echo "install-dependencies: no group '$group'; there are: ${!packages_of[*]}" >&2
        exit 2
    fi
    read -r -d '' -a names <<<"${packages_of[$group]}" || true
    wanted+=("${names[@]}")
done

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "install-dependencies: this is no Debian system; see to these yourself: ${wanted[*]}" >&2
    exit 0
fi

missing=()
# A package of another architecture is named with it, as in what is wanted.
native=$(dpkg --print-architecture)
installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}:${Architecture}\n' "${wanted[@]%:"$native"}" 2>/dev/null |
    sed -E "s/:($native|all)$//" || true)
for package in "${wanted[@]}"; do
    # A Node.js from elsewhere brings its own npm, which Debian's package would take away.
    [ "$package" != npm ] || ! command -v npm >/dev/null || continue
    grep -qxF "installed ${package%:"$native"}" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "install-dependencies: neither root nor sudo; install these first: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

echo "Installing ${missing[*]}"
apt() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 "$@" </dev/null
}
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if [[ " ${missing[*]} " == *:arm64\ * ]]; then "${as_root[@]}" dpkg --add-architecture arm64; fi
if ! { apt update && apt install --yes --no-remove --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "install-dependencies: the installation failed" >&2
    exit 1
fi
