# A straightforward writer of the client restriction table: rules in, table out.
function put(key, action) { printf "%-20s\t%s\n", key, action }

function quad(value, parts,   text, i, octets) {
  octets[4] = value % 256; value = int(value / 256)
  octets[3] = value % 256; value = int(value / 256)
  octets[2] = value % 256
  octets[1] = int(value / 256)
  text = octets[1]
  for (i = 2; i <= parts; i++) text = text "." octets[i]
  return text
}

{
  rest = $0
  sub(/^[^ \t]*[ \t]+/, "", rest)
  slash = index($1, "/")
  if (slash == 0) { put($1, rest); next }
  length_ = substr($1, slash + 1) + 0
  if (length_ < 1 || length_ > 32) next
  split(substr($1, 1, slash - 1), part, ".")
  host = 32 - length_
  whole = int(host / 8)
  if (host % 8 == 0) {
    key = part[1]
    for (i = 2; i <= 4 - whole; i++) key = key "." part[i]
    put(key, rest)
    next
  }
  value = ((part[1] * 256 + part[2]) * 256 + part[3]) * 256 + part[4]
  value -= value % (2 ^ host)
  for (i = 0; i < 2 ^ (host % 8); i++) put(quad(value + i * 2 ^ (8 * whole), 4 - whole), rest)
}
