#!/usr/bin/env bash
# Checks amreplay on one example directory (its arguments in the file "run", relative to
# the directory):
#   check.sh golden AMREPLAY DIR [--update]   the timeline and the JSON lines against
#                                             expected.txt and expected.jsonl
#   check.sh cli AMREPLAY DIR                 unusable arguments and files end with exit 2
#                                             and a message naming them
#   check.sh captures AMREPLAY MKPCAP DIR TMP the example's traffic.sip written as pcap
#                                             and pcapng captures (UDP with IP fragments,
#                                             TCP in small and in shared segments, IPv4
#                                             and IPv6) replays the same events, requests
#                                             and deliveries as the text
set -uo pipefail
mode=$1
shift

replay() {   # replay ARGS... : stdout, then "exit N"
  "$tool" "$@" 2>/dev/null
  echo "exit $?"
}

case "$mode" in
golden)
  tool=$(realpath "$1"); dir=$2; update=${3:-}
  cd "$dir" || exit 2
  read -r -a args < run
  fail=0
  for kind in txt jsonl; do
    extra=()
    [ "$kind" = jsonl ] && extra=(--json)
    actual=$(replay "${args[@]}" "${extra[@]}")
    if [ "$update" = --update ]; then
      printf '%s\n' "$actual" > "expected.$kind"
    elif ! diff -u "expected.$kind" <(printf '%s\n' "$actual"); then
      echo "FAILED: $dir expected.$kind differs (check.sh golden ... --update rewrites it)"
      fail=1
    fi
  done
  exit $fail
  ;;
cli)
  tool=$(realpath "$1"); dir=$2
  cd "$dir" || exit 2
  fail=0
  expect() {   # expect TEXT ARGS... : exit 2 and TEXT on stderr
    local text=$1; shift
    local err
    err=$("$tool" "$@" 2>&1 >/dev/null)
    local rc=$?
    if [ $rc -ne 2 ] || [[ "$err" != *"$text"* ]]; then
      echo "FAILED: amreplay $* gave exit $rc and: $err"
      fail=1
    fi
  }
  expect "no-such.pcap: no such file" no-such.pcap
  expect "traffic.sip:2: unknown statement \"SUBSCRIBE\"" traffic.sip -s traffic.sip
  expect "missing.txt: cannot be read" traffic.sip -s missing.txt
  expect "--log-level" traffic.sip --log-level 9
  expect "cannot load the module" traffic.sip --module ./traffic.sip
  expect "inputs is required" --state
  exit $fail
  ;;
captures)
  tool=$(realpath "$1"); mkpcap=$(realpath "$2"); dir=$3; tmp=$(realpath -m "$4")
  mkdir -p "$tmp"
  cd "$dir" || exit 2
  read -r -a args < run
  # What must not change with the carrier: everything but times, sources and sizes.
  strip() { grep -v '"kind":"in"' | sed -E 's/"t":[-0-9.e]+,//'; }
  expected=$(replay "${args[@]}" --json | strip)
  fail=0
  for variant in "udp4-frag:--mtu 576" "udp6-frag-ng:--ipv6 --pcapng --mtu 1280" \
                 "tcp4-small:--tcp --segment 61" "tcp6-shared-ng:--tcp --ipv6 --pcapng --batch 3 --segment 900"; do
    name=${variant%%:*}
    read -r -a options <<< "${variant#*:}"
    capture="$tmp/$(basename "$dir")-$name.cap"
    "$mkpcap" traffic.sip -o "$capture" "${options[@]}" || { echo "FAILED: mkpcap $name"; fail=1; continue; }
    actual=$(replay "${args[@]/traffic.sip/$capture}" --json | strip)
    if ! diff -u <(printf '%s\n' "$expected") <(printf '%s\n' "$actual"); then
      echo "FAILED: $dir as $name replays differently from the text"
      fail=1
    fi
  done
  exit $fail
  ;;
esac
echo "usage: check.sh golden|captures ..." >&2
exit 2
