#!/usr/bin/env bash
# The binary-interface checks on a 32-bit x86 build of the library, where the
# host's calling conventions apply: every slot in its place, every slot and
# export removing exactly its own arguments.
set -euo pipefail
cd "$(dirname "$0")/.."

probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
echo 'int main() { return 0; }' > "$probe/probe.cpp"
if ! g++ -m32 "$probe/probe.cpp" -o "$probe/probe" 2>/dev/null; then
  printf '\n%s\n### %s\n### %s\n%s\n\n' "################################################################" \
    "32-BIT TOOLCHAIN NOT AVAILABLE: binary-interface checks on i386 SKIPPED" \
    "install the Debian package g++-multilib to run them" \
    "################################################################"
  exit 0
fi

cmake -S . -B build-m32 -G Ninja -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32 \
      -DVKRN_GTEST_FROM_SOURCE=ON -DVKRN_BUILD_TOOLS=OFF -DVKRN_WERROR=ON >/dev/null
cmake --build build-m32 -j2 --target test_abi
build-m32/tests/abi/test_abi
