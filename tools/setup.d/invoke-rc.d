#!/bin/sh
# Stands before the system's own while packages are installed: the tests start servers of their own,
# so the packages' are neither started (invoke-rc.d, deb-systemd-invoke) nor enabled (update-rc.d,
# deb-systemd-helper).
tool=$(basename "$0")
service=
for argument; do
  case $argument in
    slapd | postfix* | postgresql*) service=${service:-$argument} ;;
    enable) verb=enable ;;
  esac
done
case ${service:+own}/$tool/${verb:-} in
  own/*invoke*) exit 0 ;;
  own/update-rc.d/*) exec /usr/sbin/update-rc.d "$service" defaults-disabled ;;
  own/deb-systemd-helper/enable) exit 0 ;;
  */deb-systemd-*) exec "/usr/bin/$tool" "$@" ;;
  *) exec "/usr/sbin/$tool" "$@" ;;
esac
