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
check "demo shows sharp at 4 bits" grep -q 'dither-sharp-4.png' "$work/demo/index.html"

sample=$work/demo/sample.png
check "dither stucki to 4 bits" "$nadiro" dither --method stucki --bits 4 "$sample" "$work/stucki.bmp"
check "result is a 4-bit BMP" test "$(od -An -tu2 -j28 -N2 "$work/stucki.bmp" | tr -d ' ')" = 4
expect_refusal "sharp to 8 bits" 2 dither --method sharp --bits 8 "$sample" "$work/out-sharp8.bmp"
check "sharp to 8 bits: names what is allowed" grep -q "1 or 4 bits" "$work/err.txt"
expect_refusal "unknown dither method" 2 dither --method floyd "$sample" "$work/out-floyd.bmp"
expect_refusal "dither to 2 bits" 2 dither --bits 2 "$sample" "$work/out-2.bmp"
check "ordered-dither on a 24-bit file" "$nadiro" ordered-dither --matrix 4 "$sample" "$work/mono.bmp"
check "result is a 1-bit BMP" test "$(od -An -tu2 -j28 -N2 "$work/mono.bmp" | tr -d ' ')" = 1

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

expect_refusal "matrix 7" 2 ordered-dither --matrix 7 "$sample" "$work/out-m7.bmp"
expect_refusal "unknown option" 2 ordered-dither --bogus 1 "$sample" "$work/out-x.bmp"
expect_refusal "unknown command" 2 frobnicate
check "no temporary files left behind" test -z "$(find "$work" -name '*.tmp-*')"

echo "$failures failed"
exit $((failures != 0))
