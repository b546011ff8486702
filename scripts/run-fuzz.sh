#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer and UBSan on) in
# build-fuzz and runs each for a fixed time from the seeds in fuzz/corpus
# (recorded from honest camera traffic by build-fuzz/fuzz/record_corpus).
# FUZZ_SECONDS sets the time per target (default 60). A finding fails the run
# and leaves its input in build-fuzz/findings/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}

# clang with libFuzzer is optional: probed by building a fuzz target with it.
probe=$(mktemp -d)
echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' \
  > "$probe/probe.cpp"
if ! clang++ -fsanitize=fuzzer,address "$probe/probe.cpp" -o "$probe/probe" >/dev/null 2>&1; then
  rm -rf "$probe"
  printf '\n%s\n### %s\n### %s\n%s\n\n' "################################################################" \
    "CLANG WITH LIBFUZZER NOT AVAILABLE: fuzzing SKIPPED" \
    "install the Debian package clang to run it" \
    "################################################################"
  exit 0
fi
rm -rf "$probe"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DVKRN_BUILD_FUZZ=ON -DVKRN_SANITIZE=address \
  -DVKRN_BUILD_TESTS=OFF -DVKRN_BUILD_TOOLS=OFF -DVKRN_WERROR=ON >/dev/null
targets="path_utilities camera_records scsi_sock camera_operation"
cmake --build build-fuzz -j"${JOBS:-2}" --target $(printf '%s_fuzzer ' $targets) record_corpus
for target in $targets; do
  work="build-fuzz/corpus/$target"   # grown corpus stays out of the source tree
  mkdir -p "$work" build-fuzz/findings
  echo "== fuzzing $target for ${seconds}s"
  "build-fuzz/fuzz/${target}_fuzzer" "$work" "fuzz/corpus/$target" \
    -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix=build-fuzz/findings/ 2>&1 | tail -n 12
  status=${PIPESTATUS[0]}
  if [ "$status" -ne 0 ]; then
    echo "FAIL: $target found a problem; input in build-fuzz/findings/"
    exit 1
  fi
done
echo "PASS: no finding"
