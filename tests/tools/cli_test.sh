#!/usr/bin/env bash
# End-to-end checks of the nadiro tool: demo, a real operation, and the
# refusal of damaged files (one line on stderr, non-zero exit, no output).
set -u
nadiro=$1
work=$2
here=$(dirname "$0")
python=/usr/bin/python3  # Debian's, with Pillow
rm -rf "$work" && mkdir -p "$work"
failures=0
check() {  # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}

check "--version" test "$("$nadiro" --version)" = "nadiro 13.10"
for cmd in $("$nadiro" --help | awk '/^  [a-z]/{print $1}'); do
  check "$cmd --help" "$nadiro" "$cmd" --help >/dev/null
done

check "demo runs" "$nadiro" demo --out "$work/demo" >/dev/null

sample=$work/demo/sample.png
check "dither stucki to 4 bits" "$nadiro" dither --method stucki --bits 4 "$sample" "$work/stucki.bmp"
check "ordered-dither on a 24-bit file" "$nadiro" ordered-dither --matrix 4 "$sample" "$work/mono.bmp"
check "result is a 1-bit BMP" test "$(od -An -tu2 -j28 -N2 "$work/mono.bmp" | tr -d ' ')" = 1

# Channels and convolution.
check "split rgb into BMPs" "$nadiro" split --model rgb "$sample" "$work/ch.bmp"
check "channels are 8-bit" test "$(od -An -tu2 -j28 -N2 "$work/ch-G.bmp" | tr -d ' ')" = 8
check "merge rgb" "$nadiro" merge --model rgb "$work/ch-R.bmp" "$work/ch-G.bmp" "$work/ch-B.bmp" "$work/back.bmp"
check "split cmyk writes four PNGs" "$nadiro" split --model cmyk "$sample" "$work/cmyk"
check "split hsv of a palette PNG" "$nadiro" split --model 6 "$work/demo/dither-fs-4.png" "$work/split-hsv" >/dev/null
check "merge cmyk from C, M, Y, K" "$nadiro" merge --model 4 "$work/cmyk-C.png" "$work/cmyk-M.png" "$work/cmyk-Y.png" "$work/cmyk-K.png" "$work/cmyk-back.png"
check "convolve with a built-in filter" "$nadiro" convolve --filter gaussian --size 5 "$sample" "$work/gauss.png"
check "convolve with a kernel" "$nadiro" convolve --kernel "0,-1,0,-1,5,-1,0,-1,0;1" --luma "$sample" "$work/sharp.png"
printf '\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x00\x00' >"$work/box.knl"
check "convolve with a kernel file" "$nadiro" convolve --kernel-file "$work/box.knl" "$sample" "$work/box.png"
head -c 10 "$work/box.knl" >"$work/short.knl"

printf 'hello, not a picture' >"$work/text.bmp"
head -c 300 "$sample" >"$work/truncated-png.png"
# A 16-bit header on otherwise valid bytes.
cp "$sample" "$work/depth16.bmp"
printf '\x10\x00' | dd of="$work/depth16.bmp" bs=1 seek=28 conv=notrunc status=none
# Batches: several inputs, outputs named after them, never over an input.
mkdir -p "$work/batch" "$work/in"
cp "$sample" "$work/in/a.png"; cp "$work/demo/sample-grey.png" "$work/in/b.png"
check "batch with --out-dir and -j 2" "$nadiro" ordered-dither -j 2 "$work/in/a.png" "$work/in/b.png" --out-dir "$work/batch"
check "batch wrote a.png and b.png" test -s "$work/batch/a.png" -a -s "$work/batch/b.png"
check "batch into the inputs' own folder is refused" bash -c "! '$nadiro' ordered-dither '$work/in/a.png' --out-dir '$work/in' 2>/dev/null"
check "the input survived" cmp -s "$sample" "$work/in/a.png"

# Colour models: one colour, whole pictures there and back, the gallery.
check "color RGB HSV 255 0 0" test "$("$nadiro" color RGB HSV 255 0 0)" = "0 255 255"
check "color CMYK RGB wraps" test "$("$nadiro" color CMYK RGB 200 0 0 100)" = "211 155 155"
check "convert to HSV, tagged" "$nadiro" convert --to HSV --tagged "$sample" "$work/hsv.bmp"
check "HSV result is tagged 14" test "$(od -An -tu4 -j30 -N4 "$work/hsv.bmp" | tr -d ' ')" = 14

# The faults a new user met on photographs, and other refusals (one line on
# stderr), one row each:
# name | exit code | stderr fragment | files that must exist | files that must not | command
P=$work/pics; mkdir -p "$P"; "$python" "$here/pictures.py" make "$P"
S=$sample; W=$work/faults; mkdir -p "$W"; cp "$S" "$W/a.png"; cp "$S" "$W/keep.png"
"$nadiro" gamma "$S" "$W/a.jpg" && "$nadiro" gamma "$S" "$W/b.jpg"
mkdir "$W/folder"; : >"$W/plain-file"; printf 'x' >"$W/-dash.png"; cp "$S" "$W/-dash.png"
while IFS='|' read -r name code fragment present absent command; do
  [ -z "$name" ] && continue
  eval "\"\$nadiro\" $command" >"$W/out.txt" 2>"$W/err.txt"
  got=$?
  check "$name: exit $code (got $got)" test "$got" -eq "$code"
  [ "$code" -ne 0 ] && check "$name: one line on stderr" test "$(wc -l <"$W/err.txt")" -eq 1
  [ -n "$fragment" ] && check "$name: says '$fragment'" grep -qF -- "$fragment" "$W/err.txt"
  for f in $present; do check "$name: wrote $f" test -s "$W/$f"; done
  for f in $absent; do check "$name: did not write $f" test ! -e "$W/$f"; done
done <<'TABLE'
default format holds a model|0||yuv/a.png yuv/b.png||convert --to YUV "$W/a.jpg" "$W/b.jpg" --out-dir "$W/yuv"
grey JPEG channels|0||lab-L.jpg lab-A.jpg lab-B.jpg||split --model lab "$W/a.jpg" "$W/lab.jpg"
split a batch|0||sp/a-H.jpg sp/b-V.jpg||split -m hsv "$W/a.jpg" "$W/b.jpg" -o "$W/sp"
merge a batch|0||mg/a.png mg/b.png||merge -m hsv "$W/sp/a-H.jpg" "$W/sp/a-S.jpg" "$W/sp/a-V.jpg" "$W/sp/b-H.jpg" "$W/sp/b-S.jpg" "$W/sp/b-V.jpg" -o "$W/mg" --format png
missing out-dir created|0||new/deeper/a.png||desaturate "$W/a.png" --out-dir "$W/new/deeper"
out-dir that is a file|1|is a file||plain-file/a.png|desaturate "$W/a.png" --out-dir "$W/plain-file"
gamma out of range, before reading|2|--red must be a whole number from 10 to 500||g.png|gamma --red 5 "$W/missing.png" "$W/g.png"
cmyk-levels out of range|2|--black must||c.png|cmyk-levels --black 101 "$W/a.png" "$W/c.png"
brightness-contrast out of range|2|--contrast must||bc.png|brightness-contrast --contrast -101 "$W/a.png" "$W/bc.png"
hue-saturation out of range|2|--hue must||hs.png|hue-saturation --hue 181 "$W/a.png" "$W/hs.png"
hue range with equal ends|2|--range takes||hr.png|hue-saturation --range 90:90 "$W/a.png" "$W/hr.png"
replace-color out of range|2|--saturation must||rc.png|replace-color --color 1,2,3 --saturation 300 "$W/a.png" "$W/rc.png"
quality out of range|2|--quality must||q.jpg|desaturate --quality 0 "$W/a.png" "$W/q.jpg"
demo into a plain file|1|is a file|||demo --out "$W/plain-file"
plain BMP from convert|0||hsv.bmp||convert --to HSV "$W/a.png" "$W/hsv.bmp"
model PNG read back without --from|0||cmy.png back.png||convert --to CMY "$W/a.png" "$W/cmy.png" && "$nadiro" convert --to RGB "$W/cmy.png" "$W/back.png"
output over its input refused|2|would replace the input|||desaturate "$W/keep.png" "$W/keep.png"
output named by --format over its input|2|would replace the input|||desaturate --format png "$W/keep.png" "$W/keep"
an earlier output replaced|0||again.png||desaturate "$W/a.png" "$W/again.png" && "$nadiro" desaturate "$W/a.png" "$W/again.png"
output over its input with --force|0||||desaturate --force "$W/a.png" "$W/a.png"
a folder as input|1|is a folder|||desaturate "$W/folder" "$W/f.png"
missing kernel file blamed|1|nope.knl: No such file||k.png|convolve --kernel-file "$W/nope.knl" "$W/a.png" "$W/k.png"
convert without --to|2|--to MODEL is required|||convert "$W/a.png" "$W/x.png"
wrong --from in words|1|holds CMY, not HSV||x.png|convert --tagged --to CMY "$W/a.png" "$W/t.bmp" && "$nadiro" convert --from HSV --to RGB "$W/t.bmp" "$W/x.png"
-- ends the options|0||dash-out.png||desaturate -- "$W/-dash.png" "$W/dash-out.png"
standard input and output|0||piped.png||desaturate --format png - - <"$W/a.jpg" >"$W/piped.png"
standard output needs a format|2|needs --format|||desaturate "$W/a.png" -
sharp to 8 bits|2|1 or 4 bits||r.bmp|dither --method sharp --bits 8 "$S" "$W/r.bmp"
1-bit result as JPEG|1|||r.jpg|ordered-dither "$S" "$W/r.jpg"
unknown kernel|2|||r.bmp|dither --kernel floyd "$S" "$W/r.bmp"
engine flags with --bits|2|||r.bmp|dither --kernel fs --bits 4 "$S" "$W/r.bmp"
missing GIMP file|2|||r.bmp|dither --palette "$W/none.gpl" "$S" "$W/r.bmp"
bad hex colour|2|||r.bmp|dither --palette ff0000,12345g "$S" "$W/r.bmp"
strength above 100|2|||r.bmp|dither --strength 101 "$S" "$W/r.bmp"
ragged matrix file|2|||r.bmp|ordered-dither --matrix <(printf '0 1\n2\n') "$S" "$W/r.bmp"
palette of too many colours|2|||r.bmp|dither --palette median:300 "$S" "$W/r.bmp"
unknown dither method|2||||dither --method floyd "$S" "$work/out-floyd.bmp"
dither to 2 bits|2||||dither --bits 2 "$S" "$work/out-2.bmp"
merge cmyk with three channels|2||||merge --model cmyk "$work/ch-R.bmp" "$work/ch-G.bmp" "$work/ch-B.bmp" "$work/x.png"
short kernel file|1||||convolve --kernel-file "$work/short.knl" "$S" "$work/out-short.png"
kernel weight 128|1||||convolve --kernel "128,0,0,0,0,0,0,0,0" "$S" "$work/out-128.png"
kernel of the wrong length|2||||convolve --kernel "1,2,3" "$S" "$work/out-len.png"
gaussian 7x7|2||||convolve --filter gaussian --size 7 "$S" "$work/out-g7.png"
batch with a bad file among good ones|1||||ordered-dither "$work/in/a.png" "$work/text.bmp" --out-dir "$work/batch"
matrix 7|2||||ordered-dither --matrix 7 "$S" "$work/out-m7.bmp"
unknown option|2||||ordered-dither --bogus 1 "$S" "$work/out-x.bmp"
unknown command|2||||frobnicate
color with a missing component|2||||color RGB LAB 1 2
color with a byte out of range|2||||color RGB LAB 1 2 256
model result as JPEG, before any work|2||||convert --to HSV "$work/missing.png" "$work/hsv.jpg"
unknown model|2||||convert --to PANTONE "$S" "$work/x.bmp"
text input|1|text.bmp||out-text.bmp|ordered-dither "$work/text.bmp" "$W/out-text.bmp"
depth16 input|1|depth16.bmp||out-depth16.bmp|ordered-dither "$work/depth16.bmp" "$W/out-depth16.bmp"
missing input|1|missing.bmp||out-missing.bmp|ordered-dither "$work/missing.bmp" "$W/out-missing.bmp"
truncated-png input|1|truncated-png.png||out-truncated-png.bmp|ordered-dither "$work/truncated-png.png" "$W/out-truncated-png.bmp"
TABLE
check "the refused input is unchanged" cmp -s "$S" "$W/keep.png"
"$nadiro" cmyk-levels --black 60 "$S" "$W/wrap.png" 2>"$W/err.txt"
check "cmyk-levels says when pixels wrap" grep -q "wrapped round" "$W/err.txt"
"$nadiro" cmyk-levels --black -60 "$S" "$W/nowrap.png" 2>"$W/err.txt"
check "cmyk-levels quiet when nothing wraps" test ! -s "$W/err.txt"
check "demo on the user's picture" "$nadiro" demo --in "$P/rotated.jpg" --out "$W/own-demo" >/dev/null
check "demo on the user's picture: upright sample" test "$("$python" "$here/pictures.py" info "$W/own-demo/sample.png" | cut -d' ' -f1-2)" = "32 64"
check "demo captions are commands" grep -q '<code>nadiro split --model hsv sample.png model-hsv.png</code>' "$W/own-demo/index.html"
check "plain BMP opens in Pillow" "$python" "$here/pictures.py" info "$W/hsv.bmp" >/dev/null
check "CMY there and back is exact" "$python" "$here/pictures.py" same "$S" "$W/back.png"
check "grey JPEG is grey" test "$("$python" "$here/pictures.py" info "$W/lab-L.jpg" | cut -d' ' -f3)" = L
check "overview columns apart" grep -q '^  brightness-contrast  change' <("$nadiro" --help)
check "help CMD is CMD --help" cmp -s <("$nadiro" help dither) <("$nadiro" dither --help)

# Other formats read as Pillow reads them.
for f in lossless.webp lossy.webp rgb.tif lzw.tif grey.tif palette.gif; do
  "$nadiro" convert --to RGB "$P/$f" "$P/$f.png"
  check "$f decodes as Pillow decodes it" "$python" "$here/pictures.py" same "$P/$f" "$P/$f.png"
done
check "WebP output" "$nadiro" desaturate --quality 80 "$S" "$P/out.webp"
check "WebP output opens in Pillow" "$python" "$here/pictures.py" info "$P/out.webp" >/dev/null
"$nadiro" convert --to RGB -b 255,0,0 "$P/grey-alpha.png" "$P/on-red.png" 2>/dev/null
check "grey + alpha onto red is red" test "$("$python" -c "from PIL import Image; print(Image.open('$P/on-red.png').convert('RGB').getpixel((3,3)))")" = "(255, 0, 0)"
for bits in 1 4 8; do  # the default method keeps a dark photograph's tone, and the depth
  "$nadiro" dither --bits $bits "$P/dark.png" "$P/dark-$bits.bmp"
  t=$("$python" "$here/pictures.py" tone "$P/dark.png" "$P/dark-$bits.bmp")
  check "default dither to $bits bits keeps the mean grey (off by $t)" test "$t" -le 6
  check "default dither to $bits bits writes $bits bits a pixel" \
    test "$(od -An -tu2 -j28 -N2 "$P/dark-$bits.bmp" | tr -d ' ')" = $bits
done
"$nadiro" convert --to RGB --compression 9 "$S" "$P/c9.png"
"$nadiro" convert --to RGB --compression 0 "$S" "$P/c0.png"
check "--compression changes size, not pixels" \
  test "$(stat -c %s "$P/c9.png")" -lt "$(stat -c %s "$P/c0.png")" -a -n "$("$python" "$here/pictures.py" same "$P/c9.png" "$P/c0.png" && echo y)"

# Ctrl-C while encoding (the slowest PNG level): prompt, nothing half-written.
for i in $(seq 10 99); do ln -sf "$P/big.bmp" "$P/big$i.bmp"; done
for form in "convolve --filter mean --size 7 --compression 9 $P/big.bmp $P/cancelled.png" \
            "split -j 1 --compression 9 $(echo "$P"/big??.bmp) -o $P/cancelled"; do
  # shellcheck disable=SC2086
  "$nadiro" $form 2>"$W/err.txt" >/dev/null & pid=$!
  # A second in, or once the batch has written its first picture.
  sleep 1
  for _ in $(seq 50); do [ -n "$(ls "$P/cancelled" 2>/dev/null)" ] || [ "${form%% *}" != split ] && break; sleep 0.1; done
  start=$(date +%s%N); kill -INT "$pid"; wait "$pid"; code=$?
  ms=$(( ($(date +%s%N) - start) / 1000000 ))
  check "Ctrl-C (${form%% *}): exit 130 (got $code)" test "$code" -eq 130
  check "Ctrl-C (${form%% *}): stopped within 2 s (${ms} ms)" test "$ms" -lt 2000
  check "Ctrl-C (${form%% *}): says so" grep -q '^nadiro: cancelled' "$W/err.txt"
done
check "Ctrl-C: no output of the single picture" test ! -e "$P/cancelled.png"
for i in $(seq 10 99); do
  n=$(find "$P/cancelled" -name "big$i-*" | wc -l)
  check "Ctrl-C: picture $i's channels all or none ($n)" test "$n" -eq 0 -o "$n" -eq 3
done

# The dithering engine's flags: palettes from hex lists, GIMP files and
# pictures keep their colours in the given order; matrices by name and file.
# The first N colour-table entries of a BMP as RRGGBB words (the table
# follows the 14-byte file header and the 40-byte info header, B G R 0).
table() {  # table FILE N
  od -An -v -tx1 -j54 -N$(($2 * 4)) "$1" | tr -s ' \n' ' ' |
    awk '{ for (i = 1; i + 2 <= NF; i += 4) printf "%s%s%s ", $(i + 2), $(i + 1), $i }'
}

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

check "no temporary files left behind" test -z "$(find "$work" -name '*.tmp-*')"

echo "$failures failed"
exit $((failures != 0))
