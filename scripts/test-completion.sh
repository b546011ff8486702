#!/usr/bin/env bash
# dslrctl's generated bash completion, loaded the way bash-completion loads
# it and asked what a person's Tab would ask: each case is a command line
# and a word the answer must hold (or "-" for an empty answer).
#
#   scripts/test-completion.sh DSLRCTL COMPLETION_SCRIPT
set -uo pipefail
dslrctl=$1
script=$2
[ -f /usr/share/bash-completion/bash_completion ] && source /usr/share/bash-completion/bash_completion
source "$script" || { echo "FAIL: $script does not load"; exit 1; }
cd "$(mktemp -d)" || exit 1
failures=0
expect() {  # expected word, then the words of the command line (the last one is being typed)
  local expected=$1
  shift
  COMP_WORDS=("$dslrctl" "${@:2}") COMP_CWORD=$(($# - 1)) COMP_LINE="$dslrctl ${*:2}" COMP_POINT=${#COMP_LINE}
  COMPREPLY=()
  _dslrctl
  local answer=" ${COMPREPLY[*]} "
  if { [ "$expected" = - ] && [ ${#COMPREPLY[@]} -eq 0 ]; } || [[ $answer == *" $expected "* ]]; then
    echo "PASS: [$*] -> ${COMPREPLY[*]}"
  else
    echo "FAIL: [$*] -> ${COMPREPLY[*]} (wanted $expected)"
    failures=$((failures + 1))
  fi
}
expect info         dslrctl ''
expect get-all      dslrctl get-
expect --recursive  dslrctl ls --rec
expect --port       dslrctl --po
expect --download   dslrctl capture --d
expect sim:demo     dslrctl --port ''
expect set          dslrctl config ''
expect white-balance dslrctl config get wh
expect raw+jpeg     dslrctl config set file-format ''
expect 3000         dslrctl config set white-balance 30
expect 400          dslrctl config set iso ''
expect f/5.6        dslrctl config set aperture f/5
expect ATA01:/DCIM/100VELOR/IMG_0001.JPG dslrctl --port sim:demo get ''
expect ATA01        dslrctl format ''
expect -            dslrctl --count ''
[ "$failures" -eq 0 ] || exit 1
