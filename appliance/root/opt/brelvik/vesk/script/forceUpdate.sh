#!/bin/bash
# Asks the manager to hand the policy out now, by a SOAP request.
#
# usage: forceUpdate.sh POLICY SCOPE REQUESTER    each of 1 to 64 letters, digits and . _ : @ + -
#   POLICY     kind or number of the policy, all for every one
#   SCOPE      the scanner that is to get it, all for every one
#   REQUESTER  the account that asks, for the manager's log
#
# exit codes: 0 sent  1 wrong parameter  2 the request cannot be made  3 it cannot be sent, or the
#             manager refused it
# files: /etc/conf/stb.conf, section manager: endpoint (http or https), timeout in seconds
set -u
export LC_ALL=C
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh || exit 2

setting() {
  /opt/Brelvik/Stonebay/bin/glcfg /etc/conf/stb.conf val manager "$1"
}

(($# == 3)) || die 1 'usage: forceUpdate.sh POLICY SCOPE REQUESTER'
for text; do
  [[ $text =~ ^[A-Za-z0-9._:@+-]{1,64}$ ]] || die 1 "wrong parameter: $text"
done
endpoint=$(setting endpoint) || die 2 'no endpoint of the manager is set'
seconds=$(setting timeout) || die 2 'no time limit for the manager is set'
# No account in it: it would show in the list of processes.
[[ $endpoint =~ ^https?://[^[:space:]@]+$ ]] || die 2 "not the address of a manager: $endpoint"
[[ $seconds =~ ^[1-9][0-9]{0,2}$ ]] || die 2 "not a time limit from 1 to 999 seconds: $seconds"
command -v curl >/dev/null || die 2 'curl is not installed'

# The texts hold nothing that XML would take for its own.
printf '%s' '<?xml version="1.0" encoding="UTF-8"?>' \
  '<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>' \
  '<updatePolicyNow xmlns="urn:brelvik:vesk:policy">' \
  "<policy>$1</policy><scope>$2</scope><requester>$3</requester>" \
  '</updatePolicyNow></soap:Body></soap:Envelope>' |
  curl --disable --silent --show-error --fail --noproxy '*' --proto =http,https \
    --connect-timeout 5 --max-time "$seconds" --output /dev/null \
    --header 'Content-Type: text/xml; charset=utf-8' \
    --header 'SOAPAction: "urn:brelvik:vesk:policy#updatePolicyNow"' \
    --data-binary @- -- "$endpoint" || die 3 "the manager at $endpoint was not reached or refused"
