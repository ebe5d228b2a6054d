# appliance-test: export and import.
# shellcheck shell=bash disable=SC2154  # appliance-test reads it and has the names

backup_state() {
  $impexp -r
  (cd / && find opt/brelvik/vesk/config etc/conf/stb.conf etc/sysconfig -type f ! -name '*.lock' -print0 |
    sort -z | xargs -0 sha256sum)
}
backup_reset() {
  $impexp -r
  rm -rf $vesk/config /etc/sysconfig
  cp -a "$work/then/config" $vesk/config
  cp -a "$work/then/sysconfig" /etc/sysconfig
  cp "$work/then/stb.conf" "$conf"
}
export_state() { sha256sum "$work/kept.tgz"; }
export_reset() { cp "$work/good.tgz" "$work/kept.tgz"; }

# forge NAME [TAR ARGUMENT...]: an archive of the folder, which then is a good one's again. But for
# "sum", its sums are right.
forge() {
  local names
  names=$(cd "$work/forged" && find . ! -type d ! -name MANIFEST -printf '%P\n' | sort)
  (
    cd "$work/forged"
    if [[ $1 != sum ]]; then
      { head -n 1 MANIFEST && xargs -d '\n' sha256sum <<<"$names"; } >../sums && mv ../sums MANIFEST
    fi
    # shellcheck disable=SC2086  # words
    tar -czf "$work/$1.tgz" "${@:2}" MANIFEST $names
  )
  rm -rf "$work/forged"
  mkdir "$work/forged"
  tar -C "$work/forged" -xzf "$work/good.tgz"
}

damaged_archives() {
  local size bad
  size=$(stat -c %s "$work/good.tgz")
  head -c $((size / 2)) "$work/good.tgz" >"$work/cut.tgz"
  cat "$work/good.tgz" <(echo more) >"$work/longer.tgz"
  { head -c $((size / 2)) "$work/good.tgz"; printf '\xff\x00\xff'; tail -c +$((size / 2 + 4)) "$work/good.tgz"; } >"$work/flipped.tgz"
  cp "$conf" "$work/text.tgz"
  mkdir "$work/forged"
  tar -C "$work/forged" -xzf "$work/good.tgz"
  echo x >>"$work/forged/config/vesk.ini" && forge sum
  sed -i 's/^vesk-configuration 1/vesk-configuration 2/' "$work/forged/MANIFEST" && forge newer
  ln -s /etc/passwd "$work/forged/config/link" && forge link
  ln "$work/forged/config/vesk.ini" "$work/forged/config/hard" && forge hard
  echo x >"$work/forged/config/out" && forge escape -P --transform=s,^config/out,config/../../../out,
  echo x >"$work/forged/etc/shadow" && forge foreign
  echo x >"$work/forged/config/a.new" && forge temporary
  rm "$work/forged/etc/conf/stb.conf" && forge incomplete
  chmod u+s "$work/forged/config/vesk.ini" && forge setuid
  (cd "$work/forged" && tar -czf "$work/twice.tgz" MANIFEST config config)
  rm -rf "$work/forged"
  for bad in cut longer flipped text sum newer link hard escape foreign temporary incomplete setuid twice; do
    gives 4 $impexp -i "$work/$bad.tgz" full
  done
}

# An import whose lists are above the size of a pipe, begun, and no room left on the disk.
no_room() {
  local state
  mkdir -p $vesk/config/many $vesk/data/import/files
  (cd $vesk/config/many && seq -f "$(printf %0200d 0)%g" 400 | xargs touch)
  cp -a $vesk/config $vesk/data/import/files/
  (cd $vesk/data/import/files && find config -type f) >$vesk/data/import/names
  echo policy >$vesk/data/import/mode
  state=$(find $vesk/config -type f | wc -l)
  gives 5 bash -c "trap '' XFSZ; ulimit -f 8; $impexp -r"
  mv $vesk/data/import/names "$work/names"
  gives 5 $impexp -r
  expect "$state" "$(find $vesk/config -type f | wc -l)"
  mv "$work/names" $vesk/data/import/
  gives 0 $impexp -r
  rm -r $vesk/config/many
  gives 5 bash -c "trap '' XFSZ; ulimit -f 1; $impexp -i '$work/good.tgz' full"
  expect imp_exp.lock "$(ls $vesk/data)"
}

# Neither a setter nor an import fails for the other.
setter_beside_imports() {
  local i setter setters=()
  for setter in 1 2; do
    for i in {1..15}; do glcfg set network hostname "n$setter$i" || fail 'a setter failed'; done &
    setters+=($!)
  done
  while kill -0 "${setters[1]}" 2>/dev/null; do gives 0 $impexp -i "$work/good.tgz" full; done
  wait "${setters[0]}" && wait "${setters[1]}"
}

case_backup() {
  local before
  mkdir "$work/good.tgz.new"
  gives 0 $impexp -e "$work/good.tgz"
  expect 600 "$(stat -c %a "$work/good.tgz")"
  expect "good.tgz good.tgz.new" "$(cd "$work" && echo good*)"
  gives 5 $impexp -e "$work/none/x.tgz"
  no_room
  before=$(backup_state)
  gives 0 $scripts/ipv6.sh disable
  mkdir $vesk/config/sub
  echo secret >$vesk/config/sub/key
  chmod 600 $vesk/config/sub/key
  glcfg set network hostname other
  mkdir "$work/then"
  cp -a $vesk/config /etc/sysconfig "$conf" "$work/then/"
  local now
  now=$(backup_state)
  damaged_archives
  gives 2 $impexp -i "$work/good.tgz" some
  gives 3 $impexp -i "$work/none" full
  expect "$now" "$(backup_state)"
  cut_short backup_reset backup_state $impexp -i "$work/good.tgz" full
  expect "$before" "$(backup_state | grep -v '/\.')"
  gives 0 $impexp -u
  expect "$now" "$(backup_state)"
  expect 600 "$(stat -c %a $vesk/config/sub/key)"
  gives 0 $impexp -i "$work/good.tgz" policy
  expect "other no" "$(glcfg val network hostname) $([[ -e $vesk/config/sub ]] || echo no)"
  export_reset
  cut_short export_reset export_state $impexp -e "$work/kept.tgz"
  setter_beside_imports
}
