# Sourced by the end-to-end scripts: a Kamailio of our own on loopback, with its db_text
# tables in a scratch directory, and sipp as the other phones. Everything started here is
# stopped by its process id.

KAMAILIO_TABLES=(version subscriber location presentity active_watchers watchers xcap pua
                 rls_presentity rls_watchers dialog dialog_vars)
E2E_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
# /usr/sbin is not on every user's PATH.
KAMAILIO=${KAMAILIO:-$(command -v kamailio || echo /usr/sbin/kamailio)}

# A UDP and TCP port that nothing on loopback listens on.
free_port() {
  local port tries=0
  while [ $tries -lt 200 ]; do
    port=$((20000 + RANDOM % 40000))
    if ! ss -Hlnut 2>/dev/null | awk '{print $5}' | grep -q ":$port\$"; then
      echo "$port"
      return 0
    fi
    tries=$((tries + 1))
  done
  return 1
}

# db_text keeps ':' as a field separator, so the documents escape it.
dbtext_escape() { sed -e 's/\\/\\\\/g' -e 's/:/\\:/g' | awk 'BEGIN{ORS="\\n"} {print}'; }

# kamailio_setup SCRATCH PORT: tables, users (200-203, password "secret") and the
# watcher's resource list "blf-list" of 201 and 202.
kamailio_setup() {
  local dir=$1 port=$2 table id=1
  mkdir -p "$dir/db"
  for table in "${KAMAILIO_TABLES[@]}"; do
    cp "/usr/share/kamailio/dbtext/kamailio/$table" "$dir/db/$table"
  done
  for user in 200 201 202 203; do
    echo "$id:$user:ostra.test:secret:x:x" >> "$dir/db/subscriber"
    id=$((id + 1))
  done
  local doc
  doc=$(dbtext_escape <<XML
<?xml version="1.0" encoding="UTF-8"?>
<rls-services xmlns="urn:ietf:params:xml:ns:rls-services" xmlns:rl="urn:ietf:params:xml:ns:resource-lists">
<service uri="sip:blf-list@ostra.test">
<list name="blf-list">
<rl:entry uri="sip:201@ostra.test"/>
<rl:entry uri="sip:202@ostra.test"/>
</list>
<packages><package>dialog</package></packages>
</service>
</rls-services>
XML
)
  echo "1:200:ostra.test:$doc:8:e1:1:rls-services/users/sip\\:200@ostra.test/index:0" >> "$dir/db/xcap"
  sed -e "s|@PORT@|$port|g" -e "s|@DB@|$dir/db|g" -e "s|@DEBUG@|${KAMAILIO_DEBUG:-1}|g" \
    "$E2E_DIR/kamailio.cfg.in" > "$dir/kamailio.cfg"
}

# kamailio_start SCRATCH PORT: starts it in the foreground of a background job (so that its
# pid is ours) and waits, bounded, until it answers on the port.
kamailio_start() {
  local dir=$1 port=$2 i
  "$KAMAILIO" -DD -E -f "$dir/kamailio.cfg" -Y "$dir" -m 64 -M 8 > "$dir/kamailio.log" 2>&1 &
  KAMAILIO_PID=$!
  for i in $(seq 1 50); do
    if ss -Hlnu 2>/dev/null | awk '{print $4}' | grep -q "127.0.0.1:$port\$"; then
      return 0
    fi
    kill -0 "$KAMAILIO_PID" 2>/dev/null || break
    sleep 0.1
  done
  echo "kamailio did not start on 127.0.0.1:$port; see $dir/kamailio.log" >&2
  return 1
}

kamailio_stop() {
  if [ -n "${KAMAILIO_PID:-}" ]; then
    kill "$KAMAILIO_PID" 2>/dev/null || true
    local i
    for i in $(seq 1 30); do
      kill -0 "$KAMAILIO_PID" 2>/dev/null || break
      sleep 0.1
    done
    kill -9 "$KAMAILIO_PID" 2>/dev/null || true
    wait "$KAMAILIO_PID" 2>/dev/null || true
    KAMAILIO_PID=
  fi
}

# sipp_start NAME LOCAL_PORT ARGS...: the scenario NAME.xml against $server, from
# 127.0.0.1:LOCAL_PORT, in the background; its pid in LAST_PID (and in the pids array),
# its messages and errors in $scratch/NAME.*. Each run ends within 30 s.
sipp_start() {
  local name=$1 lport=$2
  shift 2
  sipp "$server" -sf "$E2E_DIR/$name.xml" -i 127.0.0.1 -p "$lport" -m 1 -nostdin -timeout 30s \
    -timeout_error -key domain ostra.test -trace_msg -message_file "$scratch/$name.msg" \
    -trace_err -error_file "$scratch/$name.err" "$@" > "$scratch/$name.out" 2>&1 &
  LAST_PID=$!
  pids+=("$LAST_PID")
}

# call_201_from_202: 201 registers and answers, 202 calls it and hangs up after
# TALK_MS (default 1500) milliseconds; false when either side failed.
call_201_from_202() {
  local callee_port callee ok=0
  callee_port=$(free_port)
  sipp_start register "$callee_port" -s 201 -au 201 -ap secret
  wait "$LAST_PID" || { echo "201 did not register (see $scratch/register.*)" >&2; return 1; }
  sipp_start callee "$callee_port" -s 201
  callee=$LAST_PID
  sipp_start caller "$(free_port)" -s 201 -key caller 202 -d "${TALK_MS:-1500}"
  wait "$LAST_PID" || { echo "the call from 202 to 201 failed (see $scratch/caller.*)" >&2; ok=1; }
  wait "$callee" || { echo "201 did not take the call through (see $scratch/callee.*)" >&2; ok=1; }
  return $ok
}
