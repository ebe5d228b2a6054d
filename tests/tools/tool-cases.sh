# appliance-test: keys and certificates, Postfix and the parent's database.
# shellcheck shell=bash disable=SC2154  # appliance-test reads it and has the names

case_pem() {
  local row
  cd "$work"
  openssl req -x509 -newkey rsa:2048 -nodes -keyout key -out one -subj /CN=x 2>/dev/null
  openssl ecparam -genkey -name prime256v1 -out ec
  openssl pkey -in key -aes256 -passout pass:x -out locked
  openssl rsa -in key -traditional -aes256 -passout pass:x -out locked-old 2>/dev/null
  cat one one >two
  cat one key >both
  cat key ec >keys
  sed '5s/./!/' one | cat two - >broken
  head -n 8 one >short
  sed 6d key >short-key
  sed 's/$/\r/' one >'cr lf'
  openssl x509 -in one -outform DER -out der
  cat one <(printf '\0\n') >zero
  huge_key >huge
  for row in '0 -c one' '0 -c two' '0 -k key' '0 -k ec' '4 -c key' '4 -c both' '4 -k both' '4 -k one' '4 -k keys' \
    '5 -k locked' '5 -k locked-old' '1 -c broken' '1 -c short' '1 -k short-key' '1 -c zero' '1 -k huge' '1 -c der' '3 -c none' '3 -k .' '2 -x one' '2 -c one two'; do
    # shellcheck disable=SC2086  # words
    gives ${row%% *} $vesk/bin/pemverify ${row#* }
  done
  gives 0 $vesk/bin/pemverify -c 'cr lf'
  ((SECONDS < 30)) || fail "a huge key was checked for $SECONDS seconds"
}

# Its factors are primes of thousands of digits, which takes minutes to prove.
huge_key() {
  local prime
  prime=0x01$(printf 'ff%.0s' {1..1211})
  openssl asn1parse -noout -out huge.der -genconf <(printf '%s\n' asn1=SEQUENCE:key '[key]' v=INTEGER:0 n=INTEGER:"$prime" \
    e=INTEGER:65537 {d,p,q,a,b,c}=INTEGER:"$prime")
  openssl rsa -inform DER -in huge.der -traditional 2>/dev/null
}

case_postfix() {
  gives 0 $vesk/postfix/usr/sbin/postconf -e inet_protocols=ipv4
  expect 'inet_protocols = ipv4' "$(postconf -n | grep ^inet_protocols)"
  printf '10.1\tREJECT\n' >"$work/clients"
  gives 0 postmap "$work/clients"
  expect REJECT "$(postmap -q 10.1 "$work/clients")"
  # Only root is here, and the mail system runs as another: it says so and leaves nothing behind.
  if timeout 30 postfix start >/dev/null 2>&1 || timeout 30 postfix reload >/dev/null 2>&1; then
    fail 'the mail system runs without its account'
  fi
}

case_parent() {
  local p=parent.example.com
  glcfg set parent_socket $p "$work/pg"
  glcfg set database password_file "$work/password"
  gives 3 $cfgtool chkdb $p sa postgreSQL
  echo '*:*:*:sa:wrong' >"$work/password"
  gives 3 $cfgtool chkdb $p sa postgreSQL
  chmod 600 "$work/password"
  gives 8 $cfgtool chkdb $p sa postgreSQL
  echo '*:*:*:*:secret' >"$work/password"
  gives 0 $cfgtool chkdb $p sa postgreSQL
  gives 9 $cfgtool reg $p reader postgreSQL
  expect '127.0.0.1 alone' "$($cfgtool getdb) $(glcfg val system role)"
  expect 7.5 "$($cfgtool getparentver $p sa postgreSQL)"
  gives 6 $cfgtool chkdb "$p';x" sa postgreSQL
  gives 2 $cfgtool chkdb $p sa oracle
  gives 8 $cfgtool chkdb 192.0.2.99 sa postgreSQL
  local i
  for i in 1 2; do
    glcfg set data_port ip 10.0.0.$i
    gives 0 $vesk/bin/close_handle_sh "$cfgtool reg \"$p\" sa postgreSQL"
  done
  expect "$p child" "$($cfgtool getdb) $(glcfg val system role)"
  glcfg set network hostname second.example.com
  glcfg set system guid "$(cat /proc/sys/kernel/random/uuid)"
  gives 0 $cfgtool reg $p sa postgreSQL
  glcfg set database name postgres
  gives 9 $cfgtool chkdb $p sa postgreSQL
  glcfg set database name vesk
  echo 7.6 >$vesk/version
  gives 10 $cfgtool reg $p sa postgreSQL
  # A server that takes the connection and is silent.
  perl -MIO::Socket::UNIX -e 'my $s = IO::Socket::UNIX->new(Local => $ARGV[0], Listen => 5); sleep 60' "$work/.s.PGSQL.5432" &
  glcfg set parent_socket silent.example.com "$work"
  glcfg set database connect_timeout 2
  SECONDS=0
  gives 8 $cfgtool chkdb silent.example.com sa postgreSQL
  ((SECONDS < 10)) || fail "a silent server was waited for $SECONDS seconds"
}

start_parent() {
  chmod 711 "$work"
  tools/private-postgres --dir "$work/pg" 2>"$work/pg.log" &
  server=$!
  until sql -c 'SELECT 1' >/dev/null 2>&1; do
    kill -0 $server || fail "$(cat "$work/pg.log")"
    sleep 0.1
  done
}
sql() {
  psql -XAqt -h "$work/pg" -U owner -d vesk "$@"
}
