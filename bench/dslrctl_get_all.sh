#!/usr/bin/env bash
# How long `dslrctl get-all` takes to empty a card of several hundred small
# files and a few large ones, against `cp -r` of the host folder that backs the
# card, in the same run. Not a timed test: it prints the two times and their
# ratio.
#
#   bench/dslrctl_get_all.sh [BUILD_DIR [SMALL_FILES [LARGE_FILES [LARGE_MIB]]]]
#
# Defaults: build, 400 small files (4 to 200 KiB, in folders of 100), 3 large
# files of 32 MiB.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
small=${2:-400}
large=${3:-3}
large_mib=${4:-32}
dslrctl=$build/tools/dslrctl/dslrctl
dslrsim=$build/tools/dslrsim/dslrsim

work=$(mktemp -d)
sim_pid=
cleanup() {
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

# The card: DCIM/1nnBENCH/IMG_nnnn.JPG with random bytes, and the large files.
for ((i = 1; i <= small; i++)); do
  folder=$work/card/DCIM/$((100 + (i - 1) / 100))BENCH
  mkdir -p "$folder"
  head -c $((4096 + (RANDOM * 6) % (200 * 1024))) /dev/urandom > "$(printf '%s/IMG_%04d.JPG' "$folder" "$i")"
done
# Only with large files: get-all keeps the folders of files, and an empty one
# would make the comparison below fail.
if ((large > 0)); then mkdir -p "$work/card/DCIM/999BENCH"; fi
for ((i = 1; i <= large; i++)); do
  head -c $((large_mib * 1024 * 1024)) /dev/urandom > "$(printf '%s/RAW_%04d.RVX' "$work/card/DCIM/999BENCH" "$i")"
done
total=$(du -sb "$work/card" | cut -f1)
files=$(find "$work/card" -type f | wc -l)

"$dslrsim" --listen "unix:$work/cam.sock" --card "ATA01=$work/card" > "$work/sim.log" 2>&1 &
sim_pid=$!
for _ in $(seq 50); do grep -q listening "$work/sim.log" && break; sleep 0.1; done

seconds() { date +%s.%N; }
calc() { awk "BEGIN { print $1 }"; }
sync
start=$(seconds)
"$dslrctl" --port "unix:$work/cam.sock" -q get-all -o "$work/got"
got=$(calc "$(seconds) - $start")
start=$(seconds)
cp -r "$work/card" "$work/copied"
copied=$(calc "$(seconds) - $start")

diff -r "$work/card" "$work/got/ATA01" >/dev/null || { echo "FAIL: get-all differs from the card"; exit 1; }
printf 'card: %d files, %.1f MiB (%d small, %d of %d MiB)\n' "$files" "$(calc "$total / 1048576")" \
  "$small" "$large" "$large_mib"
printf 'dslrctl get-all over dslrsim (unix socket): %8.3f s  (%.1f MiB/s)\n' "$got" "$(calc "$total / 1048576 / $got")"
printf 'cp -r of the host folder:                   %8.3f s  (%.1f MiB/s)\n' "$copied" "$(calc "$total / 1048576 / $copied")"
printf 'ratio get-all / cp -r: %.1f\n' "$(calc "$got / $copied")"
