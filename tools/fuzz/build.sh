#!/usr/bin/env bash
# Builds the libFuzzer harness with clang (module, host and harness in one binary, with
# AddressSanitizer and UndefinedBehaviorSanitizer) and runs it for a while:
#   tools/fuzz/build.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/../.."
out=build/fuzz
mkdir -p "$out/corpus"
sources=$(ls core/*.cpp traffic/*.cpp blf/*.cpp presence/*.cpp mwi/*.cpp sca/*.cpp park/*.cpp hotel/*.cpp featuresync/*.cpp sms/*.cpp mcast/*.cpp remotecontrol/*.cpp host/*.cpp 2>/dev/null)
clang++ -std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined -I. \
  $sources tools/fuzz/notify_fuzz.cpp -lpugixml -lcrypto -lpthread -o "$out/notify_fuzz"
"$out/notify_fuzz" -max_total_time="${1:-60}" -max_len=4096 "$out/corpus"
