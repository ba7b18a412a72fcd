#!/bin/sh
# Plants length-bound numbers in a scratch tree and checks that check_vl_literals.py reports
# each one, accepts a reviewed line, and reports an allow-list entry that matches nothing.
set -u
python=$1 check=$2 dir=$3
rm -rf "$dir" && mkdir -p "$dir/sve/core"
printf '%s\n' 'for (int i = 0; i < 80; i++) p[i] = 0;' 'V r[5];' '#pragma GCC unroll 10' \
  'x = y / 5;' 'int ok = SVE_VL_BYTES;' > "$dir/sve/core/planted.h"
: > "$dir/allowed"
out=$("$python" "$check" "$dir" "$dir/allowed") && { echo "planted numbers not found"; exit 1; }
for line in 1 2 3 4; do
  echo "$out" | grep -q "planted.h:$line:" || { echo "line $line not reported: $out"; exit 1; }
done
echo "$out" | grep -q "planted.h:5:" && { echo "a derived length reported: $out"; exit 1; }
printf '%s\n' 'sve/core/planted.h: i < 80' 'sve/core/planted.h: V r[5]' 'sve/core/planted.h: unroll 10' \
  'sve/core/planted.h: y / 5' > "$dir/allowed"
"$python" "$check" "$dir" "$dir/allowed" || { echo "reviewed lines still reported"; exit 1; }
echo 'sve/core/gone.h: 80' >> "$dir/allowed"
out=$("$python" "$check" "$dir" "$dir/allowed") && { echo "stale entry not reported"; exit 1; }
echo "$out" | grep -q "matches no line" || { echo "stale entry not named: $out"; exit 1; }
echo "check_vl_literals: all planted cases found"
