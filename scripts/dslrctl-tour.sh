#!/usr/bin/env bash
# A tour of dslrctl: each step printed as the command a person would type,
# then run. The default camera is the embedded one with its demo card; give a
# port (unix:PATH, tcp:HOST:PORT) to take the tour on a dslrsim.
#
#   scripts/dslrctl-tour.sh [PORT [WORK_DIR]]
#
# DSLRCTL names the binary (default build/tools/dslrctl/dslrctl). Downloads
# go to WORK_DIR (default: a fresh temporary folder, removed at the end).
# Stops at the first step that fails, with that step's exit status.
set -euo pipefail
cd "$(dirname "$0")/.."

dslrctl=${DSLRCTL:-build/tools/dslrctl/dslrctl}
port=${1:-}
work=${2:-}
if [ -z "$work" ]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
fi
mkdir -p "$work"
portOption=()
[ -n "$port" ] && portOption=(--port "$port")

step() {  # what the step shows, then the command line after "dslrctl"
  [ -n "$1" ] && printf '\n# %s\n' "$1"
  printf '$ dslrctl %s\n' "${*:2}"
  "$dslrctl" "${portOption[@]}" "${@:2}"
}

echo "dslrctl tour on ${port:-the embedded camera (sim:demo)}"
step "What camera is this?" info
step "Everything on the cards" ls -R
step "Download every file, folders kept, camera file times kept" get-all -o "$work/card"
step "Upload a picture to the second card" put "$work/card/ATA01/DCIM/100VELOR/IMG_0001.JPG" ATA02:/
step "Take a picture and download it (-v shows the camera's events)" -v capture --download -o "$work/shots"
step "Watch the camera's events for two seconds" events --seconds 2
# set reads the value back from the camera before it prints it. The embedded
# camera lives in each dslrctl process and starts afresh with the next
# command, so a later get shows the change only on a camera of its own (dslrsim).
step "A release parameter, changed and read back" config set iso 800
[ -n "$port" ] && step "" config get iso
step "The same data for scripts" --json ls ATA01:/DCIM/100VELOR
echo
echo "Tour complete: $(find "$work" -type f | wc -l) files downloaded to $work"
