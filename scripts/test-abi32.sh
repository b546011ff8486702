#!/usr/bin/env bash
# The binary-interface checks on a 32-bit x86 build of the library, where the
# host's calling conventions apply: every slot in its place, every slot and
# export removing exactly its own arguments.
#
# The checks run natively where the kernel runs i386 programs, otherwise under
# user-mode emulation (qemu-i386), which CMake hands to test discovery and to
# ctest as the cross-compiling emulator. Each way is probed by running a
# program, not by finding a file.
set -euo pipefail
cd "$(dirname "$0")/.."

banner() {
  printf '\n%s\n### %s\n### %s\n%s\n\n' "################################################################" \
    "$1" "$2" "################################################################"
}

probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
echo 'int main() { return 0; }' > "$probe/probe.cpp"
if ! g++ -m32 "$probe/probe.cpp" -o "$probe/probe" 2>/dev/null; then
  banner "32-BIT TOOLCHAIN NOT AVAILABLE: binary-interface checks on i386 SKIPPED" \
    "install the Debian package g++-multilib to run them"
  exit 0
fi

# The first way of running i386 programs that works. Multilib installs the
# i386 loader where the emulator looks by default; a cross sysroot is the
# other place Debian puts it.
emulator=""
if "$probe/probe" 2>/dev/null; then
  how="natively"
elif qemu-i386 "$probe/probe" 2>/dev/null; then
  emulator="qemu-i386"
elif [ -d /usr/i686-linux-gnu ] && qemu-i386 -L /usr/i686-linux-gnu "$probe/probe" 2>/dev/null; then
  emulator="qemu-i386;-L;/usr/i686-linux-gnu"
else
  banner "32-BIT PROGRAMS CANNOT RUN HERE: binary-interface checks on i386 SKIPPED" \
    "the kernel refuses i386 programs; install the Debian package qemu-user to emulate them"
  exit 0
fi
[ -n "$emulator" ] && how="under emulation with ${emulator//;/ }"
echo "32-bit binary-interface checks run $how"

# The emulator is always given, empty for native runs, so that a build folder
# configured on another machine does not keep a stale choice.
cmake -S . -B build-m32 -G Ninja -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32 \
      -DCMAKE_CROSSCOMPILING_EMULATOR="$emulator" \
      -DVKRN_GTEST_FROM_SOURCE=ON -DVKRN_BUILD_TOOLS=OFF -DVKRN_WERROR=ON >/dev/null
cmake --build build-m32 -j2 --target test_abi
ctest --test-dir build-m32 -L abi --output-on-failure --no-tests=error
echo "32-bit binary-interface checks passed ($how)"
