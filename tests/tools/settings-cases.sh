# appliance-test: settings, interfaces and zones.
# shellcheck shell=bash disable=SC2154  # appliance-test reads it and has the names

case_settings() {
  local value i
  cp "$conf" "$work/held"
  flock "$work/held.lock" sleep 11 &
  (/opt/Brelvik/Stonebay/bin/glcfg "$work/held" set network hostname x || echo "status $?") >"$work/held.said" 2>&1 &
  # shellcheck disable=SC2016,SC1003  # as they are
  for value in plain 'two words' ' lead' $'tab\t' '"quoted"' '"' '""' '' '$(id)`id`\n\\' '#no' '[x]' a=b 'é%s' "it's" 1e1; do
    gives 0 glcfg set network hostname "$value"
    expect "$value|" "$(glcfg val network hostname)|"
  done
  gives 6 glcfg set network hostname $'two\nlines'
  gives 6 glcfg set network $'host\rname' x
  gives 6 glcfg set '' hostname x
  gives 1 glcfg val network host
  gives 1 glcfg val system hostname
  gives 2 glcfg val network
  gives 3 /opt/Brelvik/Stonebay/bin/glcfg "$conf.not" val network hostname
  glcfg set network hostname vesk.example.com
  glcfg set network fresh 1
  glcfg set other key 1
  expect $'> fresh = 1\n> \n> [other]\n> key = 1' "$(diff "appliance/root$conf" "$conf" | grep '^[<>]')"
  local pids=()
  for ((i = 0; i < 12; i++)); do
    glcfg set many "key$i" "$i" &
    pids+=($!)
  done
  wait "${pids[@]}"
  expect 12 "$(grep -c '^key[0-9]* = [0-9]*$' "$conf" | awk '{ print $1 - 1 }')"
  rm "$conf.lock" && mkdir "$conf.lock"
  gives 4 glcfg set network hostname x
  rmdir "$conf.lock"
  reset_settings
  cut_short reset_settings 'cat /etc/conf/stb.conf' /opt/Brelvik/Stonebay/bin/glcfg "$conf" set network hostname new
  wait
  grep -q 'status 5' "$work/held.said" || fail 'the lock did not hold' "$(cat "$work/held.said")"
}
reset_settings() { cp "appliance/root$conf" "$conf"; }

case_interfaces() {
  local row
  expect 'eth0 eth1' "$($scripts/ifenum.sh netdev)"
  while IFS='|' read -r row; do
    # shellcheck disable=SC2086  # words
    gives $row
  done <<TABLE
0 $scripts/ifcfg.sh eth0 10.1.2.3 255.255.0.0
6 $scripts/ifcfg.sh eth0 10.1.2.256 255.255.0.0
6 $scripts/ifcfg.sh eth0 10.1.02.3 255.255.0.0
6 $scripts/ifcfg.sh eth0 10.1.255.255 255.255.0.0
6 $scripts/ifcfg.sh eth0 224.0.0.1 255.0.0.0
6 $scripts/ifcfg.sh eth0 10.1.2.3 255.0.255.0
6 $scripts/ifcfg.sh eth0 10.1.2.3 16
3 $scripts/ifcfg.sh ../eth0 10.1.2.3 255.0.0.0
3 $scripts/ifcfg.sh eth9 10.1.2.3 255.0.0.0
3 $scripts/ifcfg.sh lo 10.1.2.3 255.0.0.0
2 $scripts/ifcfg.sh eth0 10.1.2.3
0 $scripts/ifcfg6.sh eth0 2001:db8::1.2.3.4 128
0 $scripts/ifcfg6.sh eth0 2001:db8::10 64
6 $scripts/ifcfg6.sh eth0 2001::db8::10 64
6 $scripts/ifcfg6.sh eth0 2001:db8::12345 64
6 $scripts/ifcfg6.sh eth0 1:2:3:4:5:6:7:8:9 64
6 $scripts/ifcfg6.sh eth0 fe80::1%eth0 64
6 $scripts/ifcfg6.sh eth0 ::1 64
6 $scripts/ifcfg6.sh eth0 ff02::1 64
6 $scripts/ifcfg6.sh eth0 2001:db8::10 129
0 $scripts/ipv6.sh disable
2 $scripts/ipv6.sh off
TABLE
  # As the console reads them: the first line that holds the key.
  sed -i '1i # IPADDR=9.9.9.9' "$eth0"
  gives 0 $scripts/ifcfg.sh eth0 10.1.2.4 255.255.0.0
  for row in IPADDR=10.1.2.4 NETMASK=255.255.0.0 IPV6ADDR=2001:db8::10/64; do
    expect "$row" "$(grep "${row%=*}" "$eth0" | head -n 1)"
  done
  grep -q '^IPADDR=10.1.2.3$' "${eth0/ifcfg/.ifcfg}.last" || fail 'no copy of the last good one'
  expect 10.1.2.4 "$(glcfg val data_port ip)"
  expect no "$(cut -d= -f2 <(grep NETWORKING_IPV6 /etc/sysconfig/network))"
}

case_zones() {
  local continent country
  for continent in $(/etc/tzselect continent list); do
    for country in $(/etc/tzselect country "$continent" list); do
      /etc/tzselect country "$continent" "$country" list | sed "s|^|$continent $country |"
    done
  done >"$work/all"
  expect "$(awk '!/^#/ { print $3 }' /usr/share/zoneinfo/zone1970.tab | sort)" \
    "$(tr ' ' / <"$work/all" | cut -d / -f 1,3- | sort -u)"
  expect "$(awk '!/^#/ { n += split($1, code, ",") } END { print n }' /usr/share/zoneinfo/zone1970.tab)" \
    "$(sort -u "$work/all" | wc -l)"
  if grep -v '^[A-Za-z0-9_+./ -]*$' "$work/all"; then fail 'a shell would not leave these names alone'; fi
  # shellcheck disable=SC2046  # without quotes, as the console does
  gives 0 /etc/tzselect apply $(grep Buenos "$work/all")
  expect 'America Argentina Argentina/Buenos_Aires -0300 America/Argentina/Buenos_Aires' \
    "$(glcfg val system continent) $(glcfg val system country) $(glcfg val system city) $(TZ='' && unset TZ && date +%z) $(cat /etc/timezone)"
  before=$(cat "$conf" /etc/timezone; readlink /etc/localtime)
  gives 6 /etc/tzselect apply Europe France Berlin
  gives 6 /etc/tzselect apply Europe Germany 'Berlin;id'
  gives 2 /etc/tzselect apply Europe Germany New York
  expect "$before" "$(cat "$conf" /etc/timezone; readlink /etc/localtime)"
}
