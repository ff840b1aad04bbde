#!/usr/bin/env bash
# Measures amreplay on a generated capture of about 100,000 SIP messages (the examples'
# traffic over and over) and, on the same capture, tshark reading it as people do today:
# messages per second and peak memory of each, and their ratio.
#   tools/amreplay/bench.sh [messages]        (builds the default preset's tools first)
set -euo pipefail
cd "$(dirname "$0")/../.."
want=${1:-100000}
for tool in tshark /usr/bin/time bc; do
  command -v "$tool" >/dev/null || { echo "bench.sh needs $tool (apt-get install tshark time bc)" >&2; exit 2; }
done
cmake --preset default >/dev/null
cmake --build --preset default --target amreplay mkpcap >/dev/null
bin=build/default/tools
work=build/default/bench-replay
mkdir -p "$work"

inputs=()
for dir in examples/*/; do
  [ -f "$dir/expected.txt" ] && [ "$(basename "$dir")" != bad-input ] && inputs+=("$dir/traffic.sip")
done
capture=$work/capture.pcap
per=$("$bin/mkpcap" "${inputs[@]}" -o "$capture" --count)
repeat=$(( (want + per - 1) / per ))
"$bin/mkpcap" "${inputs[@]}" --repeat "$repeat" -o "$capture" >/dev/null
messages=$((per * repeat))
cat > "$work/scenario.txt" <<'SCENARIO'
line 1 user=1001 server=pbx.example.com
line 2 user=2100 server=as.example.com sca=1
line 3 user=3100 server=as.example.com
line 4 user=3101 server=as.example.com
SCENARIO

measure() {   # measure NAME COMMAND... : prints the figures, answers seconds and peak kilobytes
  local name=$1; shift
  /usr/bin/time -f '%e %M' -o "$work/time.txt" "$@" >/dev/null 2>&1 || true
  read -r secs kb < "$work/time.txt"
  printf '%-24s %7.2f s %9.0f msg/s %6d MB peak\n' "$name" "$secs" "$(echo "$messages / $secs" | bc -l)" \
    $((kb / 1024)) >&2
  echo "$secs $kb"
}
echo "capture: $capture, $messages SIP messages, $(du -m "$capture" | cut -f1) MB" >&2
read -r a_secs a_kb < <(measure amreplay "$bin/amreplay" "$capture" -s "$work/scenario.txt")
read -r j_secs j_kb < <(measure "amreplay --json" "$bin/amreplay" "$capture" -s "$work/scenario.txt" --json)
read -r t_secs t_kb < <(measure "tshark -r" tshark -r "$capture")
read -r v_secs v_kb < <(measure "tshark -r -V (decoded)" tshark -r "$capture" -V)
printf 'amreplay/tshark: %.1fx the speed of tshark -r, %.1fx of tshark -V; memory %.2fx of tshark -r\n' \
  "$(echo "$t_secs / $a_secs" | bc -l)" "$(echo "$v_secs / $a_secs" | bc -l)" "$(echo "$a_kb / $t_kb" | bc -l)" >&2
