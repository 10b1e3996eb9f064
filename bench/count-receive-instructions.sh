#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Instructions per received message, counted by callgrind: a deterministic
# figure beside the time ratios, which a shared, noisy machine cannot blur.
# Each path runs twice, with two numbers of messages; the difference of the
# two counts divided by the difference of the numbers is the cost of one
# message, without start-up and tear-down.
#
# Usage: bench/count-receive-instructions.sh BUILD_DIR   (`make bench`)
set -euo pipefail
loop="$1/bench/trafhandler_receive_loop"
short=100000
long=200000

# Instructions of `loop MODE MESSAGES` in the whole program.
count() {
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$loop" "$1" "$2" 2>&1 |
    sed -n 's/^==[0-9]*== Collected : \([0-9]*\)$/\1/p'
}

# Instructions per message of MODE.
perMessage() {
  local first second
  first=$(count "$1" "$short")
  second=$(count "$1" "$long")
  awk -v a="$first" -v b="$second" -v n=$((long - short)) \
    'BEGIN { printf "%.1f", (b - a) / n }'
}

entry=$(perMessage entry)
direct=$(perMessage direct)
verdict=$(awk -v e="$entry" 'BEGIN { print (e <= 60 ? "ok" : "ABOVE GOAL") }')
echo "Instructions per received message (callgrind):"
printf '%-38s = %5s (goal <= 60) %s\n' "hccDataReceivedCt2" "$entry" "$verdict"
printf '%-38s = %5s\n' "directVirtualCall" "$direct"
