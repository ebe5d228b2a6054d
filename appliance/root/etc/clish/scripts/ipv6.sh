#!/bin/sh
# Switches IPv6 on or off, in force after cfgtool.sh apply_network.
#
# usage: ipv6.sh enable|disable
#
# exit codes: 0 done  2 wrong call  3 no network file  4 it cannot be written
#             5 it is being changed by another
# files: /etc/sysconfig/network, its former content as .network.last
set -u
export LC_ALL=C
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh

case $* in
  enable) wanted=yes ;;
  disable) wanted=no ;;
  *) die 2 'usage: ipv6.sh enable|disable' ;;
esac
network=/etc/sysconfig/network
lock "$network" 10 5 4
set_keys "$network" NETWORKING_IPV6 "$wanted"
