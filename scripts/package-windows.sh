#!/usr/bin/env bash
# The Windows archive: VKRNQ402.dll for x86 and x64 (with its version
# resource), the header, import libraries for MinGW (.dll.a) and MSVC (.lib,
# made by dlltool from the .def files), dslrctl.exe and a README, zipped
# into OUT. Without mingw-w64 the archive is skipped loudly.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(realpath -m "${1:-build-package/out}")
version=$(sed -nE 's/^project\(VKRNQ402 VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
if ! command -v x86_64-w64-mingw32-g++-posix >/dev/null || ! command -v i686-w64-mingw32-g++-posix >/dev/null; then
  echo "### MINGW-W64 NOT AVAILABLE: the Windows archive was NOT made (install mingw-w64)"
  exit 0
fi
tool_include=$PWD/build-win-tool-include
mkdir -p "$tool_include"
for dir in CLI nlohmann; do [ -d "/usr/include/$dir" ] && ln -sfn "/usr/include/$dir" "$tool_include/$dir"; done
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)

stage=$out/VKRNQ402-$version-windows
rm -rf "$stage" "$stage.zip"
mkdir -p "$stage/include"
cp include/VKRNQ402.h "$stage/include/"
for arch in x86 x64; do
  case $arch in
    x86) dir=build-win32 toolchain=toolchain-mingw-i686.cmake machine=i386 def=src/object/VKRNQ402.imports.def
         options=(-DVKRN_BUILD_TESTS=OFF) ;;
    x64) dir=build-win64 toolchain=toolchain-mingw-x86_64.cmake machine=i386:x86-64 def=src/object/VKRNQ402.def
         options=(-DVKRN_BUILD_TESTS=ON -DVKRN_GTEST_FROM_SOURCE=ON) ;;
  esac
  chosen=("${generator[@]}")
  [ -f "$dir/CMakeCache.txt" ] && chosen=()
  # The same folders and options as scripts/test-windows.sh, which reuses them.
  cmake -S . -B "$dir" "${chosen[@]}" -DCMAKE_TOOLCHAIN_FILE="cmake/$toolchain" -DVKRN_BUILD_TOOLS=ON \
        -DVKRN_WERROR=ON "${options[@]}" -DVKRN_TOOL_INCLUDE_DIR="$tool_include" >/dev/null
  cmake --build "$dir" -j2 --target VKRNQ402 dslrctl
  mkdir -p "$stage/$arch"
  cp "$dir/src/VKRNQ402.dll" "$dir/src/libVKRNQ402.dll.a" "$dir/tools/dslrctl/dslrctl.exe" "$stage/$arch/"
  # MSVC's import library: the exports by name with their ordinals @1 and @2
  # (on x86 the hosts' decorated stdcall names, bound to the undecorated exports).
  dlltool=$(command -v llvm-dlltool || command -v x86_64-w64-mingw32-dlltool)
  if [ "$(basename "$dlltool")" = llvm-dlltool ]; then
    "$dlltool" -m "$machine" -d "$def" -D VKRNQ402.dll -l "$stage/$arch/VKRNQ402.lib" $([ $arch = x86 ] && echo -k)
  else
    "$( [ $arch = x86 ] && echo i686 || echo x86_64)-w64-mingw32-dlltool" -d "$def" -D VKRNQ402.dll \
      -l "$stage/$arch/VKRNQ402.lib" $([ $arch = x86 ] && echo --kill-at)
  fi
done
cp packaging/README-windows.txt "$stage/README.txt"
(cd "$out" && rm -f "$(basename "$stage").zip" && zip -qr "$(basename "$stage").zip" "$(basename "$stage")")
echo "Windows archive: $stage.zip"
