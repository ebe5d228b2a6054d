# shellcheck shell=bash
# A sample company's servers, for scripts in tools that read this file: directory, key server, parent's
# database, mail server, scanner agents, update source, reputation server and proxy. All are children
# of the script, lie in the folder that make_folder makes, and end with it.

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

in_use() {
  (: <>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# The servers by name: process, port and command, quoted for a restart.
declare -A servers=() ports=() commands=()
stop_servers() {
  local server tries
  trap '' INT TERM
  for server in "${servers[@]}"; do kill "$server" 2>/dev/null || true; done
  for server in "${servers[@]}"; do
    for ((tries = 0; tries < 100; tries++)); do
      kill -0 "$server" 2>/dev/null || break
      sleep 0.1
    done
    ((tries < 100)) || kill -KILL "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
  done
  rm -rf "$work"
}

# launch NAME PORT COMMAND...: what it says goes to $work/NAME.log. Returns before it answers.
launch() {
  local name=$1
  ports[$name]=$2
  shift 2
  commands[$name]=$(printf '%q ' "$@")
  "$@" <&0 >>"$work/$name.log" 2>&1 &
  servers[$name]=$!
}

# await NAME: until its port takes connections.
await() {
  local tries
  for ((tries = 0; tries < 300; tries++)); do
    if in_use "${ports[$1]}"; then return; fi
    kill -0 "${servers[$1]}" 2>/dev/null || die "the $1 did not start: $(cat "$work/$1.log")"
    sleep 0.1
  done
  die "the $1 does not answer"
}

# restart NAME: killed, without a chance to say good-bye, and there again on the same port.
restart() {
  local command
  kill -KILL "${servers[$1]}"
  wait "${servers[$1]}" 2>/dev/null || true
  eval "command=(${commands[$1]})"
  launch "$1" "${ports[$1]}" "${command[@]}"
  await "$1"
}

# Open to others by name: the parent's database runs as another user.
make_folder() {
  work=$(mktemp -d)
  chmod 711 "$work"
  trap stop_servers EXIT
  trap 'exit 130' INT
  trap 'exit 143' TERM
}

# Prints the first free port from $1 on.
free_port() {
  local candidate=$1
  while in_use "$candidate"; do ((++candidate)); done
  echo "$candidate"
}

# Arguments go to private-slapd.
start_directory() {
  tools/sample-company >"$work/company.ldif"
  local port
  port=$(free_port 3890)
  launch directory "$port" \
    tools/private-slapd --dir "$work/slapd" --ldif "$work/company.ldif" --port "$port" "$@"
  await directory
}

# A realm with some of the company's accounts, and the keys of two services.
start_realm() {
  local port
  port=$(free_port 8800)
  launch realm "$port" tools/private-kdc --dir "$work/realm" --port "$port" <<'TEXT'
ann secret-ann
console secret-console
ldap/localhost -
HTTP/gate.example.com -
TEXT
  await realm
}

# The database of a parent appliance, which refuses root and so stays outside the sandbox.
start_parent() {
  launch parent - tools/private-postgres --dir "$work/parent"
  local tries
  for ((tries = 0; tries < 600; tries++)); do
    if [[ -S $work/parent/.s.PGSQL.5432 ]]; then return; fi
    kill -0 "${servers[parent]}" 2>/dev/null || die "the parent's database did not start: $(cat "$work/parent.log")"
    sleep 0.1
  done
  die "the parent's database does not answer"
}

# say COMMAND...: to the server behind descriptor 3, whose answers must begin with 2 or 3.
say() {
  local command line
  for command; do
    printf '%s\r\n' "$command" >&3
    while IFS= read -r -t 20 line <&3 && [[ $line == ???-* ]]; do :; done
    [[ $line == [23]* ]] || die "the mail server said ${line:-nothing}"
  done
}

# A mail transfer agent with some traffic, for its log. Postfix needs the machine's own users.
start_mail() {
  local port to
  port=$(free_port 2500)
  launch mail "$port" tools/private-postfix --dir "$work/mail" --port "$port"
  await mail
  exec 3<>"/dev/tcp/127.0.0.1/$port"
  read -r -t 20 _ <&3
  say 'EHLO client.example.com'
  for to in ann@example.com {1..12}@customer.example {1..4}@deferred.example {1..3}@bounced.example; do
    say 'MAIL FROM:<office@example.com>' "RCPT TO:<$to>" DATA $'Subject: Greetings\r\n\r\nHello.\r\n.'
  done
  say QUIT
  exec 3>&-
  local tries
  for ((tries = 0; tries < 100; tries++)); do
    (($(grep -c 'status=' "$work/mail/maillog") < 20)) || return 0
    sleep 0.1
  done
  die "the mail server does not deliver"
}

# start_agent NUMBER OPTION...: its address becomes the next line of $work/agents.
start_agent() {
  local name=agent.$1 port
  shift
  mkdir -p "$work/$name/export"
  port=$(free_port 8090)
  launch "$name" "$port" build/default/bin/vesk-agent --listen "127.0.0.1:$port" --export "$work/$name/export" \
    --events "$work/$name/events" "$@"
  await "$name"
  echo "127.0.0.1:$port" >>"$work/agents"
}

# start_fleet MAILLOG: the first has messages and the log, the last adds wrongly.
start_fleet() {
  tools/sample-quarantine "$work/spool"
  start_agent 1 --spool "$work/spool" --maillog "$1"
  start_agent 2
  start_agent 3 --misbehave test=wrong-sum:1
}

# An update source by HTTPS, the appliance's entry in the central console and sessions of it, a
# reputation server and a proxy. An argument is the algorithm of the sessions.
start_services() {
  local alg=${1:-RS256} guid=5f0d1c5e-0000-4000-8000-00000000c0de web good other proxy
  mkdir -p "$work"/{source,spam,engine,web,reputation,proxy,console,home/config,home/data}
  seq 50000 >"$work/spam/pattern"
  head -c 200000 /dev/urandom >"$work/engine/engine.bin"
  tools/make-update-source --dir "$work/source" --key "$work/source.key" >/dev/null
  cp "$work/source.key.pub" "$work/home/config/update-key.pem"
  web=$(free_port 8440)
  launch web "$web" tools/private-web --dir "$work/web" --port "$web" --root "$work/source"
  await web
  tools/make-signon-session --key-pair "$work/console" --alg "$alg"
  cp "$work/console/SSO_PKI_PublicKey.pem" "$work/home/config/"
  issue() { tools/make-signon-session --key "$work/console/private.pem" --alg "$alg" --audience gate.example.com "$@"; }
  issue --guid "$guid" >"$work/session"
  issue --guid "$guid" --age 3600 >"$work/old"
  issue --guid 00000000-0000-4000-8000-000000000000 >"$work/foreign"
  {
    cat "$work/home/script/admin.sql"
    echo "INSERT INTO tb_global_setting (section, name, value, notes) VALUES ('cmagent', 'guid', '$guid', 'Guid');"
  } | sqlite3 "$work/home/data/admin.db"
  good=$(free_port 8460) other=$(free_port $((good + 1)))
  launch reputation "$other" tools/private-reputation --dir "$work/reputation" "$good=good" "$other=other-host"
  await reputation
  proxy=$(free_port 8480)
  launch proxy "$proxy" tools/private-proxy --dir "$work/proxy" --port "$proxy" --user ann <<<secret
  await proxy
  printf '%s\n' "$good" "$other" "$proxy" >"$work/ports"
  cat >>"$work/home/config/vesk.ini" <<TEXT
[agent]
scanners = $(paste -sd, "$work/agents")
[update]
source = https://localhost:$web/
ca_file = $work/web/ca.pem
[signon]
audience = gate.example.com
[reputation]
ca_file = $work/reputation/tls/ca.pem
TEXT
}

# The install root with an administrator and a queue; its log stays where it is.
lay_out() {
  mkdir -p "$work/home" "$work/queue"
  cp -R "$VESK_HOME/." "$work/home"
  cat >>"$work/home/config/vesk.ini" <<TEXT

[log]
file = $VESK_HOME/log/adminui.log
[general]
queue_notify = $work/queue
[General-Notification]
Administrator = Ann Archer <ann@example.com>; "Müller; Jörg" <jmueller@example.com>
MailFrom = vesk@example.com
PreferredCharset = utf-8
TEXT
  export VESK_HOME=$work/home
}
