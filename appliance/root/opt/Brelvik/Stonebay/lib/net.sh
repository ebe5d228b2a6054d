# shellcheck shell=sh
# Functions for the appliance's scripts, which read this file: network addresses and interfaces.

# ipv4 TEXT: four numbers up to 255, without leading zeros.
ipv4() {
  printf '%s\n' "$1" | awk -F. '
    NR > 1 || NF != 4 { bad = 1 }
    { for (i = 1; i <= NF; i++) if ($i !~ /^(0|[1-9][0-9]?[0-9]?)$/ || $i > 255) bad = 1 }
    END { exit bad }'
}

# mask_length MASK: prints the prefix length, if MASK has one.
mask_length() {
  ipv4 "$1" && printf '%s\n' "$1" | awk -F. '
    {
      for (i = 1; i <= 4; i++)
        for (bit = 128; bit >= 1; bit /= 2)
          if (int($i / bit) % 2) { if (zero) exit 1; n++ } else zero = 1
      if (n == 0) exit 1
      print n
    }'
}

# host_ipv4 ADDRESS LENGTH: an address that an interface can have, not one of its network as a whole.
host_ipv4() {
  ipv4 "$1" && printf '%s\n' "$1" | length="$2" awk -F. '
    {
      if ($1 == 0 || $1 == 127 || $1 >= 224) exit 1
      size = 2 ^ (32 - ENVIRON["length"])
      host = ((($1 * 256 + $2) * 256 + $3) * 256 + $4) % size
      exit size > 2 && (host == 0 || host == size - 1)
    }'
}

# ipv6 TEXT: without a zone or a prefix length.
ipv6() {
  case $1 in
    *.*) ipv4 "${1##*:}" && set -- "${1%:*}:0:0" ;;
  esac
  printf '%s\n' "$1" | awk '
    function groups(text,   part, n, i) {
      if (text == "") return 0
      n = split(text, part, ":")
      for (i = 1; i <= n; i++) if (part[i] !~ /^[0-9A-Fa-f]+$/ || length(part[i]) > 4) return 99
      return n
    }
    {
      gap = index($0, "::")
      n = gap ? groups(substr($0, 1, gap - 1)) + groups(substr($0, gap + 2)) : groups($0)
      if (NR > 1 || (gap ? n > 7 : n != 8)) bad = 1
    }
    END { exit bad }'
}

# host_ipv6 ADDRESS: one that an interface can have.
host_ipv6() {
  ipv6 "$1" && case $1 in
    [Ff][Ff]??:*) false ;;
    *) [ -n "$(printf %s "$1" | tr -d 0:)" ] && [ "$1" != ::1 ] ;;
  esac
}

interfaces() {
  ip -o link show | sed -E 's/^[0-9]+: ([^:@]+).*/\1/' | grep -vx lo
}

# interface NAME: has a name that is safe in a path, and is there or has a file.
interface() {
  case $1 in
    '' | lo | [!A-Za-z0-9]* | *[!A-Za-z0-9_.-]* | ????????????????*) return 1 ;;
  esac
  [ -f "/etc/sysconfig/network-scripts/ifcfg-$1" ] || interfaces | grep -qxF -- "$1"
}

# set_interface NAME KEY VALUE [KEY VALUE]...: in its file, which is made if there is none.
set_interface() {
  file=/etc/sysconfig/network-scripts/ifcfg-$1
  lock "${file%/*}/.interfaces" 10 5 4
  if [ ! -e "$file" ]; then
    printf 'DEVICE=%s\nONBOOT=yes\nBOOTPROTO=static\n' "$1" | replace "$file" ||
      die 4 "$file cannot be written"
  fi
  shift
  set_keys "$file" "$@"
}
