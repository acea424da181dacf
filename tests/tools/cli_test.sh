#!/usr/bin/env bash
# End-to-end checks of the nadiro tool: demo, a real operation, and the
# refusal of damaged files (one line on stderr, non-zero exit, no output).
set -u
nadiro=$1
work=$2
rm -rf "$work" && mkdir -p "$work"
failures=0
check() {  # check DESCRIPTION COMMAND...
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
expect_refusal() {  # expect_refusal NAME EXPECTED_EXIT ARGS...
  local name=$1 code=$2; shift 2
  "$nadiro" "$@" >"$work/out.txt" 2>"$work/err.txt"
  local got=$?
  check "$name: exit $code (got $got)" test "$got" -eq "$code"
  check "$name: one line on stderr" test "$(wc -l <"$work/err.txt")" -eq 1
}

check "--version" test "$("$nadiro" --version)" = "Version 13.10"
check "--help lists ordered-dither" grep -q ordered-dither <("$nadiro" --help)
for cmd in $("$nadiro" --help | awk '/^  [a-z]/{print $1}'); do
  check "$cmd --help" "$nadiro" "$cmd" --help >/dev/null
done

check "demo runs" "$nadiro" demo --out "$work/demo" >/dev/null
check "demo wrote seven ordered-dither results" \
  test "$(ls "$work"/demo/ordered-dither-*.png | wc -l)" -eq 7
check "demo wrote index.html" grep -q 'ordered-dither-6.png' "$work/demo/index.html"

check "demo wrote every dither method at every depth" \
  test "$(ls "$work"/demo/dither-*.png | wc -l)" -eq 28

sample=$work/demo/sample.png
check "dither stucki to 4 bits" "$nadiro" dither --method stucki --bits 4 "$sample" "$work/stucki.bmp"
check "result is a 4-bit BMP" test "$(od -An -tu2 -j28 -N2 "$work/stucki.bmp" | tr -d ' ')" = 4
expect_refusal "sharp to 8 bits" 2 dither --method sharp --bits 8 "$sample" "$work/out-sharp8.bmp"
check "sharp to 8 bits: names what is allowed" grep -q "1 or 4 bits" "$work/err.txt"
expect_refusal "unknown dither method" 2 dither --method floyd "$sample" "$work/out-floyd.bmp"
expect_refusal "dither to 2 bits" 2 dither --bits 2 "$sample" "$work/out-2.bmp"
check "ordered-dither on a 24-bit file" "$nadiro" ordered-dither --matrix 4 "$sample" "$work/mono.bmp"
check "result is a 1-bit BMP" test "$(od -An -tu2 -j28 -N2 "$work/mono.bmp" | tr -d ' ')" = 1

# Channels and convolution.
check "demo shows the HSV channels and each built-in filter" \
  grep -q 'convolve-sharpen8-3.png' "$work/demo/index.html"
check "split rgb into BMPs" "$nadiro" split --model rgb "$sample" "$work/ch.bmp"
check "split wrote R, G and B" test -s "$work/ch-R.bmp" -a -s "$work/ch-G.bmp" -a -s "$work/ch-B.bmp"
check "channels are 8-bit" test "$(od -An -tu2 -j28 -N2 "$work/ch-G.bmp" | tr -d ' ')" = 8
check "merge rgb" "$nadiro" merge --model rgb "$work/ch-R.bmp" "$work/ch-G.bmp" "$work/ch-B.bmp" "$work/back.bmp"
check "split cmyk writes four PNGs" "$nadiro" split --model cmyk "$sample" "$work/cmyk"
check "split hsv of a palette PNG" "$nadiro" split --model 6 "$work/demo/dither-fs-4.png" "$work/split-hsv" >/dev/null
check "merge cmyk from C, M, Y, K" "$nadiro" merge --model 4 "$work/cmyk-C.png" "$work/cmyk-M.png" "$work/cmyk-Y.png" "$work/cmyk-K.png" "$work/cmyk-back.png"
expect_refusal "merge cmyk with three channels" 2 merge --model cmyk "$work/ch-R.bmp" "$work/ch-G.bmp" "$work/ch-B.bmp" "$work/x.png"
check "convolve with a built-in filter" "$nadiro" convolve --filter gaussian --size 5 "$sample" "$work/gauss.png"
check "convolve with a kernel" "$nadiro" convolve --kernel "0,-1,0,-1,5,-1,0,-1,0;1" --luma "$sample" "$work/sharp.png"
printf '\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x01\x00\x00\x00' >"$work/box.knl"
check "convolve with a kernel file" "$nadiro" convolve --kernel-file "$work/box.knl" "$sample" "$work/box.png"
head -c 10 "$work/box.knl" >"$work/short.knl"
expect_refusal "short kernel file" 1 convolve --kernel-file "$work/short.knl" "$sample" "$work/out-short.png"
expect_refusal "kernel weight 128" 1 convolve --kernel "128,0,0,0,0,0,0,0,0" "$sample" "$work/out-128.png"
expect_refusal "kernel of the wrong length" 2 convolve --kernel "1,2,3" "$sample" "$work/out-len.png"
expect_refusal "gaussian 7x7" 2 convolve --filter gaussian --size 7 "$sample" "$work/out-g7.png"

head -c 100 "$sample" >"$work/truncated.bmp"
printf 'hello, not a picture' >"$work/text.bmp"
head -c 300 "$sample" >"$work/truncated-png.png"
: >"$work/empty.bmp"
# A 16-bit header on otherwise valid bytes.
cp "$sample" "$work/depth16.bmp"
printf '\x10\x00' | dd of="$work/depth16.bmp" bs=1 seek=28 conv=notrunc status=none
for bad in truncated text empty depth16 missing truncated-png; do
  in=$work/$bad.bmp; [ -e "$work/$bad.png" ] && in=$work/$bad.png
  expect_refusal "$bad input" 1 ordered-dither "$in" "$work/out-$bad.bmp"
  check "$bad input: names the file" grep -q "$(basename "$in")" "$work/err.txt"
  check "$bad input: no output file" test ! -e "$work/out-$bad.bmp"
done
# Batches: several inputs, outputs named after them, never over an input.
mkdir -p "$work/batch" "$work/in"
cp "$sample" "$work/in/a.png"; cp "$work/demo/sample-grey.png" "$work/in/b.png"
"$nadiro" ordered-dither "$work/mono.bmp" "$work/mono-copy.png" >/dev/null 2>&1
check "batch with --out-dir and -j 2" "$nadiro" ordered-dither -j 2 "$work/in/a.png" "$work/in/b.png" --out-dir "$work/batch"
check "batch wrote a.png and b.png" test -s "$work/batch/a.png" -a -s "$work/batch/b.png"
check "batch into the inputs' own folder is refused" bash -c "! '$nadiro' ordered-dither '$work/in/a.png' --out-dir '$work/in' 2>/dev/null"
check "the input survived" cmp -s "$sample" "$work/in/a.png"
expect_refusal "1-bit result as JPEG" 1 ordered-dither "$sample" "$work/out-mono.jpg"
check "1-bit result as JPEG: no output" test ! -e "$work/out-mono.jpg"
expect_refusal "batch with a bad file among good ones" 1 ordered-dither "$work/in/a.png" "$work/text.bmp" --out-dir "$work/batch"

# Every kind of input the tool reads (RGB, grey and palette PNGs of 1, 4
# and 8 bits, a JPEG, a BMP) once; every operation once. Decoding does not
# depend on the operation.
demo=$work/demo
check "a JPEG input made by the tool" "$nadiro" gamma --red 100 --green 100 --blue 100 "$sample" "$work/kinds-rgb.jpg"
check "a BMP input made by the tool" "$nadiro" gamma --red 100 --green 100 --blue 100 "$sample" "$work/kinds-rgb.bmp"
for in in "$demo/sample-grey.png" "$demo/ordered-dither-4.png" "$demo/dither-fs-4.png" \
          "$demo/dither-fs-8.png" "$work/kinds-rgb.jpg" "$work/kinds-rgb.bmp"; do
  check "hue-saturation on $(basename "$in")" "$nadiro" hue-saturation --hue 30 "$in" "$work/kind-$(basename "$in").bmp"
done
n=0
for op in "dither --method smooth --bits 1" "brightness-contrast --brightness 10 --contrast 5" \
          "cmyk-levels --cyan 10" "desaturate" "convolve --filter mean --size 3" \
          "replace-color --color 200,60,40 --tolerance 60,60,60 --hue 120"; do
  n=$((n + 1))
  # shellcheck disable=SC2086
  check "$op" "$nadiro" $op "$demo/dither-fs-8.png" "$work/op-$n.bmp"
done

expect_refusal "matrix 7" 2 ordered-dither --matrix 7 "$sample" "$work/out-m7.bmp"
expect_refusal "unknown option" 2 ordered-dither --bogus 1 "$sample" "$work/out-x.bmp"
expect_refusal "unknown command" 2 frobnicate
# Colour models: one colour, whole pictures there and back, the gallery.
check "color RGB HSV 255 0 0" test "$("$nadiro" color RGB HSV 255 0 0)" = "0 255 255"
check "color CMYK RGB wraps" test "$("$nadiro" color CMYK RGB 200 0 0 100)" = "211 155 155"
expect_refusal "color with a missing component" 2 color RGB LAB 1 2
expect_refusal "color with a byte out of range" 2 color RGB LAB 1 2 256
check "convert to HSV" "$nadiro" convert --to HSV "$sample" "$work/hsv.bmp"
check "HSV result is tagged 14" test "$(od -An -tu4 -j30 -N4 "$work/hsv.bmp" | tr -d ' ')" = 14
expect_refusal "tagged result as PNG" 1 convert --to HSV "$sample" "$work/hsv.png"
check "convert to CMY and back" "$nadiro" convert --to CMY "$sample" "$work/cmy.bmp"
check "back from CMY" "$nadiro" convert --from CMY --to RGB "$work/cmy.bmp" "$work/rgb.bmp"
"$nadiro" convert --to RGB "$sample" "$work/rgb-direct.bmp" >/dev/null 2>&1
check "CMY round trip is exact" cmp -s "$work/rgb.bmp" "$work/rgb-direct.bmp"
expect_refusal "source model that does not match the tag" 1 convert --from HSV --to RGB "$work/cmy.bmp" "$work/x.bmp"
expect_refusal "unknown model" 2 convert --to PANTONE "$sample" "$work/x.bmp"
check "demo shows the colour-model channels" test "$(ls "$work"/demo/model-*.png | wc -l)" -eq 32
check "no temporary files left behind" test -z "$(find "$work" -name '*.tmp-*')"

echo "$failures failed"
exit $((failures != 0))
