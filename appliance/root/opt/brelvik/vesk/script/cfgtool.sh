#!/bin/bash
# The steps of the set-up wizard that are more than one setting.
#
# usage: cfgtool.sh getchildver       prints the version of this appliance
#        cfgtool.sh getdb             prints the server of its configuration database
#        cfgtool.sh apply_network     puts stb.conf and the interface files in force
#        cfgtool.sh chkdb PARENT ACCOUNT postgreSQL         can the parent's database be asked?
#        cfgtool.sh getparentver PARENT ACCOUNT postgreSQL  prints the parent's version
#        cfgtool.sh reg PARENT ACCOUNT postgreSQL           registers this appliance with the parent
#        cfgtool.sh restart_vesk      restarts the manager and the console
#        cfgtool.sh restart_vesk_noui restarts the manager
#
# exit codes: 0 done  1 a service did not restart  2 wrong call  3 a setting or file is missing or wrong
#             4 a file cannot be written  5 another one runs  6 an address or name that cannot be
#             7 the network could not be put in force; what was before is in force again, unless a message says what is not
#             8 the parent's database does not answer or refuses us  9 it is no configuration database
#             10 the parent's version does not fit
# files: /etc/conf/stb.conf; /run/vesk/{network,register}.lock; see network.sh and parent.sh for the others
set -u
export LC_ALL=C
home=$(dirname "$(dirname "$(readlink -f "$0")")")
readonly home
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh || exit 3
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/net.sh
. /opt/Brelvik/Stonebay/lib/net.sh || exit 3
# shellcheck source=appliance/root/opt/brelvik/vesk/script/network.sh
. "$home/script/network.sh" || exit 3
# shellcheck source=appliance/root/opt/brelvik/vesk/script/parent.sh
. "$home/script/parent.sh" || exit 3

glcfg() {
  /opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf "$@"
}

# get VARIABLE SECTION KEY [FALLBACK]: without a fallback it must be there, if only with an empty value.
get() {
  local got status=0
  got=$(glcfg val "$2" "$3" 2>/dev/null) || status=$?
  case $status/$# in
    0/*) printf -v "$1" %s "$got" ;;
    1/4) printf -v "$1" %s "$4" ;;
    1/*) die 3 "section $2 of /etc/conf/stb.conf has no $3" ;;
    *) die 3 "/etc/conf/stb.conf cannot be read" ;;
  esac
}

# only_one NAME: of all calls at a time. The folder is ours alone: nobody can put a link in it.
only_one() {
  (umask 022 && mkdir -p /run/vesk) || die 4 '/run/vesk cannot be made'
  lock "/run/vesk/$1" 30 5 4
}

show_database() {
  local server
  get server database server
  printf '%s\n' "$server"
}

child_version() {
  head -n 1 "$home/version" 2>/dev/null || die 3 "$home/version cannot be read"
}

restart() {
  local service failed=0
  for service; do
    "$home/script/$service" restart || failed=1
  done
  return "$failed"
}

usage() {
  die 2 'usage: cfgtool.sh getchildver|getdb|apply_network|restart_vesk|restart_vesk_noui |
       cfgtool.sh chkdb|getparentver|reg PARENT ACCOUNT postgreSQL'
}

case $#/${1:-}/${4:-} in
  1/getchildver/) child_version ;;
  1/getdb/) show_database ;;
  1/apply_network/) apply_network ;;
  1/restart_vesk/) restart S99MANAGER S99ADMINUI ;;
  1/restart_vesk_noui/) restart S99MANAGER ;;
  4/chkdb/postgreSQL) parent_is "$2" "$3" && parent_version >/dev/null ;;
  4/getparentver/postgreSQL) parent_is "$2" "$3" && parent_version ;;
  4/reg/postgreSQL) parent_is "$2" "$3" && register ;;
  *) usage ;;
esac
