#!/usr/bin/env bash
# Builds the libFuzzer harness of the tools' readers (message files, SIP messages, TCP
# streams, link-layer frames) with the protocol manager, the module and the host in one
# binary, with AddressSanitizer and UndefinedBehaviorSanitizer, and runs it for a while:
#   tools/fuzz/build_sippm.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/../.."
out=build/fuzz
mkdir -p "$out/sippm_corpus"
sources=$(ls core/*.cpp traffic/*.cpp blf/*.cpp presence/*.cpp mwi/*.cpp sca/*.cpp park/*.cpp hotel/*.cpp \
             featuresync/*.cpp sms/*.cpp mcast/*.cpp remotecontrol/*.cpp host/*.cpp 2>/dev/null || true)
clang++ -std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined -I. -Itools \
  $(pkg-config --cflags sofia-sip-ua) $sources tools/sippm/*.cpp tools/amreplay/input.cpp tools/fuzz/sippm_fuzz.cpp \
  $(pkg-config --libs sofia-sip-ua) -lpcap -lpugixml -lcrypto -lpthread -o "$out/sippm_fuzz"
# Seeds: the examples' traffic as message text and as single messages.
for f in examples/*/traffic.sip; do
  name=$(basename "$(dirname "$f")")
  { printf '\0'; cat "$f"; } > "$out/sippm_corpus/text-$name"
done
"$out/sippm_fuzz" -max_total_time="${1:-60}" -max_len=8192 "$out/sippm_corpus"
