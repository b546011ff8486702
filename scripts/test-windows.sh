#!/usr/bin/env bash
# The Windows builds: VKRNQ402.dll for i686 and x86_64 with mingw-w64, a check
# of both export tables, and the x86_64 test binaries run under Wine, where
# mutexes, mappings, events, threads, the registry and the log file are the
# real Win32 ones. Missing tools are reported loudly and the step is skipped.
set -euo pipefail
cd "$(dirname "$0")/.."

banner() {
  printf '\n%s\n' "################################################################"
  for line in "$@"; do printf '### %s\n' "$line"; done
  printf '%s\n\n' "################################################################"
}

start=$(date +%s)
elapsed() { echo "Windows step took $(($(date +%s) - start)) s"; }

# Each cross compiler is probed by building a program with it.
probe=$(mktemp -d)
echo 'int main() { return 0; }' > "$probe/probe.cpp"
for compiler in i686-w64-mingw32-g++-posix x86_64-w64-mingw32-g++-posix; do
  if ! "$compiler" "$probe/probe.cpp" -o "$probe/probe.exe" >/dev/null 2>&1; then
    banner "MINGW-W64 NOT AVAILABLE ($compiler cannot build a program)" \
           "Windows builds, export checks and Wine tests SKIPPED" \
           "install the Debian package mingw-w64 to run them"
    exit 0
  fi
done
rm -rf "$probe"

# Ninja where there is one. A folder keeps the generator it was first
# configured with, since CMake refuses to switch.
generator=()
if command -v ninja >/dev/null; then generator=(-G Ninja); fi

configure_and_build() {  # folder, toolchain, extra cmake options...
  local dir=$1 toolchain=$2
  shift 2
  local chosen=("${generator[@]}")
  if [ -f "$dir/CMakeCache.txt" ]; then chosen=(); fi
  cmake -S . -B "$dir" "${chosen[@]}" -DCMAKE_TOOLCHAIN_FILE="cmake/$toolchain" \
        -DVKRN_BUILD_TOOLS=ON -DVKRN_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j2
}

# Exactly DSLR_DeleteObject at ordinal 1 and DSLR_GetObject at ordinal 2 (no
# other name, no nameless ordinal), and no MinGW runtime DLL among the
# imports, so that the DLL drops in as it is.
check_exports() {  # objdump, dll
  local objdump=$1 dll=$2 dump addresses names
  dump=$("$objdump" -p "$dll")
  # "[   0] +base[   1] 1947 Export RVA" -> "1"
  addresses=$(sed -n '/^Export Address Table -- Ordinal Base/,/^$/p' <<<"$dump" \
              | sed -nE 's/^\s*\[\s*[0-9]+\]\s+\+base\[\s*([0-9]+)\].*/\1/p' | tr '\n' ' ')
  # "[   0] DSLR_DeleteObject" -> "1 DSLR_DeleteObject" (ordinal = base + index)
  names=$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$dump" \
          | sed -nE 's/^\s*\[\s*([0-9]+)\]\s+(\S+)$/\1 \2/p' \
          | awk '{ print $1 + 1, $2 }')
  local expected=$'1 DSLR_DeleteObject\n2 DSLR_GetObject'
  if ! grep -qE '^Ordinal Base\s+1$' <<<"$dump"; then
    echo "FAIL: $dll: ordinal base is not 1"; return 1
  fi
  if [ "$addresses" != "1 2 " ]; then
    echo "FAIL: $dll: export ordinals are [ $addresses], expected [ 1 2 ]"; return 1
  fi
  if [ "$names" != "$expected" ]; then
    printf 'FAIL: %s: exported names (ordinal name):\n%s\nexpected:\n%s\n' "$dll" "$names" "$expected"
    return 1
  fi
  if grep -qiE 'DLL Name: (libstdc\+\+|libgcc_s|libwinpthread)' <<<"$dump"; then
    echo "FAIL: $dll imports a MinGW runtime DLL:"
    grep -iE 'DLL Name:' <<<"$dump"
    return 1
  fi
  echo "PASS: $dll exports DSLR_DeleteObject @1 and DSLR_GetObject @2 only, no runtime DLLs"
}

# dslrctl's header-only libraries (CLI11, nlohmann-json) reach the cross
# builds through a folder of their own, never through all of /usr/include.
tool_include=$PWD/build-win-tool-include
mkdir -p "$tool_include"
for dir in CLI nlohmann; do
  [ -d "/usr/include/$dir" ] && ln -sfn "/usr/include/$dir" "$tool_include/$dir"
done

configure_and_build build-win32 toolchain-mingw-i686.cmake -DVKRN_BUILD_TESTS=OFF \
  -DVKRN_TOOL_INCLUDE_DIR="$tool_include"
configure_and_build build-win64 toolchain-mingw-x86_64.cmake -DVKRN_GTEST_FROM_SOURCE=ON \
  -DVKRN_TOOL_INCLUDE_DIR="$tool_include"
for arch in win32 win64; do
  [ -f "build-$arch/tools/dslrctl/dslrctl.exe" ] || { echo "FAIL: build-$arch/tools/dslrctl/dslrctl.exe was not built"; exit 1; }
done
check_exports i686-w64-mingw32-objdump build-win32/src/VKRNQ402.dll
check_exports x86_64-w64-mingw32-objdump build-win64/src/VKRNQ402.dll

# The prefix lives in the build folder; Mono and Gecko are not wanted.
export WINEPREFIX="$PWD/build-win64/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
wine_ready() {
  command -v wine >/dev/null || return 1
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "Creating the Wine prefix $WINEPREFIX (once)"
    timeout 300 wineboot -i >/dev/null 2>&1 || return 1
  fi
  timeout 120 wine cmd /c exit 0 >/dev/null 2>&1
}
if ! wine_ready; then
  banner "WINE NOT AVAILABLE: Windows tests SKIPPED" \
         "WINE NOT AVAILABLE: Windows tests SKIPPED" \
         "the DLLs were built and their exports checked, but no test ran;" \
         "install wine and wine64 (or fix $WINEPREFIX) to run the x86_64 suites"
  elapsed
  exit 0
fi

# An earlier run that died mid-test may have left logging switched on.
wine reg delete 'HKLM\SOFTWARE\Velor\ARXdebug' /v dslrLogLevel /f >/dev/null 2>&1 || true

# A native dslrsim for the Windows build to reach over TCP; the suite that
# talks to it must then run, not skip.
dslrsim_pid=
if [ -x build/tools/dslrsim/dslrsim ]; then
  for attempt in 1 2 3 4 5; do
    address="tcp:127.0.0.1:$((20000 + RANDOM % 30000))"
    build/tools/dslrsim/dslrsim --listen "$address" >build-win64/dslrsim.log 2>&1 &
    dslrsim_pid=$!
    for _ in $(seq 50); do grep -q listening build-win64/dslrsim.log && break; sleep 0.1; done
    if grep -q listening build-win64/dslrsim.log; then export VKRN_DSLRSIM_ADDRESS="$address"; break; fi
    kill "$dslrsim_pid" 2>/dev/null; wait "$dslrsim_pid" 2>/dev/null; dslrsim_pid=
  done
fi
if [ -z "${VKRN_DSLRSIM_ADDRESS:-}" ]; then
  echo "WARNING: no native dslrsim (build/tools/dslrsim/dslrsim): the Windows socket test is skipped"
fi
stop_dslrsim() { [ -n "$dslrsim_pid" ] && kill "$dslrsim_pid" 2>/dev/null && wait "$dslrsim_pid" 2>/dev/null; true; }
trap stop_dslrsim EXIT

# Wine ends a process that crashed in its debugger with exit code 0, so a run
# passes only with gtest's own summary, no failure line and no crash report.
# Wine's C runtime takes the dates of daylight saving from the Windows zone,
# which Wine derives from the host's zone, not from the TZ a test sets inside
# the process: a host zone with daylight saving gives the clock tests the
# rules they need.
export TZ=Europe/Berlin
failed=()
for exe in build-win64/tests/test_*.exe build-win64/tests/*/test_*.exe; do
  [ -f "$exe" ] || continue
  echo "== wine $exe"
  log="${exe%.exe}.wine.log"
  rc=0
  (cd "$(dirname "$exe")" && timeout 600 wine "./$(basename "$exe")" --gtest_brief=1) >"$log" 2>&1 || rc=$?
  cat "$log"
  if [ "$rc" -ne 0 ] || ! grep -qE '^\[  PASSED  \] [0-9]+ tests?\.' "$log" \
     || grep -qE '^\[  FAILED  \]|Unhandled (exception|page fault)|starting debugger' "$log" \
     || { [ -n "${VKRN_DSLRSIM_ADDRESS:-}" ] && grep -qE '^\[  SKIPPED \]' "$log"; }; then
    echo "FAIL: $exe (exit code $rc)"
    failed+=("$exe")
  fi
done

# The example host program with the real DLL beside it, on the in-process
# camera and, when there is one, on the native dslrsim over TCP.
for port in sim:demo ${VKRN_DSLRSIM_ADDRESS:-}; do
  exe=build-win64/examples/host_session.exe
  [ -f "$exe" ] || { echo "FAIL: $exe was not built"; failed+=("$exe"); break; }
  cp build-win64/src/VKRNQ402.dll build-win64/examples/
  echo "== wine $exe $port"
  log="build-win64/examples/host_session.$(tr -c 'a-z0-9' _ <<<"$port").wine.log"
  rc=0
  (cd build-win64/examples && timeout 300 wine ./host_session.exe "$port") >"$log" 2>&1 || rc=$?
  cat "$log"
  if [ "$rc" -ne 0 ] || ! grep -q '^session complete' "$log"; then
    echo "FAIL: $exe $port (exit code $rc)"
    failed+=("$exe $port")
  fi
done
# dslrctl.exe as a person runs it, on the native dslrsim over TCP.
if [ -n "${VKRN_DSLRSIM_ADDRESS:-}" ]; then
  cp build-win64/src/VKRNQ402.dll build-win64/tools/dslrctl/
  log=build-win64/tools/dslrctl/dslrctl-info.wine.log
  echo "== wine dslrctl.exe --port $VKRN_DSLRSIM_ADDRESS info"
  rc=0
  (cd build-win64/tools/dslrctl && timeout 300 wine ./dslrctl.exe --port "$VKRN_DSLRSIM_ADDRESS" info) >"$log" 2>&1 || rc=$?
  cat "$log"
  if [ "$rc" -ne 0 ] || ! grep -q '^Model: .*(0x80000402)' "$log" || ! grep -q '^Volume ATA01:' "$log"; then
    echo "FAIL: dslrctl.exe info (exit code $rc)"
    failed+=("dslrctl.exe info")
  fi
fi
# The outside consumer built with MinGW against the Windows archive's header
# and import library (make package), with the archive's DLL beside it.
archive=$(ls -d build-package/out/VKRNQ402-*-windows 2>/dev/null | tail -n 1)
if [ -n "$archive" ]; then
  consumer=build-win64/consumer
  rm -rf "$consumer" && mkdir -p "$consumer"
  x86_64-w64-mingw32-g++-posix -O2 -I"$archive/include" examples/consumer/consumer.cpp \
    -L"$archive/x64" -lVKRNQ402 -static -static-libgcc -static-libstdc++ -o "$consumer/consumer.exe"
  cp "$archive/x64/VKRNQ402.dll" "$consumer/"
  echo "== wine consumer.exe sim:demo (against $archive)"
  rc=0
  (cd "$consumer" && timeout 300 wine ./consumer.exe sim:demo) >"$consumer/wine.log" 2>&1 || rc=$?
  cat "$consumer/wine.log"
  if [ "$rc" -ne 0 ] || ! grep -q '^consumer session complete' "$consumer/wine.log"; then
    echo "FAIL: consumer.exe built against the Windows archive (exit code $rc)"
    failed+=("consumer.exe")
  fi
else
  echo "WARNING: no Windows archive in build-package/out (make package): the consumer is not built for Windows"
fi
wineserver -k >/dev/null 2>&1 || true

elapsed
if [ ${#failed[@]} -ne 0 ]; then
  banner "WINDOWS TESTS FAILED under Wine:" "${failed[@]}"
  exit 1
fi
echo "PASS: every x86_64 suite passed under Wine"
