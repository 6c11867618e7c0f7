#!/usr/bin/env bash
# Installs the Debian packages that the named groups need (all groups without an argument), as root or through sudo.
# Quiet and quick when everything is there.
#   scripts/install-dependencies.sh [build|test|lint|check|docs|page|install|coverage|bench|fuzz]...
set -euo pipefail

declare -A packages_of=(
    # ca-certificates: uploads over https verify the server.
    [build]="cmake ninja-build g++ ccache pkg-config ca-certificates
             zlib1g-dev libcurl4-openssl-dev libsimdjson-dev libasio-dev libfmt-dev uuid-dev
             libcli11-dev libcpp-httplib-dev"
    # tzdata: tests of calendars choose their time zone. libssl-dev, openssl: servers over TLS and their certificates.
    # python3-jsonschema: what is uploaded is held against its schema.
    [test]="libgtest-dev libgmock-dev librapidcheck-dev nlohmann-json3-dev libssl-dev openssl python3 python3-jsonschema
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
    # libclang-rt: libFuzzer and the sanitizers of clang.
    [fuzz]="clang libclang-rt-dev"
)

groups=("$@")
[ ${#groups[@]} -gt 0 ] || groups=("${!packages_of[@]}")

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
installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null || true)
for package in "${wanted[@]}"; do
    # A Node.js from elsewhere brings its own npm, which Debian's package would take away.
    [ "$package" != npm ] || ! command -v npm >/dev/null || continue
    grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
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
if ! { apt update && apt install --yes --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "install-dependencies: the installation failed" >&2
    exit 1
fi
