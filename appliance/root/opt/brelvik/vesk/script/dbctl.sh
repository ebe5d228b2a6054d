#!/bin/bash
# Starts and stops the appliance's own database, which is bin/admindb below the install root.
#
# usage: dbctl.sh start|stop|restart|status
#
# exit codes: see service.sh    files: /run/vesk/admindb.pid, log/admindb.log
set -u
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh || exit 5
# shellcheck source=appliance/root/opt/brelvik/vesk/script/service.sh
. "$(dirname "$(readlink -f "$0")")/service.sh" || exit 5

service admindb "$@"
