#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
# Required packages stop the build if they cannot be had; the Windows tools
# (cross compilers and Wine) and the virtual machine's (qemu, a static
# busybox) are optional and their absence is reported by the test step that
# needs them.
set -euo pipefail

required=(cmake ninja-build g++ make libgtest-dev libgmock-dev googletest libbenchmark-dev clang-tidy libjpeg-dev libcli11-dev nlohmann-json3-dev pandoc dpkg-dev)
optional=(g++-multilib mingw-w64 wine wine64 clang qemu-user tmux qemu-system-x86 busybox-static tzdata lintian bash-completion llvm zip)

missing() {
  local pkg
  for pkg in "$@"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || echo "$pkg"
  done
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; elif command -v sudo >/dev/null; then sudo "$@"; else
    echo "install-deps: not root and no sudo; cannot run: $*" >&2; return 1; fi
}

need=$(missing "${required[@]}")
want=$(missing "${optional[@]}")
[ -z "$need$want" ] && exit 0

export DEBIAN_FRONTEND=noninteractive
as_root apt-get update -qq
if [ -n "$need" ]; then
  echo "install-deps: installing $(echo $need)"
  as_root apt-get install -y -qq --no-install-recommends $need
fi
for pkg in $want; do
  as_root apt-get install -y -qq --no-install-recommends "$pkg" >/dev/null 2>&1 \
    || echo "install-deps: optional package $pkg could not be installed" >&2
done
