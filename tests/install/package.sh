#!/usr/bin/env bash
# package.sh DEB SOURCE: installs the Debian package into a fresh root and tries all that it brings: the program, its
# man page and completions, the C library, the Python package, the modules; and that nothing stays when it is removed.
# Needs root, debootstrap and a mirror of Debian.
set -euo pipefail
package=$(readlink -f "$1") source=$(readlink -f "$2")
[ "$(id -u)" -eq 0 ] || { echo "package.sh: a fresh root takes the rights of root" >&2; exit 2; }
root=$(mktemp -d)
chmod 755 "$root"
trap 'umount -q "$root/proc" || true; rm -rf "$root"' EXIT
mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Origin: Debian' | sed -n 1p)
release=$(. /etc/os-release && echo "$VERSION_CODENAME")

step() { printf -- '-- %s\n' "$*"; }
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive "$@"; }
expect() { # expect TEXT COMMAND...: the output of the command inside holds the text
  local text=$1 output
  shift
  output=$(inside "$@") || { printf 'failed: %s\n%s\n' "$*" "$output" >&2; exit 1; }
  case $output in *"$text"*) ;; *) printf 'not in the output of %s: %s\n%s\n' "$*" "$text" "$output" >&2; exit 1 ;; esac
}

step "a fresh root of $release"
debootstrap --variant=minbase "$release" "$root" "$mirror" >"$root.log" 2>&1 || { tail "$root.log" >&2; exit 1; }
rm -f "$root.log"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mount -t proc proc "$root/proc"
cp "$package" "$root/tmp/qzlp.deb"
inside apt-get -qq update

step "the package alone"
inside apt-get -qq install -y --no-install-recommends /tmp/qzlp.deb >/dev/null 2>&1
expect 'qzlp ' qzlp --version
expect 'optimal (1)' qzlp --crossover /usr/share/doc/qzlp/examples/diet.mps
expect 'optimal (1)' qzlp --threads 2 /usr/share/doc/qzlp/examples/portfolio.lp
for file in share/man/man1/qzlp.1 share/bash-completion/completions/qzlp share/zsh/site-functions/_qzlp \
  share/doc/qzlp/copyright include/qzlp.h include/qzipsolve/host.h; do
  inside test -s "/usr/$file" || { echo "missing: /usr/$file" >&2; exit 1; }
done
for module in qzipsolve qzpresol qztimer qzsimpx qzfile; do
  library=$(inside find /usr/lib -path "*/qzipsolve/$module.so")
  [ -n "$library" ] || { echo "missing: $module.so" >&2; exit 1; }
  if inside ldd "$library" | grep 'not found'; then exit 1; fi
done

step "a C program, built against it"
inside apt-get -qq install -y --no-install-recommends gcc libc6-dev pkg-config >/dev/null 2>&1
cp "$source/examples/c_api.c" "$root/tmp/"
inside sh -c 'cc -std=c11 /tmp/c_api.c $(pkg-config --cflags --libs qzlp) -o /tmp/c_api'
expect 'optimal' /tmp/c_api

step "Python, with what the package recommends"
inside apt-get -qq install -y --no-install-recommends python3-numpy python3-scipy >/dev/null 2>&1
# max 3 x + 5 y with x <= 4, 2 y <= 12, 3 x + 2 y <= 18: 36 at (2, 6).
expect '36.0 [2. 6.]' python3 -c '
import numpy, qzlp
result = qzlp.linprog([-3, -5], A_ub=[[1, 0], [0, 2], [3, 2]], b_ub=[4, 12, 18])
print(round(-result.fun, 4), numpy.round(result.x, 4))'

step "nothing stays"
inside apt-get -qq purge -y qzlp >/dev/null 2>&1
left=$(inside sh -c 'find /usr -path "*qzlp*" -o -path "*qzipsolve*"' | grep -v __pycache__ || true)
[ -z "$left" ] || { printf 'left behind:\n%s\n' "$left" >&2; exit 1; }
step "the package holds"
