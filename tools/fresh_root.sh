#!/usr/bin/env bash
# Runs the README's two commands on a fresh minimal Debian 12 root, as a new machine would:
# tools/run.sh in a pseudo-terminal up to its first frame, then tools/test.sh. Prints pass or
# fail and the time of each step. Needs root, debootstrap and the network to the Debian mirror
# that this machine's apt uses.
#
#   tools/fresh_root.sh [--reuse] [--quick] [DIR]
#
# DIR (default /var/tmp/noltide-fresh-root) holds base/, the root as debootstrap made it, and
# run/, a copy of it in which the commands run, made anew each time. --reuse keeps a base/ made
# before instead of bootstrapping again. --quick runs, in place of tools/test.sh, only its
# package installs and the configure and build of its first suite.
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
reuse=0 quick=0 dir=/var/tmp/noltide-fresh-root
for arg in "$@"; do
    case $arg in
        --reuse) reuse=1 ;;
        --quick) quick=1 ;;
        -*) echo "usage: $0 [--reuse] [--quick] [DIR]" >&2; exit 2 ;;
        *) dir=$arg ;;
    esac
done
[ "$(id -u)" -eq 0 ] || { echo "fresh_root.sh: must run as root (debootstrap, chroot, mount)" >&2; exit 2; }

# The mirror is the one this machine's apt reads bookworm from.
mirror=$({ cat /etc/apt/sources.list.d/*.sources /etc/apt/sources.list 2>/dev/null || true; } |
    awk '/^(URIs:|deb) / && !/security/ {print $2; exit}')
[ -n "$mirror" ] || { echo "fresh_root.sh: no Debian mirror in /etc/apt" >&2; exit 2; }

start=$SECONDS
step() {  # name, seconds at its start, status
    printf '%-50s %s  %5ds\n' "$1" "$([ "$3" -eq 0 ] && echo pass || echo FAIL)" $((SECONDS - $2))
}

if [ $reuse -eq 0 ] || [ ! -x "$dir/base/bin/bash" ]; then
    t=$SECONDS
    rm -rf "$dir/base" && mkdir -p "$dir"
    status=0
    debootstrap --variant=minbase bookworm "$dir/base" "$mirror" >"$dir/debootstrap.log" 2>&1 || status=$?
    step "debootstrap --variant=minbase bookworm" $t $status
    [ $status -eq 0 ] || { tail -5 "$dir/debootstrap.log"; exit 1; }
fi

root=$dir/run
mounted=()
cleanup() {
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do umount -l "${mounted[i]}" 2>/dev/null || true; done
}
trap cleanup EXIT
rm -rf "$root"
cp -a "$dir/base" "$root"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mount -t proc proc "$root/proc" && mounted+=("$root/proc")
mount --bind /dev "$root/dev" && mounted+=("$root/dev")
mount --bind /dev/pts "$root/dev/pts" && mounted+=("$root/dev/pts")
# The checkout as it stands, built files left out.
mkdir -p "$root/src"
git -C "$src" ls-files -z --cached --others --exclude-standard |
    (cd "$src" && tar --null -T - -cf -) | tar -C "$root/src" -xf -

in_root() {  # command line, run in the checkout inside the root with a clean environment
    chroot "$root" /usr/bin/env -i HOME=/root TERM=xterm-256color LANG=C.UTF-8 \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin /bin/bash -c "cd /src && $1"
}

# First command: in a pseudo-terminal, until the menu bar of the first frame shows.
t=$SECONDS
status=0
NOLT_ROOT=$root python3 - "$dir/run.log" <<'EOF' || status=$?
import os, pty, signal, sys, time
pid, fd = pty.fork()
if pid == 0:
    os.execvp("chroot", ["chroot", os.environ["NOLT_ROOT"], "/usr/bin/env", "-i", "HOME=/root",
        "TERM=xterm-256color", "LANG=C.UTF-8", "PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin",
        "/bin/bash", "-c", "cd /src && tools/run.sh"])
seen, deadline = b"", time.time() + 3600
with open(sys.argv[1], "wb") as log:
    while time.time() < deadline and b"Settings  Help" not in seen:
        try:
            chunk = os.read(fd, 65536)
        except OSError:
            break
        if not chunk:
            break
        log.write(chunk)
        seen = (seen + chunk)[-4096:]
os.killpg(pid, signal.SIGKILL)
os.waitpid(pid, 0)
sys.exit(0 if b"Settings  Help" in seen else 1)
EOF
# Whatever the first command left running in the root goes too.
kill_in_root() { for p in /proc/[0-9]*; do [ "$(readlink "$p/root")" = "$root" ] && kill -9 "${p#/proc/}" 2>/dev/null; done; true; }
kill_in_root
step "tools/run.sh, up to its first frame" $t $status
[ $status -eq 0 ] || tail -c 2000 "$dir/run.log"
failed=$status

# Second command.
t=$SECONDS
status=0
if [ $quick -eq 1 ]; then
    in_root 'tools/deps.sh test && cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo &&
             cmake --build build/release' >"$dir/test.log" 2>&1 || status=$?
    step "tools/test.sh --quick: packages, configure, build" $t $status
else
    in_root tools/test.sh >"$dir/test.log" 2>&1 || status=$?
    step "tools/test.sh" $t $status
fi
[ $status -eq 0 ] || tail -20 "$dir/test.log"
[ $status -eq 0 ] || failed=1
echo "total $((SECONDS - start))s; logs in $dir"
exit $failed
