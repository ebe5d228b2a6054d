# shellcheck shell=bash
# Part of cfgtool.sh: puts the network settings in force.
# files: /etc/conf/stb.conf, /etc/sysconfig/network, /etc/sysconfig/network-scripts/ifcfg-*;
#        /etc/hostname and /etc/resolv.conf

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

# The data port's address is in two places, and stb.conf is the one that the wizard sets.
read_data_port() {
  local nic ip mask
  get nic data_port nic ''
  get ip data_port ip ''
  get mask data_port netmask ''
  [[ -n $nic && -n $ip ]] || return 0
  /etc/clish/scripts/ifcfg.sh "$nic" "$ip" "$mask" || exit
}

read_interface() {
  local ip mask length v6_address
  [[ $(key "$1" ONBOOT) == yes && $2 != lo ]] || return 0
  interfaces | grep -qxF -- "$2" || die 3 "$1 is of an interface that is not there"
  [[ $(key "$1" BOOTPROTO) == @(|static|none) ]] || die 3 "$1: BOOTPROTO is not static"
  ip=$(key "$1" IPADDR)
  mask=$(key "$1" NETMASK)
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

# save FOLDER, restore FOLDER
save() {
  local device family
  cat "$v6_switch" >"$1/v6" 2>/dev/null
  hostname >"$1/host"
  for family in 4 6; do
    ip "-$family" route show default | sed -E 's/ (linkdown|dead|pref [a-z]+)//g' >"$1/route$family"
  done
  for device in "${!addresses[@]}"; do
    present "$device" >"$1/on-$device"
    ip -o link show dev "$device" | grep -o '[<,]UP[,>]' >"$1/up-$device"
  done
  cp -a /etc/hostname /etc/resolv.conf "$1/" 2>/dev/null
}

restore() {
  local device family file
  if [[ -s $1/v6 ]]; then cat "$1/v6" >"$v6_switch"; fi
  for device in "${!addresses[@]}"; do
    # shellcheck disable=SC2046  # words
    set_addresses "$device" $(cat "$1/on-$device")
    if [[ ! -s $1/up-$device ]]; then ip link set "$device" down; fi
  done
  for family in 4 6; do
    set_routes "$family" "$(cat "$1/route$family")"
  done
  hostname "$(cat "$1/host")"
  for file in hostname resolv.conf; do
    if [[ -e $1/$file ]]; then cp -a --remove-destination "$1/$file" /etc/; else rm -f "/etc/$file"; fi
  done
}

apply_network() {
  local before
  lock /run/lock/vesk-network 30 || die 5 'the network is being set by another'
  read_wanted
  before=$(mktemp -d) || die 4 'there is no place to keep the present state'
  save "$before"
  if ! put_in_force; then
    restore "$before"
    rm -rf "$before"
    die 7 'the network could not be put in force; what was before is in force again'
  fi
  rm -rf "$before"
}
