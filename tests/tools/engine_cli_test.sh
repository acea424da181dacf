#!/usr/bin/env bash
# The dithering engine through the tool: palettes from hex lists, GIMP
# files and pictures keep their colours in the given order; matrices by
# name and from files; bad flags refused with the usage code 2.
set -u
nadiro=$1
work=$2
rm -rf "$work" && mkdir -p "$work"
failures=0
check() {  # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
# The first N colour-table entries of a BMP as RRGGBB words (the table
# follows the 14-byte file header and the 40-byte info header, B G R 0).
table() {  # table FILE N
  od -An -v -tx1 -j54 -N$(($2 * 4)) "$1" | tr -s ' \n' ' ' |
    awk '{ for (i = 1; i + 2 <= NF; i += 4) printf "%s%s%s ", $(i + 2), $(i + 1), $i }'
}
refused() {  # refused NAME ARGS...: exit 2, one line on stderr, no output
  local name=$1; shift
  "$nadiro" "$@" "$sample" "$work/refused.bmp" >/dev/null 2>"$work/err.txt"
  local got=$?
  check "$name: exit 2 (got $got)" test "$got" -eq 2
  check "$name: one line on stderr" test "$(wc -l <"$work/err.txt")" -eq 1
  check "$name: no output" test ! -e "$work/refused.bmp"
}

"$nadiro" demo --out "$work/demo" >/dev/null || { echo "FAIL demo"; exit 1; }
sample=$work/demo/sample.png

check "hex palette" "$nadiro" dither --kernel atkinson --palette ff0000,#00ff00,0000ff,000000 \
  --serpentine --strength 80 --linear "$sample" "$work/hex.bmp"
check "hex palette kept in order" test "$(table "$work/hex.bmp" 4)" = "ff0000 00ff00 0000ff 000000 "

printf 'GIMP Palette\nName: four\nColumns: 2\n# comment\n255 255 255\twhite\n 10  20  30 ink\n200 100   0 rust\n  0   0   0 black\n' \
  >"$work/four.gpl"
check "GIMP palette" "$nadiro" dither --kernel sierra-lite --palette "$work/four.gpl" "$sample" "$work/gpl.bmp"
check "GIMP palette kept in order" test "$(table "$work/gpl.bmp" 4)" = "ffffff 0a141e c86400 000000 "

check "a picture's own palette" "$nadiro" dither --kernel stucki --palette "$work/gpl.bmp" "$sample" "$work/own.bmp"
check "a picture's own palette kept" test "$(table "$work/own.bmp" 4)" = "ffffff 0a141e c86400 000000 "

printf '0 2\n3 1\n' >"$work/two.txt"
for matrix in bluenoise bayer16 clustered6 "$work/two.txt"; do
  check "ordered-dither --matrix $(basename "$matrix")" \
    "$nadiro" ordered-dither --matrix "$matrix" --palette rgb8 "$sample" "$work/ordered.bmp"
done
check "ordered-dither to black and white by default" \
  "$nadiro" ordered-dither --matrix bayer4 "$sample" "$work/bw.bmp"
check "black and white table" test "$(table "$work/bw.bmp" 2)" = "000000 ffffff "

refused "unknown kernel" dither --kernel floyd
refused "engine flags with --bits" dither --kernel fs --bits 4
refused "missing GIMP file" dither --palette "$work/none.gpl"
refused "bad hex colour" dither --palette ff0000,12345g
refused "strength above 100" dither --strength 101
refused "ragged matrix file" ordered-dither --matrix <(printf '0 1\n2\n')
refused "palette of too many colours" dither --palette median:300

echo "$failures failed"
[ "$failures" -eq 0 ]
