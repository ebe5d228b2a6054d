#!/bin/sh
# Stands before the system's own while packages are installed: the tests start servers of their own,
# so the packages' are neither started (invoke-rc.d, deb-systemd-invoke) nor enabled (update-rc.d,
# deb-systemd-helper).
tool=$(basename "$0")
real=/usr/bin/$tool
[ -x "$real" ] || real=/usr/sbin/$tool
for argument; do
  case ${argument%.service} in
    slapd | lighttpd | krb5-kdc | krb5-admin-server | smbd | nmbd | samba-ad-dc | postfix* | postgresql*)
      own=${argument%.service}
      ;;
  esac
done
[ -n "${own:-}" ] || exec "$real" "$@"
case "$tool $*" in
  *invoke*) exit 0 ;;
  update-rc.d*) exec "$real" "$own" defaults-disabled ;;
  *was-enabled*) exit 1 ;;
  *) exec "$real" "$@" ;;
esac
