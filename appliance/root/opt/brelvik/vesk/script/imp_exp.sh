#!/bin/bash
# Saves the appliance's configuration in one file, and brings it back.
#
# usage: imp_exp.sh -e FILE       exports into FILE, which gets mode 0600: it may hold secrets
#        imp_exp.sh -i FILE MODE  imports; MODE full is all, policy leaves the appliance's own settings
#                                 (network, mail server, identity) as they are
#        imp_exp.sh -u            undoes the last import
#        imp_exp.sh -r            finishes an import that was cut short, if there is one; the service
#                                 scripts do so before they start anything
#
# FILE is a compressed tar archive: MANIFEST (the form's name and number, the version, then a SHA-256
# sum a file), config/... and etc/... . An import verifies all of it before anything is touched. From
# the moment that it is verified and lies in data/import it happens as a whole, even if the machine
# fails in between: -r goes on where it ended. The sums find damage; they do not tell who wrote FILE.
#
# exit codes: 0 done  1 failed, see the message  2 wrong call  3 FILE cannot be read, or nothing to undo
#             4 FILE is damaged, or not one of these  5 a file cannot be written  6 another one runs
# files: below the install root config/ and data/{import,import.new,undo.MODE.tar.gz,imp_exp.lock};
#        those that system_files names; FILE.new, which becomes FILE
# shellcheck disable=SC2015  # die does not come back
set -u
export LC_ALL=C
umask 077
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh || exit 1

home=$(dirname "$(dirname "$(readlink -f "$0")")")
readonly home data=$home/data
readonly form='vesk-configuration 1'
readonly most_files=10000 most_bytes=268435456 most_packed=67108864

system_files() {
  (cd / && find etc/conf/stb.conf etc/postfix/main.cf etc/sysconfig/network -type f 2>/dev/null
    find etc/sysconfig/network-scripts -maxdepth 1 -type f -name 'ifcfg-*' ! -name '*.new' 2>/dev/null)
}

# Not temporary files; one that is no plain file is named as well, and refused later.
config_files() {
  (cd "$home" && find config ! -type d ! -name '*.lock' ! -name '*.new')
}

# good_names NAMES: each can be printed, split at blanks, and joined to a folder without leaving it.
good_names() {
  ! grep -qvE '^(config/[A-Za-z0-9._@+/-]+|etc/conf/stb\.conf|etc/postfix/main\.cf|etc/sysconfig/network|etc/sysconfig/network-scripts/ifcfg-[A-Za-z0-9_.-]+)$' <<<"$1" &&
    ! grep -qE '(^|/)\.{0,2}(/|$)|\.(new|lock)$' <<<"$1" && [[ -z $(sort <<<"$1" | uniq -d) ]]
}

# Where a file of an archive belongs.
place() {
  case $1 in
    config/*) printf '%s\n' "$home/$1" ;;
    *) printf '%s\n' "/$1" ;;
  esac
}

# pack FOLDER FILE: copies the present state to FOLDER, and from there into FILE.
pack() {
  local names name
  names=$(config_files && system_files) || die 1 "$home/config cannot be read"
  good_names "$names" || die 1 'a file in config has a name that cannot be exported'
  while IFS= read -r name; do
    [[ -f $(place "$name") && ! -L $(place "$name") ]] || die 1 "$name is not a plain file"
    mkdir -p "$1/${name%/*}" || die 5 "$1 cannot be written"
    cp --preserve=mode,timestamps -- "$(place "$name")" "$1/$name" || die 1 "$name cannot be copied"
  done <<<"$names"
  {
    printf '%s %s\n' "$form" "$(cat "$home/version")"
    (cd "$1" && xargs -d '\n' sha256sum -- <<<"$names")
  } >"$1/MANIFEST" || die 1 'the sums cannot be made'
  touch -d @0 "$1/MANIFEST" # the same state gives the same file
  printf 'MANIFEST\n%s\n' "$names" |
    tar -C "$1" --owner=0 --group=0 --numeric-owner -T - -czf "$2" && sync -- "$2" ||
    die 5 "$2 cannot be written"
}

# The temporary folder lies where the next call clears it away, should this one be killed.
export_to() {
  [[ ! -d $1 && -d $(dirname -- "$1") ]] || die 5 "$1 cannot be written"
  partial=$1.new
  trap 'rm -rf -- "$partial" "$data/export.new"' EXIT
  rm -f -- "$1.new" && mkdir "$data/export.new" || die 5 "$1 cannot be written"
  pack "$data/export.new" "$1.new"
  mv -fT -- "$1.new" "$1" && sync -- "$(dirname -- "$1")" || die 5 "$1 cannot be written"
}

refuse() {
  die 4 "the file is refused: $1; nothing was changed"
}

# verified ARCHIVE FOLDER: unpacks into the empty FOLDER, once the list of contents is a good one.
verified() {
  local list names
  # The list of an archive that unpacks to without end is cut, and refused for its length.
  list=$(tar --numeric-owner --quoting-style=escape -tvzf "$1" 2>/dev/null | head -n $((most_files + 1)))
  awk -v files=$most_files -v bytes=$most_bytes '
    NF != 6 || $1 !~ /^-[r-][w-][x-][r-][w-][x-][r-][w-][x-]$/ { bad = 1 }
    { sum += $3 }
    END { exit bad || NR < 2 || NR > files || sum > bytes }' <<<"$list" ||
    refuse 'it holds something else than plain files, or too much'
  names=$(awk '{ print $6 }' <<<"$list")
  [[ $(head -n 1 <<<"$names") == MANIFEST ]] || refuse 'it is none of ours'
  names=$(tail -n +2 <<<"$names")
  good_names "$names" || refuse 'it holds files that are no part of the configuration'
  tar -C "$2" --no-same-owner -pxzf "$1" 2>/dev/null || refuse 'it is damaged'
  [[ $(head -n 1 "$2/MANIFEST") == "$form "* ]] || refuse 'it is none of ours, or of a newer form'
  [[ $(tail -n +2 "$2/MANIFEST" | cut -c 67- | sort) == "$(sort <<<"$names")" ]] ||
    refuse 'its list of contents is wrong'
  (cd "$2" && tail -n +2 MANIFEST | sha256sum --strict --status -c -) || refuse 'a sum does not match'
  [[ -f $2/config/vesk.ini && -f $2/etc/conf/stb.conf ]] || refuse 'it is not complete'
}

# What was verified is what gets used: a copy is made first. The state before is kept for -u.
import_from() {
  local new=$data/import.new
  [[ -f $1 && -r $1 ]] || die 3 "$1 cannot be read"
  (($(stat -Lc %s -- "$1") <= most_packed)) || refuse 'it is too large'
  mkdir -p "$new/files" "$new/old" && cp -- "$1" "$new/archive" || die 5 "$data cannot be written"
  verified "$new/archive" "$new/files"
  if [[ $2 == policy ]]; then rm -r "$new/files/etc"; fi
  rm -r "$new/files/MANIFEST" "$new/archive"
  pack "$new/old" "$new/undo.tar.gz"
  rm -r "$new/old"
  printf '%s\n' "$2" >"$new/mode" && sync -f "$new" && mv -T "$new" "$data/import" ||
    die 5 "$data cannot be written"
  finish
}

# put NAME: from the verified ones to its place.
put() {
  local target
  target=$(place "$1")
  cmp -s "$data/import/files/$1" "$target" && return
  (umask 022 && mkdir -p "${target%/*}") &&
    cp --preserve=mode,timestamps -- "$data/import/files/$1" "$target.new" &&
    sync -- "$target.new" && mv -fT -- "$target.new" "$target"
}

# Not in the archive: away with it, and with the folders that it leaves empty.
remove_others() {
  local name
  while IFS= read -r name; do
    grep -qxF -- "$name" <<<"$1" || rm -f -- "$(place "$name")"
  done < <(
    config_files
    if [[ $2 == full ]]; then system_files; fi
  )
  find "$home/config" -mindepth 1 -type d -empty -delete
}

# Can be cut short and begun again at any point.
finish() {
  local name mode wanted
  mode=$(cat "$data/import/mode")
  wanted=$(cd "$data/import/files" && find config etc -type f 2>/dev/null)
  remove_others "$wanted" "$mode"
  while IFS= read -r name; do
    put "$name" || die 5 "$name cannot be written; imp_exp.sh -r goes on"
  done <<<"$wanted"
  if [[ -f $data/import/undo.tar.gz ]]; then
    rm -f "$data"/undo.*.tar.gz
    mv -f "$data/import/undo.tar.gz" "$data/undo.$mode.tar.gz" || die 5 "$data cannot be written"
  fi
  sync -f "$home" && sync -f /etc && rm -f "$data/import/mode" && rm -rf "$data/import"
}

undo() {
  local saved
  for saved in "$data"/undo.*.tar.gz; do
    [[ -f $saved ]] || die 3 'there is no import to undo'
    mode=${saved#"$data/undo."}
    import_from "$saved" "${mode%.tar.gz}"
  done
}

# Left over from a call that was killed.
recover() {
  rm -rf "$data/import.new" "$data/export.new" || die 5 "$data cannot be written"
  if [[ -e $data/import/mode ]]; then finish; else rm -rf "$data/import"; fi
}

usage() {
  die 2 'usage: imp_exp.sh -e FILE | -i FILE full|policy | -u | -r'
}

case ${1:-}/$#/${3:-} in
  -e/2/ | -i/3/full | -i/3/policy | -u/1/ | -r/1/) ;;
  *) usage ;;
esac
if (($# > 1)); then [[ -n $2 ]] || usage; fi
mkdir -p "$data" || die 5 "$data cannot be written"
lock "$data/imp_exp" 30 || die 6 'another export or import runs'
recover
case $1 in
  -e) export_to "$(realpath -ms -- "$2")" ;;
  -i) import_from "$(realpath -ms -- "$2")" "$3" ;;
  -u) undo ;;
esac
