#!/bin/sh
# Writes the IPv4 address of an interface into its file, in force after cfgtool.sh apply_network.
#
# usage: ifcfg.sh DEVICE ADDRESS MASK
#
# exit codes: 0 done  2 wrong call  3 no such interface  4 a file cannot be written
#             5 the file is being changed by another  6 an address or mask that no interface can have
# files: /etc/sysconfig/network-scripts/ifcfg-DEVICE, its former content as .ifcfg-DEVICE.last;
#        /etc/conf/stb.conf, which has the address of the data port as well
set -u
export LC_ALL=C
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/net.sh
. /opt/Brelvik/Stonebay/lib/net.sh

glcfg() {
  /opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf "$@"
}

[ $# = 3 ] || die 2 'usage: ifcfg.sh DEVICE ADDRESS MASK'
interface "$1" || die 3 "no interface $1"
length=$(mask_length "$3") || die 6 "not a net mask: $3"
host_ipv4 "$2" "$length" || die 6 "not the address of a host: $2/$length"
set_interface "$1" IPADDR "$2" NETMASK "$3"
if [ "$1" = "$(glcfg val data_port nic)" ]; then
  { glcfg set data_port ip "$2" && glcfg set data_port netmask "$3"; } || exit 4
fi
