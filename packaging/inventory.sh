#!/usr/bin/env bash
# inventory.sh INSTALLATION [TYPE...]: collects every type of this machine
# into inventory/, tells progress on standard error and ends with a table.
set -uo pipefail

tree=$(cd "$1" && pwd) || exit 2
shift
out=$PWD/inventory
mkdir -p "$out"
log=$tree/var/log/ledgora-agent/collect.log

names=([1]=system [2]=status [3]=processes [4]=users [5]=ports [6]=jobs [7]=software
  [8]=web-database [9]=web-database [10]=web-database [11]=web-database [12]=web-database
  [14]=ip-list [15]=connections [19]=services [20]=environment [21]=kernel-modules
  [22]=java-archives [23]=packages [24]=npm [25]=python [1001]=versions)
types=("${!names[@]}")
[ $# -gt 0 ] && types=("$@")

# The records of a document: the objects of its list, the addresses of an
# address list, 1 for a document that is one record, 0 for {}.
records() {
  local start
  start=$(head -c 12 "$1")
  case "$start" in
    '{}') echo 0 ;;
    '{"list":['*)
      # Without strings only the structure is left; a record is an object at
      # the third level.
      sed 's/\\.//g; s/"[^"]*"//g' "$1" | tr -cd '{}[]' | fold -w 1 |
        awk '/[{[]/ { if (++depth == 3) ++count } /[]}]/ { --depth } END { print count + 0 }' ;;
    '{"ip_list":"'*) tr -cd ';' <"$1" | wc -c | awk '{ print $1 + 1 }' ;;
    *) echo 1 ;;
  esac
}

[ "$(id -u)" = 0 ] || echo "not root: what only root may read stays empty" >&2
TIMEFORMAT='%R %U %S'
rows=() failed=0
for type in "${types[@]}"; do
  name=${names[$type]:-type}
  file=$out/$(printf '%02d' "$type")-$name.json
  printf '%4d %-15s ' "$type" "$name" >&2
  rm -f "$file"
  times=$({ time "$tree/bin/ledgora_collect" "type=$type" "path=$file" >"$out/.length" 2>"$out/.errors"; } 2>&1)
  status=$?
  length=$(cat "$out/.length")
  cpu=$(awk '{printf "%.2f", $2 + $3}' <<<"$times")
  seconds=${times%% *}
  if [ -n "$length" ] && [ -s "$file" ]; then
    count=$(records "$file")
    echo "done in $seconds s" >&2
  elif [ "$status" = 0 ] && [ -z "$length" ] && [ "$type" -ge 8 ] && [ "$type" -le 12 ]; then
    count=- length='no document'
    echo "no document (see $log)" >&2
  else
    count=- length='FAILED' failed=1
    echo "failed (see $log)" >&2
    cat "$out/.errors" >&2
  fi
  rows+=("$(printf '%4d  %-15s %8s %13s %8s %8s' "$type" "$name" "$count" "$length" "$cpu" "$seconds")")
done
rm -f "$out/.length" "$out/.errors"

printf '\n%4s  %-15s %8s %13s %8s %8s\n' type name records bytes 'CPU s' seconds
printf '%s\n' "${rows[@]}"
echo
echo "documents: $out" >&2
exit "$failed"
