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
  test "$(ls "$work"/demo/ordered-dither-*.bmp | wc -l)" -eq 7
check "demo wrote index.html" grep -q 'ordered-dither-6.bmp' "$work/demo/index.html"

sample=$work/demo/sample.bmp
check "ordered-dither on a 24-bit file" "$nadiro" ordered-dither --matrix 4 "$sample" "$work/mono.bmp"
check "result is a 1-bit BMP" test "$(od -An -tu2 -j28 -N2 "$work/mono.bmp" | tr -d ' ')" = 1

head -c 100 "$sample" >"$work/truncated.bmp"
printf 'hello, not a picture' >"$work/text.bmp"
: >"$work/empty.bmp"
# A 16-bit header on otherwise valid bytes.
cp "$sample" "$work/depth16.bmp"
printf '\x10\x00' | dd of="$work/depth16.bmp" bs=1 seek=28 conv=notrunc status=none
for bad in truncated text empty depth16 missing; do
  expect_refusal "$bad input" 1 ordered-dither "$work/$bad.bmp" "$work/out-$bad.bmp"
  check "$bad input: names the file" grep -q "$bad.bmp" "$work/err.txt"
  check "$bad input: no output file" test ! -e "$work/out-$bad.bmp"
done
expect_refusal "matrix 7" 2 ordered-dither --matrix 7 "$sample" "$work/out-m7.bmp"
expect_refusal "unknown option" 2 ordered-dither --bogus 1 "$sample" "$work/out-x.bmp"
expect_refusal "unknown command" 2 frobnicate
check "no temporary files left behind" test -z "$(find "$work" -name '*.tmp-*')"

echo "$failures failed"
exit $((failures != 0))
