#!/bin/sh
# May the appliance's own database be stopped? Not while the end-user quarantine keeps its mails there.
#
# usage: is_euq_enable.sh
#
# exit codes: 0 nobody needs the database  1 the quarantine does  2 wrong call
#             3 nobody knows: the setting is missing or wrong
# files: /etc/conf/stb.conf, section euq, key enabled: yes or no
set -u
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh

[ $# = 0 ] || die 2 'usage: is_euq_enable.sh'
case $(/opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val euq enabled) in
  no) ;;
  yes) exit 1 ;;
  *) die 3 'section euq of /etc/conf/stb.conf: enabled is neither yes nor no' ;;
esac
