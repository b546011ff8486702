#!/usr/bin/env bash
# The installed library as a program outside the project sees it: install
# the packaging build into a temporary prefix inside the build folder, build
# examples/consumer against it with find_package and with pkg-config and run
# both on sim:demo, run the installed dslrctl, then list the .deb packages'
# contents and check them with lintian. Nothing is written outside BUILD.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-package}
work=$PWD/$build/install-test
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
libdir=$(dirname "$(find "$prefix" -name 'libVKRNQ402.so.1' | head -1)")
for file in "$libdir/libVKRNQ402.so" "$prefix/include/VKRNQ402.h" "$libdir/pkgconfig/vkrnq402.pc" \
            "$libdir/cmake/VKRNQ402/VKRNQ402ConfigVersion.cmake" "$prefix/bin/dslrctl" "$prefix/bin/dslrsim"; do
  [ -e "$file" ] || { echo "FAIL: $file was not installed"; exit 1; }
done
soname=$(objdump -p "$libdir/libVKRNQ402.so.1" | awk '$1 == "SONAME" { print $2 }')
[ "$soname" = libVKRNQ402.so.1 ] || { echo "FAIL: SONAME is '$soname'"; exit 1; }
echo "PASS: installed into $prefix (SONAME $soname)"

run_consumer() {  # how, cmake options...
  local how=$1
  shift
  cmake -S examples/consumer -B "$work/consumer-$how" "$@" >"$work/consumer-$how.log"
  cmake --build "$work/consumer-$how" >>"$work/consumer-$how.log"
  "$work/consumer-$how/consumer" sim:demo | tee "$work/consumer-$how.out"
  grep -q '^consumer session complete' "$work/consumer-$how.out" || { echo "FAIL: consumer ($how)"; exit 1; }
  echo "PASS: consumer built with $how ran a session on sim:demo"
}
run_consumer find_package -DCMAKE_PREFIX_PATH="$prefix"
PKG_CONFIG_PATH="$libdir/pkgconfig" run_consumer pkg-config -DUSE_PKG_CONFIG=ON
LD_LIBRARY_PATH=$libdir "$prefix/bin/dslrctl" --port sim:demo info | tee "$work/dslrctl-info.out"
grep -q '^Volume ATA01:' "$work/dslrctl-info.out" || { echo "FAIL: installed dslrctl info"; exit 1; }

packages=("$build"/packages/*.deb)
[ -e "${packages[0]}" ] || { echo "FAIL: no .deb in $build/packages (run make package)"; exit 1; }
for deb in "${packages[@]}"; do
  echo "== $deb"
  dpkg-deb --field "$deb" Package Version Depends
  dpkg-deb --contents "$deb" | awk '{ print "  " $6, $7, $8 }'
done
if command -v lintian >/dev/null; then
  lintian --fail-on error --tag-display-limit 0 "${packages[@]}"
  echo "PASS: lintian found no errors (kept warnings: docs/packaging.md)"
else
  echo "### LINTIAN NOT INSTALLED: the packages were not checked (apt-get install lintian)"
fi
