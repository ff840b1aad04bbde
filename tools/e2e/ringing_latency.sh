#!/usr/bin/env bash
# From the callee's 180 to the module's ringing event for it, in milliseconds, read from
# the files an end-to-end run kept:  tools/e2e/run.sh AMLIVE udp DIR && ringing_latency.sh DIR
set -euo pipefail
dir=${1:?usage: ringing_latency.sh KEPT_RUN_DIR}
# sipp stamps each traced message with the local wall clock.
sent=$(grep -B3 '^SIP/2.0 180 Ringing' "$dir/callee.msg" | grep -- '^-----' | head -1 | awk '{print $2" "$3}')
[ -n "$sent" ] || { echo "no 180 in $dir/callee.msg" >&2; exit 1; }
sent_epoch=$(date -d "$sent" +%s.%N)
zero=$(jq -r 'select(.kind=="log" and .module=="amlive" and (.text|startswith("t=0 is Unix time"))) | .text | split(" ") | last' \
  "$dir/amlive.jsonl")
ringing=$(jq -s -r 'map(select(.kind=="event" and .name=="AM_BLF_EVENT_NAME" and .record.number=="201"
  and .record.state==7)) | first | .t // empty' "$dir/amlive.jsonl")
[ -n "$ringing" ] || { echo "no ringing event for 201 in $dir/amlive.jsonl" >&2; exit 1; }
awk -v z="$zero" -v r="$ringing" -v s="$sent_epoch" 'BEGIN { printf "%.3f\n", (z + r - s) * 1000 }'
