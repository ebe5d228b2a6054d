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

# lock FILE SECONDS: the lock FILE.lock until the script ends, since FILE itself is replaced. Children
# that outlive the script must close descriptor 9.
lock() {
  { exec 9>"$1.lock"; } 2>/dev/null || return 1
  flock -w "$2" 9
}

# replace FILE: standard input becomes its content, its mode and owner stay. A kill at any moment
# leaves the old file or the new one. To be called under a lock, so that FILE.new has one writer.
replace() (
  new=$1.new
  umask 077
  trap 'rm -f -- "$new"' EXIT
  { rm -f -- "$new" && cat >"$new"; } || exit 1
  if [ -e "$1" ]; then
    chmod --reference="$1" -- "$new" || exit 1
    # An owner that this namespace does not know cannot be given.
    case $(stat -c %u:%g -- "$1") in
      "$(stat -c %u:%g -- "$new")" | "$(cat /proc/sys/kernel/overflowuid)":*) ;;
      *) chown --reference="$1" -- "$new" || exit 1 ;;
    esac
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
