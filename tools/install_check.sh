#!/usr/bin/env bash
# Checks what an install holds: the program, every shipped language definition, the manual pages
# and the Debian documents, each where noltide and man look for them.
#
#   tools/install_check.sh install BUILD_DIR   cmake --install into a temporary DESTDIR, prefix /usr/local
#   tools/install_check.sh package BUILD_DIR   cpack -G DEB in BUILD_DIR, prefix /usr; prints the package
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
mode=${1:-} build=${2:-}
[ -n "$build" ] && [ -d "$build" ] || { echo "usage: $0 install|package BUILD_DIR" >&2; exit 2; }

expected() {  # prefix: the files an install must hold, one a line
    echo "$1/bin/noltide"
    for f in "$src"/nolt-stdlib/kestrum/syntax.d/*.toml; do echo "$1/lib/nolt/stdlib/kestrum/syntax.d/${f##*/}"; done
    for f in "$src"/man/*.[1-9]; do echo "$1/share/man/man${f##*.}/${f##*/}.gz"; done
    echo "$1/share/doc/noltide/copyright"
    echo "$1/share/doc/noltide/changelog.gz"
}

case $mode in
    install)
        dest=$(mktemp -d)
        trap 'rm -rf "$dest"' EXIT
        DESTDIR=$dest cmake --install "$build" --prefix /usr/local >/dev/null
        prefix=usr/local
        found=$(cd "$dest" && find . -type f | sed 's|^\./||')
        [ -x "$dest/$prefix/bin/noltide" ] || { echo "usr/local/bin/noltide is not executable"; exit 1; }
        ;;
    package)
        (cd "$build" && cpack -G DEB >/dev/null)
        deb=$(ls "$build"/noltide_*_amd64.deb)
        prefix=usr
        found=$(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {sub(/^\.\//, "", $6); print $6}')
        echo "$deb: $(stat -c %s "$deb") bytes; $(dpkg-deb -f "$deb" Depends)"
        ;;
    *) echo "usage: $0 install|package BUILD_DIR" >&2; exit 2 ;;
esac

if ! diff <(expected $prefix | sort) <(sort <<<"$found"); then
    echo "install_check: the $mode differs from what is expected (< missing, > not expected)"
    exit 1
fi
echo "install_check: the $mode holds the $(wc -l <<<"$found") expected files"
