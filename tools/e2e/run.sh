#!/usr/bin/env bash
# The phone on a real server: Kamailio as registrar, proxy and presence server, sipp as the
# other phones, amlive as the watching phone (line 200). Checks what the module reported.
#   tools/e2e/run.sh AMLIVE [udp|tcp] [KEEP_DIR]     (the watching phone's transport)
# Every process started here is stopped by its pid on every path; every wait is bounded.
set -uo pipefail
AMLIVE=${1:?usage: run.sh AMLIVE [udp|tcp] [KEEP_DIR]}
transport=${2:-udp}
source "$(dirname "$0")/kamailio.sh"

keep=${3:-}
scratch=${keep:-$(mktemp -d /tmp/amlive-e2e.XXXXXX)}
mkdir -p "$scratch"
pids=()
AMLIVE_PID=

cleanup() {
  local pid
  for pid in "${pids[@]}" $AMLIVE_PID; do
    kill "$pid" 2>/dev/null || true
  done
  for pid in "${pids[@]}" $AMLIVE_PID; do
    wait "$pid" 2>/dev/null || true
  done
  kamailio_stop
  if [ -z "$keep" ] && [ "${failed:-0}" -eq 0 ]; then rm -rf "$scratch"; fi
}
trap cleanup EXIT
failed=0
fail() {
  echo "FAIL: $*" >&2
  failed=1
}

# wait_for SECONDS COMMAND...: polls every 0.1 s until the command succeeds.
wait_for() {
  local limit=$(( $1 * 10 )) i=0
  shift
  while [ $i -lt $limit ]; do
    "$@" && return 0
    sleep 0.1
    i=$((i + 1))
  done
  return 1
}

out="$scratch/amlive.jsonl"
port=$(free_port) || { echo "no free port" >&2; exit 1; }
kamailio_setup "$scratch" "$port"
kamailio_start "$scratch" "$port" || exit 1
server="127.0.0.1:$port"

# Over UDP the line and its keys come from the command line; over TCP from a scenario file.
if [ "$transport" = tcp ]; then
  cat > "$scratch/phone.scenario" <<SCENARIO
line 1 user=200 server=$server password=secret transport=tcp
at 0 blf 1 201
at 0 blf 1 202
SCENARIO
  phone=(--scenario "$scratch/phone.scenario")
else
  phone=(--line "1:200:secret@$server" --blf 201 --blf 202)
fi
"$AMLIVE" "${phone[@]}" --domain ostra.test --list blf-list \
  --presence 203 --mwi --sms "1:200:Note to self" --json --state > "$out" 2> "$scratch/amlive.err" &
AMLIVE_PID=$!

notified() { jq -e -s --arg n "$1" --arg e "$2" \
  'map(select(.kind=="in" and .method=="NOTIFY" and .number==$n and (.event // "" | startswith($e)))) | length > 0' \
  "$out" > /dev/null 2>&1; }
subscribed() { notified 201 dialog && notified 202 dialog && notified blf-list dialog && notified 203 presence \
  && notified 200 message-summary; }
wait_for 10 subscribed || fail "the watching phone did not get a first NOTIFY for every watch"

call_201_from_202 || fail "the call from 202 to 201 did not go through"
sipp_start publish "$(free_port)" -s 203 -key presentity 203 -key note "In a meeting" -key mailbox 200 -key sender 202 \
  -key message_type "application/x-e2e-note" -key message_text "Call the front desk"
wait "$LAST_PID" || fail "the PUBLISHes or the MESSAGE were not accepted (see $scratch/publish.*)"

events() { jq -c -s "map(select(.kind==\"event\" and $1))" "$out"; }
blf201() { jq -r -s 'map(select(.kind=="event" and .name=="AM_BLF_EVENT_NAME" and .record.number=="201")
  | .record.state) | map(tostring) | join(" ")' "$out"; }
idle_after_talk() { blf201 | grep -Eq '(^| )7( 7)* 4( 4)* 0( |$)'; }
wait_for 8 idle_after_talk || fail "201 did not go ringing, talking, idle in order: states [$(blf201)]"
list_members() { jq -e -s 'map(select(.kind=="event" and .name=="AM_BLF_LIST_EVENT_NAME")
  | .record.number) | (index("201") != null) and (index("202") != null)' "$out" > /dev/null; }
wait_for 5 list_members || fail "the list did not report both members"
presence_changed() { jq -e -s 'map(select(.kind=="event" and .name=="AM_PRESENCE_EVENT_NAME"
  and .record.number=="203") | .record.state) | unique | length > 1' "$out" > /dev/null; }
wait_for 5 presence_changed || fail "203's presence did not change: $(events '.name=="AM_PRESENCE_EVENT_NAME"')"
lamp_on() { jq -e -s 'map(select(.kind=="event" and .name=="AM_MWI_EVENT_NAME" and .record.waiting==1
  and .record.newCount==3 and .record.oldCount==7)) | length > 0' "$out" > /dev/null; }
wait_for 5 lamp_on || fail "the lamp did not turn on with 3 new, 7 old: $(events '.name=="AM_MWI_EVENT_NAME"')"
delivered() { jq -e -s 'map(select(.kind=="delivered" and .number=="202" and (.text | startswith("Call the front desk"))))
  | length > 0' "$out" > /dev/null; }
wait_for 5 delivered || fail "the MESSAGE did not reach the registered receiver"
# The module's own text message goes out through the stack, comes back to the line as a
# text/plain MESSAGE for its receiver, and its 200 becomes the module's "sent" report.
sms_sent() { jq -e -s 'map(select(.kind=="event" and .name=="AM_SMS_SEND_EVENT_NAME" and .record.id==1
  and .record.status==1)) | length == 1' "$out" > /dev/null; }
wait_for 5 sms_sent || fail "the module's text message was not reported sent: $(events '.name=="AM_SMS_SEND_EVENT_NAME"')"
sms_back() { jq -e -s 'map(select(.kind=="delivered" and .receiver=="message receiver" and .number=="200"
  and .text=="Note to self")) | length == 1' "$out" > /dev/null; }
wait_for 5 sms_back || fail "the text message did not come back to the line's message receiver"

# A clean stop: every watch ended and the line unregistered before amlive exits.
kill -INT "$AMLIVE_PID"
exited() { ! kill -0 "$AMLIVE_PID" 2>/dev/null; }
wait_for 15 exited || fail "amlive did not stop within 15 s of SIGINT"
wait "$AMLIVE_PID"
status=$?
AMLIVE_PID=
[ "$status" -eq 0 ] || fail "amlive exited with $status (see $scratch/amlive.err)"
unsubscribed() { jq -e -s --arg n "$1" 'map(select(.kind=="in" and .method=="SUBSCRIBE" and .number==$n
  and .status>=200)) | length >= 2' "$out" > /dev/null; }
for n in 201 202 blf-list 203 200; do
  unsubscribed "$n" || fail "no answered unSUBSCRIBE for $n"
done
jq -e -s 'map(select(.kind=="log" and .module=="amlive" and .text=="line 1 unregistered: 200")) | length == 1' "$out" > /dev/null \
  || fail "the line was not unregistered"
jq -e -s 'map(select(.kind=="state")) | .[0].state.blf | map(select(.number=="201" and .record.state==0))
  | length == 1' \
  "$out" > /dev/null || fail "the final state does not show 201 idle"

if [ "$failed" -ne 0 ]; then
  echo "e2e: failed; everything is kept in $scratch" >&2
  exit 1
fi
echo "e2e: passed"
