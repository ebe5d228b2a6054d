# shellcheck shell=bash
# Part of cfgtool.sh: the parent's configuration database, a PostgreSQL one as database.sql makes it.
# Settings are in section database of stb.conf; the password is only ever in the password file. A
# parent that section parent_socket names is reached by the Unix socket in the folder given there.
# files: /etc/conf/stb.conf; the password file (mode 0600)

parent='' connect='' query='' # set by parent_is

# parent_is PARENT ACCOUNT: how libpq is to reach it, for every question after.
parent_is() {
  [[ ${#1} -le 253 && $1 =~ ^[A-Za-z0-9:][A-Za-z0-9.:-]*$ ]] || die 6 "not a host name or address: $1"
  [[ $2 =~ ^[A-Za-z_][A-Za-z0-9_]{0,62}$ ]] || die 6 "not an account: $2"
  parent=$1
  get_seconds connect connect_timeout
  get_seconds query query_timeout
  unset "${!PG@}"
  get PGHOST parent_socket "$parent" "$parent"
  get PGPORT database port
  get PGDATABASE database name
  get PGSSLMODE database sslmode prefer
  get PGPASSFILE database password_file
  [[ -r $PGPASSFILE ]] || die 3 "$PGPASSFILE cannot be read"
  [[ $(stat -Lc %a -- "$PGPASSFILE") == ?00 ]] || die 3 "$PGPASSFILE can be read by others: chmod 600"
  export PGUSER=$2 PGCONNECT_TIMEOUT=$connect PGAPPNAME=vesk PGCLIENTENCODING=UTF8
  export PGOPTIONS="-c statement_timeout=${query}s -c lock_timeout=${query}s" "${!PG@}"
}

# get_seconds VARIABLE KEY
get_seconds() {
  get "$1" database "$2"
  [[ ${!1} =~ ^[1-9][0-9]{0,2}$ ]] || die 3 "$2 is not a number of seconds from 1 to 999: ${!1}"
}

# ask [-v NAME=VALUE]...: runs the SQL on standard input and prints what it answers.
ask() {
  local status=0
  timeout -k 2 "$((connect + query))" psql -XAtqw -v ON_ERROR_STOP=1 "$@" || status=$?
  case $status in
    0) ;;
    1 | 3) die 9 "$parent has no configuration database that we can use" ;;
    124 | 137) die 8 "the database of $parent does not answer in time" ;;
    *) die 8 "the database of $parent cannot be reached, or refuses us" ;;
  esac
}

parent_version() {
  local version
  version=$(ask <<<"SELECT value FROM tb_global_setting WHERE section = 'general' AND name = 'version'") || exit
  [[ $version =~ ^[0-9]+\.[0-9]+(\.[0-9]+)*$ ]] || die 9 "$parent does not tell its version"
  printf '%s\n' "$version"
}

# Can be repeated: the parent has one row for each appliance. The identity by which it knows us is made
# once and stays. The row comes last, so that the parent knows of no child that does not know of it.
register() {
  local ours theirs id name address server role
  only_one register
  { ours=$(child_version) && theirs=$(parent_version); } || exit
  [[ $(cut -d . -f 1,2 <<<"$ours") == "$(cut -d . -f 1,2 <<<"$theirs")" ]] ||
    die 10 "this appliance has version $ours and the parent $theirs"
  get id system guid "$(cat /proc/sys/kernel/random/uuid)"
  get name network hostname
  get address data_port ip ''
  get server database server
  get role system role alone
  [[ $parent != "$name" && $parent != "$address" ]] || die 6 'an appliance is not its own parent'
  local status=4
  glcfg set system guid "$id" && belong_to "$parent" child && {
    (tell_parent)
    status=$?
  }
  ((status == 0)) || {
    belong_to "$server" "$role" || say "database server and system role could not be set back to $server and $role"
    exit "$status"
  }
}

belong_to() {
  glcfg set database server "$1" && glcfg set system role "$2"
}

tell_parent() {
  ask -v id="$id" -v name="$name" -v address="$address" -v version="$ours" <<'SQL'
INSERT INTO tb_child (guid, hostname, address, version, registered)
  VALUES (:'id', :'name', :'address', :'version', now())
  ON CONFLICT (guid) DO UPDATE SET hostname = excluded.hostname, address = excluded.address,
    version = excluded.version, registered = excluded.registered;
SQL
}
