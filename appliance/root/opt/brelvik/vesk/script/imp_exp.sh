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
# files: below the install root config/ and data/{import,import.new,export.new,undo.MODE.tar.gz,imp_exp.lock};
#        those that system_files names, with the locks of their tools; NAME.import.new, which becomes
#        NAME; FILE.XXXXXX, which becomes FILE
# shellcheck disable=SC2015  # die does not come back
set -u -o pipefail
export LC_ALL=C
umask 077
# shellcheck source=appliance/root/opt/Brelvik/Stonebay/lib/files.sh
. /opt/Brelvik/Stonebay/lib/files.sh || exit 1

home=$(dirname "$(dirname "$(readlink -f "$0")")")
readonly home data=$home/data
readonly form='vesk-configuration 1'
readonly most_files=10000 most_list=4194304 most_bytes=268435456 most_packed=67108864

# Lists are kept in files of data: one that is too long for a variable, or finds no room, must not look
# like a short one.
system_files() {
  local file
  for file in /etc/conf/stb.conf /etc/postfix/main.cf /etc/sysconfig/network{,-scripts/ifcfg-*}; do
    [[ ! -f $file || -L $file || $file == *.@(lock|new) ]] || printf '%s\n' "${file#/}" || return
  done
}

# Not temporary files; one that is no plain file is named as well, and refused later.
config_files() {
  (cd "$home" && find config ! -type d ! -name '*.lock' ! -name '*.new')
}

# good_names LIST: each can be printed, split at blanks, and joined to a folder without leaving it.
good_names() {
  awk '
    !/^(config\/[A-Za-z0-9._@+\/-]+|etc\/conf\/stb\.conf|etc\/postfix\/main\.cf|etc\/sysconfig\/network|etc\/sysconfig\/network-scripts\/ifcfg-[A-Za-z0-9_.-]+)$/ ||
      /(^|\/)\.?\.?(\/|$)|\.(new|lock)$/ || seen[$0]++ { bad = 1 }
    END { exit bad || !NR }' "$1"
}

# Where a file of an archive belongs.
place() {
  case $1 in
    config/*) printf '%s\n' "$home/$1" ;;
    *) printf '%s\n' "/$1" ;;
  esac
}

full() {
  die 5 "$data cannot be written; nothing was changed"
}

# pack FOLDER FILE: copies the present state to the new FOLDER, and from there into FILE.
pack() {
  local names=$1.names name
  mkdir -p "$1" || full
  [[ -d $home/config && -r $home/config ]] || die 1 "$home/config cannot be read"
  { config_files && system_files; } >"$names" || full
  good_names "$names" || die 1 'a file in config has a name that cannot be exported'
  while IFS= read -r name; do
    [[ -f $(place "$name") && ! -L $(place "$name") ]] || die 1 "$name is not a plain file"
    mkdir -p "$1/${name%/*}" &&
      cp --preserve=mode,timestamps -- "$(place "$name")" "$1/$name" || die 5 "$name cannot be copied to $data"
  done <"$names" || full
  {
    printf '%s %s\n' "$form" "$(cat "$home/version")" &&
      (cd "$1" && xargs -d '\n' sha256sum -- <"$names")
  } >"$1/MANIFEST" || full
  touch -d @0 "$1/MANIFEST" # the same state gives the same file
  sed '1i MANIFEST' "$names" |
    tar -C "$1" --owner=0 --group=0 --numeric-owner -T - -czf "$2" && sync -- "$2" || full
}

# The temporary name is nobody's, and none that another could guess and take.
export_to() {
  partial=
  [[ ! -d $1 && -d $(dirname -- "$1") ]] || die 5 "$1 cannot be written"
  pack "$data/export.new/files" "$data/export.new/archive"
  trap 'rm -rf -- "$data/export.new"; [[ -z $partial ]] || rm -f -- "$partial"' EXIT
  partial=$(mktemp -- "$1.XXXXXX") && cat "$data/export.new/archive" >"$partial" && sync -- "$partial" &&
    mv -fT -- "$partial" "$1" && partial='' && sync -- "$(dirname -- "$1")" || die 5 "$1 cannot be written"
}

refuse() {
  die 4 "the file is refused: $1; nothing was changed"
}

# What an archive unpacks to, but no more and no longer than a good one.
unpacked() {
  timeout 60 gzip -dc -- "$1" 2>/dev/null | head -c $((most_bytes + 67108864))
}

# listed ARCHIVE LIST: what is cut is not whole, and so refused.
listed() {
  local status
  unpacked "$1" | timeout 60 tar --numeric-owner --quoting-style=escape -tvf - 2>/dev/null | head -c $most_list >"$2"
  status=("${PIPESTATUS[@]}")
  ((status[2] == 0)) || full
  ((status[0] == 0 && status[1] == 0)) || refuse 'it is damaged, or holds too much'
  awk -v files=$most_files -v bytes=$most_bytes '
    NF != 6 || $1 !~ /^-[r-][w-][x-][r-][w-][x-][r-][w-][x-]$/ { bad = 1 }
    { sum += $3 }
    END { exit bad || NR < 2 || NR > files || sum > bytes }' "$2" ||
    refuse 'it holds something else than plain files, or too much'
}

# verified ARCHIVE FOLDER: unpacks into the empty FOLDER, once the list of contents, which is then in
# FOLDER.names, is a good one.
verified() {
  local names=$2.names
  listed "$1" "$2.list"
  [[ $(awk 'NR == 1 { print $6 }' "$2.list") == MANIFEST ]] || refuse 'it is none of ours'
  awk 'NR > 1 { print $6 }' "$2.list" | sort >"$names" || full
  good_names "$names" || refuse 'it holds files that are no part of the configuration'
  unpacked "$1" | tar -C "$2" --no-same-owner -pxf - 2>/dev/null || full
  [[ $(head -n 1 "$2/MANIFEST") == "$form "* ]] || refuse 'it is none of ours, or of a newer form'
  tail -n +2 "$2/MANIFEST" | cut -c 67- | sort | cmp -s - "$names" || refuse 'its list of contents is wrong'
  (cd "$2" && tail -n +2 MANIFEST | sha256sum --strict --status -c -) || refuse 'a sum does not match'
  [[ -f $2/config/vesk.ini && -f $2/etc/conf/stb.conf ]] || refuse 'it is not complete'
}

# What was verified is what gets used: a copy is made first. The state before is kept for -u.
import_from() {
  local new=$data/import.new
  [[ -f $1 && -r $1 ]] || die 3 "$1 cannot be read"
  (($(stat -Lc %s -- "$1") <= most_packed)) || refuse 'it is too large'
  mkdir -p "$new/files" && cp -- "$1" "$new/archive" || full
  verified "$new/archive" "$new/files"
  if [[ $2 == policy ]]; then
    rm -r "$new/files/etc" && sed -i '/^etc\//d' "$new/files.names" || full
  fi
  rm -r "$new/files/MANIFEST" "$new/archive" && mv "$new/files.names" "$new/names" || full
  pack "$new/old" "$new/undo.tar.gz"
  rm -r "$new/old" && printf '%s\n' "$2" >"$new/mode" && sync -f "$new" && mv -T "$new" "$data/import" || full
  finish
}

unfinished() {
  die 5 "$1; imp_exp.sh -r goes on"
}

# alone NAME COMMAND...: runs it while none of the tools changes the file NAME.
alone() {
  local target
  target=$(place "$1")
  (umask 022 && mkdir -p "${target%/*}") || return
  case $1 in
    */ifcfg-*) (lock "${target%/*}/.interfaces" 10 5 5 && "${@:2}") ;;
    etc/conf/* | etc/sysconfig/*) (lock "$target" 10 5 5 && "${@:2}") ;;
    *) "${@:2}" ;; # no tool changes these
  esac
}

# put FILE TARGET: from the verified ones to its place.
put() (
  cmp -s "$1" "$2" && return
  trap 'rm -f -- "$2.import.new"' EXIT
  cp --preserve=mode,timestamps -- "$1" "$2.import.new" &&
    { [[ ! -e $2 ]] || same_owner "$2.import.new" "$2"; } &&
    sync -- "$2.import.new" && mv -fT -- "$2.import.new" "$2"
)

# remove_others MODE: what is not in the archive goes, and the folders that it leaves empty. A list
# that is not whole would make that everything.
remove_others() {
  local name now=$data/import
  [[ -r $now/names ]] && grep -qxF config/vesk.ini "$now/names" || die 5 "$now/names cannot be read"
  { config_files && if [[ $1 == full ]]; then system_files; fi; } >"$now/present" || unfinished "$now cannot be written"
  grep -vxF -f "$now/names" "$now/present" >"$now/others"
  (($? < 2)) || unfinished "$now cannot be written"
  while IFS= read -r name; do
    alone "$name" rm -f -- "$(place "$name")" || unfinished "$name cannot be removed"
  done <"$now/others" || unfinished "$now/others cannot be read"
  find "$home/config" -mindepth 1 -type d -empty -delete || unfinished "an empty folder of $home/config cannot be removed"
}

# Can be cut short and begun again at any point.
finish() {
  local name mode
  mode=$(cat "$data/import/mode") || unfinished "$data/import/mode cannot be read"
  remove_others "$mode"
  while IFS= read -r name; do
    alone "$name" put "$data/import/files/$name" "$(place "$name")" || unfinished "$name cannot be written"
  done <"$data/import/names" || unfinished "$data/import/names cannot be read"
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
lock "$data/imp_exp" 30 6 5
recover
trap 'rm -rf -- "$data/import.new" "$data/export.new"' EXIT
case $1 in
  -e) export_to "$(realpath -ms -- "$2")" ;;
  -i) import_from "$(realpath -ms -- "$2")" "$3" ;;
  -u) undo ;;
esac
