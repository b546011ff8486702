#!/usr/bin/env bash
# The whole native suite, run again and again while every processor is kept
# busy by other processes: a test whose verdict depends on how fast the
# machine is fails here. Usage: stress.sh BUILD_DIR [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
runs=${2:-3}
hogs=$(($(nproc) * 2))

pids=()
stop_load() { [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null || true; }
trap stop_load EXIT
for _ in $(seq "$hogs"); do
  sh -c 'while :; do :; done' &
  pids+=($!)
done
echo "stress: $hogs busy processes on $(nproc) processors, $runs run(s) of the suite"

for run in $(seq "$runs"); do
  echo "stress: run $run of $runs"
  if ! ctest --test-dir "$build" --output-on-failure -j"$(nproc)"; then
    echo "stress: run $run of $runs FAILED"
    exit 1
  fi
done
echo "stress: $runs run(s) in a row passed under load"
