# Sourced by the end-to-end scripts: a Kamailio of our own on loopback, with its db_text
# tables in a scratch directory. Everything started here is stopped by its process id.

KAMAILIO_TABLES=(version subscriber location presentity active_watchers watchers xcap pua
                 rls_presentity rls_watchers dialog dialog_vars)
E2E_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"

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
  kamailio -DD -E -f "$dir/kamailio.cfg" -Y "$dir" -m 64 -M 8 > "$dir/kamailio.log" 2>&1 &
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
