#!/bin/sh
# Names the machine's network interfaces.
#
# usage: ifenum.sh netdev    prints their names on one line, without the loopback
#
# exit codes: 0 done  2 wrong call  3 the interfaces cannot be read
set -u
export LC_ALL=C
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/net.sh
. /opt/Brelvik/Stonebay/lib/net.sh

[ "$*" = netdev ] || die 2 'usage: ifenum.sh netdev'
ip link show >/dev/null || die 3 'the interfaces cannot be read'
interfaces | paste -sd ' ' -
