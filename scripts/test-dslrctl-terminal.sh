#!/usr/bin/env bash
# dslrctl in a real terminal (tmux): the progress display of a long download
# updates and is wiped when it ends, and Ctrl-C mid-download ends it with
# nothing partial left, after which the next command works. At 80 and at 50
# columns the display of get-all never wraps, and the question before a local
# file is replaced is answered both ways.
#
#   scripts/test-dslrctl-terminal.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
case $build in /*) ;; *) build=$PWD/$build ;; esac
dslrctl=$build/tools/dslrctl/dslrctl
dslrsim=$build/tools/dslrsim/dslrsim
command -v tmux >/dev/null || { echo "SKIP: tmux is not installed"; exit 0; }

work=$(mktemp -d)
session=dslrctl-term-$$
socket=$work/cam.sock
sim_pid=
cleanup() {
  tmux kill-session -t "$session" 2>/dev/null || true
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; echo "--- pane:"; tmux capture-pane -p -t "$session" || true; exit 1; }

# A card whose one big file takes the camera several seconds to hand over:
# the S400 link model makes it take as long as a real camera would (96 MiB
# at 40 MB/s), however fast the machine moves it.
mkdir -p "$work/card/DCIM" "$work/out" "$work/cut"
head -c $((96 * 1024 * 1024)) /dev/urandom > "$work/card/DCIM/BIG.BIN"
head -c 5000 /dev/urandom > "$work/card/DCIM/SMALL.JPG"
"$dslrsim" --listen "unix:$socket" --card "ATA01=$work/card" --link s400 > "$work/sim.log" 2>&1 &
sim_pid=$!
for _ in $(seq 50); do grep -q listening "$work/sim.log" && break; sleep 0.1; done

tmux new-session -d -s "$session" -x 160 -y 20
pane() { tmux capture-pane -p -J -t "$session"; }
type_line() { tmux send-keys -t "$session" "$1" Enter; }
wait_for() {  # pattern, seconds
  for _ in $(seq $(($2 * 10))); do pane | grep -qE "$1" && return 0; sleep 0.1; done
  return 1
}
progress='BIG\.BIN \[=* *\] +([0-9]+)% .*/s [0-9:-]+ left'

# 1. A whole download: the display moves on, then leaves only the result.
type_line "clear; $dslrctl --port unix:$socket get ATA01:/DCIM/BIG.BIN -o $work/out; echo EXIT=\$?"
wait_for "$progress" 30 || fail "no progress display"
# Every share the display shows on the way, until the command ends.
seen=()
for _ in $(seq 1200); do
  screen=$(pane)
  grep -qE 'EXIT=[0-9]' <<<"$screen" && break
  share=$(grep -oE '[0-9]+% ' <<<"$screen" | tail -1 || true)
  [ -n "$share" ] && { [ ${#seen[@]} -eq 0 ] || [ "${seen[${#seen[@]}-1]}" != "$share" ]; } && seen+=("$share")
  sleep 0.1
done
wait_for 'EXIT=[0-9]' 5 || fail "the download did not end"
[ ${#seen[@]} -ge 3 ] || fail "the display did not move on (shares seen: ${seen[*]})"
pane | grep -q 'EXIT=0' || fail "the download failed"
pane | grep -qE ' left' && fail "the progress display was left on the screen"
pane | grep -q "BIG.BIN -> $work/out/BIG.BIN (96.0 MiB)" || fail "no result line"
cmp -s "$work/out/BIG.BIN" "$work/card/DCIM/BIG.BIN" || fail "the download differs from the card's file"
echo "PASS: progress shown (${seen[*]}), wiped at the end, file identical"

# 2. Ctrl-C in the middle: status 130, nothing in the folder, camera still there.
type_line "clear; $dslrctl --port unix:$socket get ATA01:/DCIM/BIG.BIN -o $work/cut; echo CUT=\$?"
wait_for "$progress" 30 || fail "no progress display before Ctrl-C"
tmux send-keys -t "$session" C-c
wait_for 'CUT=[0-9]' 30 || fail "Ctrl-C did not end the download"
pane | grep -q 'CUT=130' || fail "Ctrl-C did not give status 130"
pane | grep -q 'interrupted' || fail "no word about the interruption"
[ -z "$(ls -A "$work/cut")" ] || fail "something was left in the folder: $(ls -A "$work/cut")"
# Each command has its own marker, and a marker counts only with its digits:
# the typed line shows it too (as NEXT=$?), and the screen may still show the
# last command's until clear runs.
type_line "clear; $dslrctl --port unix:$socket info; echo NEXT=\$?"
wait_for 'NEXT=[0-9]' 30 || fail "the next command did not end"
pane | grep -q 'NEXT=0' || fail "the next command failed"
echo "PASS: Ctrl-C ended the download cleanly and the next command worked"

# 3. At 80 and 50 columns: the whole job's display of get-all stays on one
# line (a wrapped line would show as a second row, and joined with -J be
# wider than the window), and Ctrl-C still ends it cleanly.
for width in 80 50; do
  tmux kill-session -t "$session"
  tmux new-session -d -s "$session" -x "$width" -y 20
  type_line "clear; $dslrctl --port unix:$socket get-all -o $work/w$width; echo ALL=\$?"
  wait_for '^[12]/2 ' 30 || fail "no job display at $width columns"
  rows=0
  for _ in $(seq 1200); do
    screen=$(pane)
    grep -qE 'ALL=[0-9]' <<<"$screen" && break
    widest=$(awk '{ if (length($0) > w) w = length($0) } END { print w + 0 }' <<<"$(grep -E '^[12]/2 ' <<<"$screen")")
    [ "$widest" -lt "$width" ] || fail "a progress line of $widest columns at $width"
    shown=$(grep -cE '^[12]/2 ' <<<"$screen" || true)
    [ "$shown" -le 1 ] || fail "progress left lines behind at $width columns"
    [ "$shown" -eq 1 ] && { rows=$((rows + 1)); sample=$(grep -E '^[12]/2 ' <<<"$screen"); }
    sleep 0.1
  done
  # On a loaded machine the screen may be read only a few times.
  [ "$rows" -ge 1 ] || fail "the job display was not seen at $width columns"
  pane | grep -q 'ALL=0' || fail "get-all failed at $width columns"
  echo "PASS: $width columns: the job display stayed on one line ($rows looks), such as"
  echo "  |$sample|"
done
type_line "clear; $dslrctl --port unix:$socket get-all -o $work/cut50; echo CUT=\$?"
wait_for '^1/2 ' 30 || fail "no job display before Ctrl-C at 50 columns"
tmux send-keys -t "$session" C-c
wait_for 'CUT=[0-9]' 30 || fail "Ctrl-C did not end get-all"
pane | grep -q 'CUT=130' || fail "Ctrl-C did not give status 130 at 50 columns"
[ -z "$(find "$work/cut50" -type f)" ] || fail "something was left: $(find "$work/cut50" -type f)"
echo "PASS: Ctrl-C at 50 columns ended get-all with nothing left"

# 4. The question before a local file is replaced: "n" keeps it, "y" replaces it.
small=ATA01:/DCIM/SMALL.JPG
echo mine > "$work/out/SMALL.JPG"
for answer in n y; do
  type_line "clear; $dslrctl --port unix:$socket get $small -o $work/out; echo ASK$answer=\$?"
  wait_for 'overwrite .*\? \[y/N\]' 30 || fail "no question before replacing a file"
  type_line "$answer"
  wait_for "ASK$answer=[0-9]" 30 || fail "the get did not end after '$answer'"
  pane | grep -q "ASK$answer=0" || fail "the get failed after '$answer'"
  if [ "$answer" = n ]; then
    [ "$(cat "$work/out/SMALL.JPG")" = mine ] || fail "'n' replaced the file"
  else
    cmp -s "$work/out/SMALL.JPG" "$work/card/DCIM/SMALL.JPG" ||
      fail "'y' did not replace the file"
  fi
done
echo "PASS: the overwrite question kept the file on 'n' and replaced it on 'y'"
