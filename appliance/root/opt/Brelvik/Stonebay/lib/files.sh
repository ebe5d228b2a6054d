# shellcheck shell=sh
# Functions for the appliance's scripts, which read this file: files that change as a whole or not at
# all.

say() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
}

# die CODE TEXT...
die() {
  code=$1
  shift
  say "$@"
  exit "$code"
}

# lock FILE SECONDS BUSY FAILED: the lock FILE.lock until the script ends, since FILE itself is replaced.
# Ends the script with code BUSY if another holds it all the time, with FAILED if it cannot be made.
# Children that outlive the script must close descriptor 9.
lock() {
  # exec by itself would end the shell without a word.
  { command exec 9>>"$1.lock"; } 2>/dev/null || die "$4" "$1.lock cannot be made"
  flock -w "$2" 9 || die "$3" "$1 is being changed by another"
}

# same_owner FILE AS: FILE gets the owner that AS has. One that this namespace does not know cannot be given.
same_owner() {
  case $(stat -c %u:%g -- "$2") in
    "$(stat -c %u:%g -- "$1")" | "$(cat /proc/sys/kernel/overflowuid)":*) ;;
    *) chown --reference="$2" -- "$1" ;;
  esac
}

# replace FILE: standard input becomes its content, its mode and owner stay. A kill at any moment
# leaves the old file or the new one. To be called under a lock, so that FILE.new has one writer.
replace() (
  new=$1.new
  umask 077
  trap 'rm -f -- "$new"' EXIT
  { rm -f -- "$new" && cat >"$new"; } || exit 1
  if [ -e "$1" ]; then
    { chmod --reference="$1" -- "$new" && same_owner "$new" "$1"; } || exit 1
  else
    chmod 644 -- "$new" || exit 1
  fi
  sync -- "$new" && mv -fT -- "$new" "$1" && sync -- "$(dirname -- "$1")"
)

# one_line TEXT: nothing in it ends a line of a file.
one_line() {
  [ "$(printf %s. "$1" | tr -d '\n\r')" = "$1." ]
}

# with_key FILE KEY VALUE: prints FILE, lines of KEY=value, with KEY set. Its readers take the first
# line that holds KEY anywhere, so that is where it goes.
with_key() {
  # shellcheck disable=SC2016  # of awk
  key=$2 value=$3 awk '
    BEGIN { text = ENVIRON["key"] "=" ENVIRON["value"] }
    index($0, ENVIRON["key"]) && !done { print text; done = 1 }
    index($0, ENVIRON["key"] "=") != 1
    END { if (!done) print text }' "$1"
}

# set_keys FILE KEY VALUE [KEY VALUE]...: all of them at once; the former content stays as .NAME.last.
set_keys() {
  file=$1
  shift
  [ -f "$file" ] || die 3 "$file is not there"
  content=$(cat -- "$file") || die 3 "$file cannot be read"
  while [ $# -gt 0 ]; do
    content=$(printf '%s\n' "$content" | with_key - "$1" "$2") || die 4 "$file cannot be edited"
    shift 2
  done
  if [ "$content" = "$(cat -- "$file")" ]; then return; fi
  replace "${file%/*}/.${file##*/}.last" <"$file" || die 4 "$file cannot be written"
  printf '%s\n' "$content" | replace "$file" || die 4 "$file cannot be written"
}
