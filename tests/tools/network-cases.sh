# appliance-test: the network, the services and the management server.
# shellcheck shell=bash disable=SC2154  # appliance-test reads it and has the names

network_state() {
  ip -brief address | grep -o '^[^ ]*\|[^ ]*[.:][^ ]*/[0-9]*' | grep -v ^fe80
  ip route | grep -v 'proto kernel' | sed 's/ *$//'
  ip -6 route show default | cut -d ' ' -f -5
  hostname
  grep nameserver /etc/resolv.conf
  grep IPADDR "$eth0"
}

case_network() {
  gives 0 $scripts/ifcfg6.sh eth0 2001:db8:0:0::10 64
  glcfg set network default_ipv6_gw 2001:db8::1
  glcfg set network ipv6_dns2 2001:db8::53
  gives 0 $cfgtool apply_network
  local state
  state=$(network_state)
  expect 'lo 127.0.0.1/8 ::1/128 eth0 192.0.2.10/24 2001:db8::10/64 eth1 198.51.100.10/24 default via 192.0.2.1 dev eth0 default via 2001:db8::1 dev eth0 vesk.example.com nameserver 192.0.2.53 nameserver 2001:db8::53 IPADDR=192.0.2.10' \
    "$(tr '\n' ' ' <<<"$state" | sed 's/ $//')"
  ip monitor >"$work/events" &
  local monitor=$!
  sleep 0.3
  gives 0 $cfgtool apply_network
  sleep 0.3
  kill $monitor
  expect '' "$(cat "$work/events")"
  # What fails late or is ended takes all of it back; after a kill, the next call does.
  ip route add 203.0.113.128/25 via 192.0.2.1
  state=$(network_state)
  gives 0 $scripts/ifcfg.sh eth1 10.9.9.9 255.0.0.0
  glcfg set data_port ip 192.0.2.99
  glcfg set network hostname other
  mkdir "$work/bin"
  # shellcheck disable=SC2016
  printf '#!/bin/sh\n[ $# = 0 ] || kill -$SIGNAL $PPID\nexec %s "$@"\n' "$(type -P hostname)" >"$work/bin/hostname"
  chmod +x "$work/bin/hostname"
  gives 7 env SIGNAL=TERM PATH="$work/bin:$PATH" $cfgtool apply_network
  expect "$state" "$(network_state)"
  { gives 137 env SIGNAL=KILL PATH="$work/bin:$PATH" bash -c '"$@"; echo killed >&2; exit 137' - $cfgtool apply_network; } 2>/dev/null
  [[ $state != "$(network_state)" ]] || fail 'the kill came too early'
  glcfg set network ipv4_dns1 none
  gives 6 $cfgtool apply_network
  expect "$state" "$(network_state)"
  glcfg set network ipv4_dns1 192.0.2.53
  glcfg set network default_ipv4_gw 203.0.113.1
  gives 7 $cfgtool apply_network
  expect "$state" "$(network_state)"
  glcfg set network default_ipv4_gw 300.1.1.1
  gives 6 $cfgtool apply_network
  expect "$state" "$(network_state)"
}

case_services() {
  local name
  for name in S99MANAGER S99ADMINUI dbctl.sh; do
    expect 3 "$($vesk/script/$name status || echo $?)"
    for action in start start status restart stop stop; do
      gives 0 $vesk/script/$name $action
      # Not to be ended before it listens to that.
      until [[ $action == stop || $(tail -n 1 "$VESK_SANDBOX_LOG") == *started ]]; do sleep 0.05; done
    done
  done
  expect "$(printf '%s started\n%s ended\n' {manager,manager,adminui,adminui,admindb,admindb}{,} | paste -sd ' ')" \
    "$(paste -sd ' ' "$VESK_SANDBOX_LOG")"
  gives 0 $cfgtool restart_vesk
  # A number that now belongs to another process is not ours.
  kill -KILL "$(cut -d ' ' -f 1 /run/vesk/manager.pid)"
  sed -i "s/^[0-9]*/$$/" /run/vesk/manager.pid
  expect 3 "$($vesk/script/S99MANAGER status || echo $?)"
  gives 0 $vesk/script/S99MANAGER stop
  rm $vesk/bin/manager
  gives 1 $cfgtool restart_vesk_noui
  gives 0 $vesk/script/is_euq_enable.sh
  glcfg set euq enabled yes
  expect 1 "$($vesk/script/is_euq_enable.sh || echo $?)"
  glcfg set euq enabled maybe
  gives 3 $vesk/script/is_euq_enable.sh
  # shellcheck disable=SC2016  # for the shell that it starts
  expect '0 1 2 x y 7' "$($vesk/bin/close_handle_sh 'for i in 0 1 2 5 8 77; do [ -e /proc/$$/fd/$i ] && echo $i; done; echo "x y"; exit 7' 5<"$0" 8<"$0" 77<"$0" | paste -sd ' ') $($vesk/bin/close_handle_sh 'exit 7' || echo $?)"
}

case_policy() {
  local server
  gives 1 $vesk/script/forceUpdate.sh all all
  gives 1 $vesk/script/forceUpdate.sh all '<x>' admin
  gives 3 $vesk/script/forceUpdate.sh all all admin
  for status in 200 500; do
    rm -f "$work/request"
    perl -MIO::Socket::INET -e '
      my $l = IO::Socket::INET->new(Listen => 1, LocalAddr => "127.0.0.1:8009", ReuseAddr => 1) or die $!;
      open my $up, ">", "$ARGV[0]/up"; my $c = $l->accept; my ($head, $body) = ("", "");
      while (<$c>) { $head .= $_; last if $_ eq "\r\n" }
      read $c, $body, $1 if $head =~ /content-length: (\d+)/i;
      open my $out, ">", "$ARGV[0]/request"; print $out $head . $body;
      print $c "HTTP/1.1 $ARGV[1] x\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"' "$work" $status &
    server=$!
    until [[ -e $work/up ]]; do sleep 0.05; done
    gives $((status == 200 ? 0 : 3)) $vesk/script/forceUpdate.sh spam scanner-2 admin@example.com
    wait $server
    rm "$work/up"
    grep -q '<policy>spam</policy><scope>scanner-2</scope><requester>admin@example.com</requester>' "$work/request" ||
      fail "$(cat "$work/request")"
  done
  glcfg set manager endpoint file:///etc/passwd
  gives 2 $vesk/script/forceUpdate.sh all all admin
}
