#!/bin/sh
# Writes the IPv6 address of an interface into its file, in force after cfgtool.sh apply_network.
#
# usage: ifcfg6.sh DEVICE ADDRESS PREFIXLEN
#
# exit codes: 0 done  2 wrong call  3 no such interface  4 the file cannot be written
#             5 the file is being changed by another  6 an address or length that no interface can have
# files: /etc/sysconfig/network-scripts/ifcfg-DEVICE, its former content as .ifcfg-DEVICE.last
set -u
export LC_ALL=C
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/net.sh
. /opt/Brelvik/Stonebay/lib/net.sh

[ $# = 3 ] || die 2 'usage: ifcfg6.sh DEVICE ADDRESS PREFIXLEN'
interface "$1" || die 3 "no interface $1"
host_ipv6 "$2" || die 6 "not the IPv6 address of a host: $2"
case $3 in
  [1-9] | [1-9][0-9] | 1[01][0-9] | 12[0-8]) ;;
  *) die 6 "not a prefix length from 1 to 128: $3" ;;
esac
set_interface "$1" IPV6ADDR "$2/$3"
