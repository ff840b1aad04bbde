#!/usr/bin/env bash
# Kamailio as registrar, proxy and presence server on 127.0.0.1, set up as the end-to-end
# test sets it up (users 200-203, password "secret", domain ostra.test, the resource list
# blf-list of 201 and 202 for watcher 200), for trying amlive by hand:
#   tools/e2e/server.sh [PORT]          # Ctrl-C stops it
#   tools/e2e/server.sh PORT call       # from another shell: 202 calls 201 through it
#   tools/e2e/server.sh PORT publish    # 203's presence, 200's mailbox, a MESSAGE to 200
set -uo pipefail
source "$(dirname "$0")/kamailio.sh"
port=${1:-$(free_port)}
server="127.0.0.1:$port"
scratch=$(mktemp -d /tmp/amlive-server.XXXXXX)
pids=()
trap 'for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done; kamailio_stop; rm -rf "$scratch"' EXIT

case "${2:-serve}" in
serve)
  kamailio_setup "$scratch" "$port"
  kamailio_start "$scratch" "$port" || exit 1
  echo "Kamailio on $server (pid $KAMAILIO_PID, log $scratch/kamailio.log). Try:"
  echo "  build/default/tools/amlive --line 1:200:secret@$server --domain ostra.test --blf 201 --state"
  echo "  tools/e2e/server.sh $port call"
  wait "$KAMAILIO_PID"
  ;;
call)
  call_201_from_202 && echo "202 called 201, 201 answered, 202 hung up"
  ;;
publish)
  sipp_start publish "$(free_port)" -s 203 -key presentity 203 -key note "In a meeting" -key mailbox 200 \
    -key sender 202 -key message_type "application/x-e2e-note" -key message_text "Call the front desk"
  wait "$LAST_PID" && echo "published 203's presence and 200's mailbox; sent a MESSAGE to 200"
  ;;
*)
  echo "usage: server.sh [PORT [serve|call|publish]]" >&2
  exit 2
  ;;
esac
