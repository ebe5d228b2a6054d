# shellcheck shell=bash
# Functions for the service scripts, which read this file.

# What a later process with the same number does not have.
process() {
  sed -E 's/.*\) //' "/proc/$1/stat" 2>/dev/null | cut -d ' ' -f 20
}

# Sets pid to the running service.
running() {
  local since=
  pid=
  read -r pid since 2>/dev/null <"$pid_file" || return 1
  [[ -n $since && $(process "$pid") == "$since" ]]
}

start_service() {
  running && return 0
  [[ -x $program ]] || die 5 "$program is not installed"
  # An import that was cut short is finished before anybody reads its files.
  "$home/script/imp_exp.sh" -r || die 4 'an import of the configuration cannot be finished'
  # shellcheck disable=SC2016  # for the shell that becomes the service
  "$home/bin/close_handle_sh" 'exec setsid "$SERVICE"' </dev/null >>"$home/log/$name.log" 2>&1 &
  pid=$!
  printf '%s %s\n' "$pid" "$(process "$pid")" | replace "$pid_file" || {
    kill -KILL "$pid" # nobody could stop it later
    wait "$pid"
    die 4 "$pid_file cannot be written"
  } 2>/dev/null
  sleep 0.3
  running || die 1 "$name ended at once; see $home/log/$name.log"
}

stop_service() {
  running || return 0
  if ! ends TERM 200 && ! ends KILL 50; then die 1 "$name does not end"; fi
  rm -f "$pid_file"
}

# ends SIGNAL TENTHS
ends() {
  local i
  kill "-$1" "$pid" 2>/dev/null
  for ((i = 0; i < $2; i++)); do
    running || return 0
    sleep 0.1
  done
  return 1
}

# service NAME ACTION: bin/NAME below the install root. Exit codes: 0 done, or it runs  1 it did not
# start or end  2 wrong call  3 status: it does not run  4 a file cannot be written  5 it is not installed,
# or another start or stop is going on
service() {
  name=$1
  home=$(dirname "$(dirname "$(readlink -f "$0")")")
  program=$home/bin/$name
  pid_file=/run/vesk/$name.pid
  export SERVICE=$program
  { mkdir -p /run/vesk "$home/log" && touch "$home/log/$name.log"; } || die 4 "no place for $pid_file"
  if [[ ${2:-} != status ]]; then lock "$pid_file" 30 5 4; fi
  case ${2:-}/$# in
    start/2) start_service ;;
    stop/2) stop_service ;;
    restart/2) stop_service && start_service ;;
    status/2) running || exit 3 ;;
    *) die 2 "usage: ${0##*/} start|stop|restart|status" ;;
  esac
}
