#!/usr/bin/env bash
# A hostile-camera run (a benchmark, not a test): N seeded trials of dslrctl
# operations and the example host program against `dslrsim --misbehave`,
# each trial one operation, one class of spoiled reply and one seed. Every
# trial is classified:
#   error      the tool failed with a clean message
#   honest     it succeeded and said what the honest camera says
#   lie        it succeeded with other values the camera made up (names,
#              sizes, settings): no host can tell these from the truth
#   wrong-data it succeeded with file bytes that are not the card's, or
#              wrote outside its output folder
#   hang       it was still running after HANG_SECONDS
#   crash      it ended by a signal
#   sanitizer  AddressSanitizer or UBSan reported something (either side)
# and whether the camera's spoil was reached at all.
#
#   scripts/hostile-run.sh [TRIALS]      (default 1000)
# Environment: BUILD (default build-asan: configure it with
# -DVKRN_SANITIZE=address), JOBS (parallel trials, default 2), HANG_SECONDS
# (default 40), CLASSES (default: every class), OPS (default: every
# operation), OUT (the results folder, default build-hostile).
set -uo pipefail
cd "$(dirname "$0")/.."
trials=${1:-1000}
build=${BUILD:-build-asan}
jobs=${JOBS:-2}
hang=${HANG_SECONDS:-40}
out=$(realpath -m "${OUT:-build-hostile}")
classes=(${CLASSES:-truncated counts-more counts-less other-tag stall frame-header rapi-header
  announced-length record-word listing sense})
ops=(${OPS:-info ls get get-all put config capture events host})
dslrctl=$(realpath "$build/tools/dslrctl/dslrctl")
dslrsim=$(realpath "$build/tools/dslrsim/dslrsim")
host=$(realpath "$build/examples/host_session")
for tool in "$dslrctl" "$dslrsim" "$host"; do
  [ -x "$tool" ] || { echo "missing $tool (build dslrctl dslrsim host_session in $build)"; exit 2; }
done
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}

# The table of results on stdin: one row per class and operation, a column
# per outcome. `hostile-run.sh --table RESULTS` prints it for a run that was
# stopped early.
table() {
  awk -v trials="$1" -v elapsed="$2" '
  { key = $2 " | " $1; count[key, $4]++; keys[key] = 1; total[$4]++; if ($5 == "yes") reached[key]++; runs[key]++ }
  END {
    split("error honest lie wrong-data hang crash sanitizer", names, " ")
    printf "%d trials in %d s\n\n| class | operation | trials | spoil reached |", trials, elapsed
    for (i = 1; i <= 7; i++) printf " %s |", names[i]
    printf "\n|---|---|---|---|"
    for (i = 1; i <= 7; i++) printf "---|"
    printf "\n"
    for (key in keys) {
      split(key, parts, " \\| ")
      line = sprintf("| %s | %s | %d | %d |", parts[1], parts[2], runs[key], reached[key])
      for (i = 1; i <= 7; i++) line = line sprintf(" %d |", count[key, names[i]])
      print line | "sort"
    }
    close("sort")
    printf "| all | all | %d | |", NR
    for (i = 1; i <= 7; i++) printf " %d |", total[names[i]]
    printf "\n"
  }'
}
if [ "${1:-}" = "--table" ]; then
  table "$(wc -l <"$2")" "?" <"$2"
  exit 0
fi

# The card every trial starts from: files of known bytes, some larger than
# one block of the camera.
rm -rf "$out" && mkdir -p "$out/card/DCIM/100TEST" "$out/card/DCIM/101TEST" "$out/trials"
head -c 70000 /dev/urandom >"$out/card/DCIM/100TEST/IMG_0001.JPG"
head -c 300000 /dev/urandom >"$out/card/DCIM/100TEST/IMG_0002.JPG"
head -c 1234 /dev/urandom >"$out/card/DCIM/101TEST/IMG_0003.JPG"
head -c 90000 /dev/urandom >"$out/upload.jpg"

# What an operation prints against an honest camera (times blanked), to tell
# an honest success from a made-up one.
normalised() { sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2}[T ][0-9:]+//g; s/in [0-9.]+ s//g; s/[0-9.]+ (MB|MiB|KiB)\/s//g'; }

# run_op OP PORT DIR: runs one operation in DIR; prints its exit status.
run_op() {
  local op=$1 port=$2 dir=$3 status
  local ctl=(timeout -k 5 "$hang" "$dslrctl" --port "$port")
  case $op in
    info) "${ctl[@]}" info ;;
    ls) "${ctl[@]}" ls -R ;;
    get) "${ctl[@]}" get -o "$dir/out" ATA01:/DCIM/100TEST/IMG_0002.JPG ;;
    get-all) "${ctl[@]}" get-all -o "$dir/out" ;;
    put) "${ctl[@]}" put "$out/upload.jpg" ATA01:/DCIM/101TEST/UP.JPG ;;
    config) "${ctl[@]}" config list ;;
    capture) "${ctl[@]}" capture --download -o "$dir/out" ;;
    events) "${ctl[@]}" events --seconds 3 ;;
    host) timeout -k 5 "$hang" "$host" "$port" ;;
  esac >"$dir/stdout" 2>"$dir/stderr"
  echo $?
}

# Whether every file the trial saved holds the card's bytes, and nothing was
# written outside its output folder.
files_agree() {
  local op=$1 dir=$2 card=$3 status=$4 file relative
  # Only the trial's own files: the card, out/, the logs, the socket.
  [ -z "$(find "$dir" -mindepth 1 -maxdepth 1 ! -name card ! -name out ! -name 'std*' ! -name 'sim.log' ! -name '*.sock')" ] || return 1
  [ "$status" -eq 0 ] || return 0
  case $op in
    get) [ ! -e "$dir/out/IMG_0002.JPG" ] || cmp -s "$dir/out/IMG_0002.JPG" "$out/card/DCIM/100TEST/IMG_0002.JPG" ;;
    get-all)
      while IFS= read -r file; do
        relative=${file#"$dir/out/ATA01/"}
        [ "$relative" != "$file" ] && cmp -s "$file" "$out/card/$relative" || return 1
      done < <(find "$dir/out" -type f 2>/dev/null) ;;
    put) cmp -s "$card/DCIM/101TEST/UP.JPG" "$out/upload.jpg" ;;
  esac
}

# trial INDEX: prints "op class seed outcome reached".
trial() {
  local index=$1
  local op=${ops[$((index % ${#ops[@]}))]}
  local class=${classes[$(((index / ${#ops[@]}) % ${#classes[@]}))]}
  local seed=$index dir="$out/trials/$index"
  mkdir -p "$dir" && cp -r "$out/card" "$dir/card"
  local port="unix:$dir/cam.sock"
  "$dslrsim" --listen "$port" --card "ATA01=$dir/card" --misbehave "$class" --seed "$seed" \
    >"$dir/sim.log" 2>&1 &
  local sim=$!
  for _ in $(seq 100); do grep -q listening "$dir/sim.log" && break; sleep 0.05; done
  local status
  status=$(run_op "$op" "$port" "$dir")
  kill -TERM "$sim" 2>/dev/null
  wait "$sim" 2>/dev/null
  local outcome reached=no
  grep -q "spoiled a reply" "$dir/sim.log" && reached=yes
  if grep -qE "ERROR: (Address|Leak)Sanitizer|runtime error:" "$dir/stderr" "$dir/sim.log"; then
    outcome=sanitizer
  elif [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then
    outcome=hang
  elif [ "$status" -ge 128 ]; then
    outcome=crash
  elif ! files_agree "$op" "$dir" "$dir/card" "$status"; then
    outcome=wrong-data
  elif [ "$status" -ne 0 ]; then
    outcome=error
  elif [ "$reached" = yes ] && [ -f "$out/honest.$op" ] && ! diff -q <(normalised <"$dir/stdout") "$out/honest.$op" >/dev/null; then
    outcome=lie
  else
    outcome=honest
  fi
  echo "$op $class $seed $outcome $reached"
  # Keep the evidence of what went wrong; the rest goes.
  case $outcome in error | honest | lie) rm -rf "$dir" ;; *) rm -rf "$dir/card" ;; esac
}

# The honest references: each operation once against a camera that does not lie.
for op in "${ops[@]}"; do
  dir="$out/honest-$op" && mkdir -p "$dir" && cp -r "$out/card" "$dir/card"
  "$dslrsim" --listen "unix:$dir/cam.sock" --card "ATA01=$dir/card" >"$dir/sim.log" 2>&1 &
  sim=$!
  for _ in $(seq 100); do grep -q listening "$dir/sim.log" && break; sleep 0.05; done
  status=$(run_op "$op" "unix:$dir/cam.sock" "$dir")
  kill -TERM "$sim" && wait "$sim"
  [ "$status" -eq 0 ] || echo "note: $op fails against the honest camera (status $status)"
  normalised <"$dir/stdout" >"$out/honest.$op"
  rm -rf "$dir"
done

export -f trial run_op files_agree normalised
export out hang dslrctl dslrsim host
export CLASSES_LIST="${classes[*]}" OPS_LIST="${ops[*]}"
start=$(date +%s)
seq 0 $((trials - 1)) | xargs -P "$jobs" -I{} bash -c \
  'ops=($OPS_LIST); classes=($CLASSES_LIST); trial {}' >"$out/results.txt"
elapsed=$(($(date +%s) - start))

table "$trials" "$elapsed" <"$out/results.txt" | tee "$out/table.md"
echo "results: $out/results.txt; trials that went wrong keep their logs in $out/trials/"
