#!/bin/sh
# Stands before the system's own while packages are installed: the tests start directory servers of
# their own, so the package's is neither started (invoke-rc.d) nor enabled (update-rc.d).
tool=$(basename "$0")
for argument; do
  [ "$argument" = slapd ] && own=1
done
case ${own:-0}/$tool in
  1/invoke-rc.d) exit 0 ;;
  1/update-rc.d) exec /usr/sbin/update-rc.d slapd defaults-disabled ;;
  *) exec "/usr/sbin/$tool" "$@" ;;
esac
