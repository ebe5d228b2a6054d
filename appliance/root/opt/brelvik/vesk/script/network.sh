# shellcheck shell=bash
# Part of cfgtool.sh: puts the network settings in force.
# files: /etc/conf/stb.conf, /etc/sysconfig/network, /etc/sysconfig/network-scripts/ifcfg-*;
#        /etc/hostname and /etc/resolv.conf; /run/vesk/network.before: what is to be brought back

readonly interface_files=/etc/sysconfig/network-scripts

# key FILE KEY
key() {
  sed -n "s/^$2=//p" "$1" | head -n 1
}

# Sets what is wanted: v6, host, gateway[4 and 6], servers, and addresses by interface. Nothing is
# changed before all of it is known to be possible.
read_wanted() {
  local file family
  host=
  declare -gA addresses=() gateway=()
  servers=()
  v6=$(key /etc/sysconfig/network NETWORKING_IPV6)
  get host network hostname
  [[ ${#host} -le 64 && $host =~ ^[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?(\.[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?)*$ ]] ||
    die 6 "not a host name: $host"
  for family in 4 6; do
    get "gateway[$family]" network "default_ipv${family}_gw" ''
    [[ -z ${gateway[$family]} ]] || "ipv$family" "${gateway[$family]}" ||
      die 6 "not a default route by IPv$family: ${gateway[$family]}"
    if [[ $family == 4 || $v6 == yes ]]; then read_servers "$family"; fi
  done
  if [[ $v6 != yes ]]; then gateway[6]=; fi
  read_data_port
  for file in "$interface_files"/ifcfg-*; do
    [[ $file == *.@(lock|new) || ! -f $file ]] || read_interface "$file" "${file##*/ifcfg-}"
  done
}

read_servers() {
  local i server
  for i in 1 2; do
    get server network "ipv$1_dns$i" ''
    if [[ -n $server ]]; then
      "ipv$1" "$server" || die 6 "not a name server by IPv$1: $server"
      servers+=("$server")
    fi
  done
}

# The data port's address is in two places, and stb.conf is the one that the wizard sets. The other
# follows once it is in force.
read_data_port() {
  local length
  data_mask=
  get data_nic data_port nic ''
  get data_ip data_port ip ''
  get data_mask data_port netmask ''
  if [[ -z $data_ip ]]; then data_nic=; fi
  [[ -n $data_nic ]] || return 0
  interface "$data_nic" || die 3 "no interface $data_nic"
  { length=$(mask_length "$data_mask") && host_ipv4 "$data_ip" "$length"; } ||
    die 6 "not the address of a data port: $data_ip, $data_mask"
  [[ -e $interface_files/ifcfg-$data_nic ]] || addresses[$data_nic]=$data_ip/$length
}

read_interface() {
  local ip mask length v6_address
  [[ $(key "$1" ONBOOT) == yes && $2 != lo ]] || return 0
  interfaces | grep -qxF -- "$2" || die 3 "$1 is of an interface that is not there"
  [[ $(key "$1" BOOTPROTO) == @(|static|none) ]] || die 3 "$1: BOOTPROTO is not static"
  ip=$(key "$1" IPADDR)
  mask=$(key "$1" NETMASK)
  if [[ $2 == "$data_nic" ]]; then ip=$data_ip mask=$data_mask; fi
  v6_address=$(key "$1" IPV6ADDR)
  addresses[$2]=
  if [[ -n $ip ]]; then
    { length=$(mask_length "$mask") && host_ipv4 "$ip" "$length"; } || die 6 "$1: no address: $ip, $mask"
    addresses[$2]=$ip/$length
  fi
  if [[ -n $v6_address && $v6 == yes ]]; then
    { [[ $v6_address =~ ^[^/]+/([1-9][0-9]?|1[01][0-9]|12[0-8])$ ]] && host_ipv6 "${v6_address%/*}"; } ||
      die 6 "$1: no IPv6 address with a prefix length: $v6_address"
    addresses[$2]+=" $v6_address"
  fi
}

# As the kernel writes it, if it has it already.
spelled() {
  local there
  there=$(ip -o addr show dev "$1" to "${2%/*}" | awk '{ print $4 }')
  if [[ ${there##*/} == "${2##*/}" ]]; then printf '%s\n' "$there"; else printf '%s\n' "$2"; fi
}

present() {
  ip -o addr show dev "$1" scope global | awk '{ print $4 }'
}

# set_addresses INTERFACE ADDRESS...: what is there already is not touched.
set_addresses() {
  local device=$1 address wanted=
  shift
  for address; do wanted+=$(spelled "$device" "$address")$'\n'; done
  for address in $(present "$device"); do
    # The first one of a network takes the others with it.
    grep -qxF -- "$address" <<<"$wanted" || ip addr del "$address" dev "$device" 2>/dev/null
  done
  ip link set "$device" up || return
  for address in $wanted; do
    present "$device" | grep -qxF -- "$address" || ip addr add "$address" dev "$device" || return
  done
}

# set_routes FAMILY LINES: the default routes, as ip spells them, or none.
set_routes() {
  local there line
  there=$(ip "-$1" route show default)
  [[ -n $2 && ($there == "$2" || $there == "$2 dev "*) && $there != *$'\n'* ]] && return
  while ip "-$1" route del default 2>/dev/null; do :; done
  while read -r line; do
    # shellcheck disable=SC2086  # words
    [[ -z $line ]] || ip "-$1" route add $line || return
  done <<<"$2"
}

# write FILE TEXT, if it is not so already
write() {
  [[ -f $1 && ! -L $1 && $(cat "$1") == "$2" ]] || printf '%s\n' "$2" | replace "$1"
}

readonly v6_switch=/proc/sys/net/ipv6/conf/all/disable_ipv6

put_in_force() {
  local device
  if [[ -e $v6_switch ]]; then
    if [[ $v6 == yes ]]; then echo 0; else echo 1; fi >"$v6_switch" || return
  fi
  for device in "${!addresses[@]}"; do
    # shellcheck disable=SC2086  # words
    set_addresses "$device" ${addresses[$device]} || return
  done
  set_routes 4 "${gateway[4]:+default via ${gateway[4]}}" || return
  set_routes 6 "${gateway[6]:+default via ${gateway[6]}}" || return
  hostname "$host" && write /etc/hostname "$host" || return
  write /etc/resolv.conf "$(
    echo '# Written by cfgtool.sh apply_network'
    ((${#servers[@]} == 0)) || printf 'nameserver %s\n' "${servers[@]}"
  )"
}

# save FOLDER, restore FOLDER. A change of address takes an interface's routes with it, so these are
# saved as well.
save() {
  local device family file
  cat "$v6_switch" >"$1/v6" 2>/dev/null
  hostname >"$1/host"
  for family in 4 6; do
    ip -o "-$family" route show | sed -E '/ proto kernel/d; s/ (linkdown|dead|pref [a-z]+)//g; s/\\//g' >"$1/routes$family" || return
  done
  for device in "${!addresses[@]}"; do
    present "$device" >"$1/on-$device"
    ip -o link show dev "$device" | grep -o '[<,]UP[,>]' >"$1/up-$device"
  done
  for file in /etc/hostname /etc/resolv.conf; do
    [[ ! -e $file ]] || cp -a "$file" "$1/" || return
  done
}

# Those by a gateway need the ones to it, and default routes any of them.
restore_routes() {
  local line i
  for i in 1 2; do
    while read -r line; do
      # shellcheck disable=SC2086  # words
      [[ $line == default* ]] || ip "-$1" route replace $line 2>/dev/null
    done <"$2"
  done
  set_routes "$1" "$(grep ^default "$2")"
}

restore() {
  local device family file failed=0
  if [[ -s $1/v6 ]]; then cat "$1/v6" >"$v6_switch" || failed=1; fi
  for device in "$1"/on-*; do
    device=${device##*/on-}
    # shellcheck disable=SC2046  # words
    set_addresses "$device" $(cat "$1/on-$device") || failed=1
    if [[ ! -s $1/up-$device ]]; then ip link set "$device" down || failed=1; fi
  done
  for family in 4 6; do
    restore_routes "$family" "$1/routes$family" || failed=1
  done
  hostname "$(cat "$1/host")" || failed=1
  for file in hostname resolv.conf; do
    if [[ -e $1/$file ]]; then cp -a --remove-destination "$1/$file" /etc/; else rm -f "/etc/$file"; fi || failed=1
  done
  return "$failed"
}

readonly before=/run/vesk/network.before

take_back() {
  trap '' INT TERM
  local failed=0
  restore "$before" || failed=1
  rm -rf "$before"
  return "$failed"
}

give_up() {
  take_back || die 7 'the network could not be put in force, nor all of what was before'
  die 7 'the network could not be put in force; what was before is in force again'
}

# Whoever asks for this over the network may be cut off by it, so a hang-up is no reason to stop. After
# a kill, the next call takes back first.
apply_network() {
  trap '' HUP PIPE
  only_one network
  if [[ -d $before ]]; then (take_back); fi
  read_wanted
  rm -rf "$before.new"
  { mkdir -m 700 "$before.new" && save "$before.new" && mv -T "$before.new" "$before"; } ||
    die 4 "the present state cannot be kept in $before"
  trap give_up INT TERM
  put_in_force || give_up
  trap '' INT TERM
  [[ -z $data_nic ]] || /etc/clish/scripts/ifcfg.sh "$data_nic" "$data_ip" "$data_mask" || give_up
  rm -rf "$before"
}
