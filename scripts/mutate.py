#!/usr/bin/env python3
"""A small mutation check of the test suite.

Applies a fixed list of one-token changes to the library's cores (a
comparison flipped, a constant off by one, an operand swapped), one at a
time: rebuilds the test programs of a release build (incrementally, -j2),
runs them with a time limit, stopping at the first failure, and counts the
mutant as killed when a program fails or times out. The file is restored
after every mutant, also on Ctrl-C or a termination signal.

A mutant whose original text is not found exactly once in its file is
reported as "not applied" and never counted; one that does not compile is
reported as "no build" and not counted either.

  scripts/mutate.py [--build build/release] [--only 3,7] [--timeout 300]

The build directory must be configured already (cmake --preset release).

Results so far (release build, Linux):
  suite before the trim (7,368 test lines): 36 applied, 36 killed
  suite after the trim (4,655 test lines):  36 applied, 36 killed
  45 mutants (the vector rows, the engine and the convenience layer added):
  suite of 6,802 test lines: 45 applied, 42 killed (survivors 40, 42, 43)
  suite of 6,641 test lines: 45 applied, 45 killed (43 in the full run, then
    the two survivors by the tests added for them)
  suite of 5,927 test lines (references frozen as digests, the tree
    formatted, the engine's nearest-colour code rewritten): 45 applied,
    45 killed
"""
import argparse
import os
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# (file, exact original text, replacement). Formula and engine lines chosen
# because they stay put when the shells around them are reshaped.
MUTANTS = [
    # Colour formulas.
    ("src/color/formulas.h", "const double s = (mx - mn) / mx;", "const double s = (mx + mn) / mx;"),
    ("src/color/formulas.h", "rgb = {p, q, v};", "rgb = {q, p, v};"),
    ("src/color/formulas.h", "0.211456 * r - 0.522591 * g + 0.311135 * b", "0.211456 * r + 0.522591 * g + 0.311135 * b"),
    ("src/color/formulas.h", "y - 1.107 * i + 1.7046 * q", "y - 1.107 * i - 1.7046 * q"),
    ("src/color/formulas.h", "7.787 * t + 16.0 / 116.0", "7.787 * t + 16.0 / 115.0"),
    ("src/color/formulas.h", "const double tz = fy - b / 200.0;", "const double tz = fy + b / 200.0;"),
    ("src/color/formulas.h", "(k - 0.3) * 0.9 / 0.7", "(k - 0.3) * 0.8 / 0.7"),
    ("src/color/formulas.h", "static_cast<uint8_t>((x + y) & 0xFF)", "static_cast<uint8_t>((x - y) & 0xFF)"),
    # Byte scaling and the integer models.
    ("src/color/models.h", "v[0] = toByte(t.a * 255.0 / 360.0);", "v[0] = toByte(t.a * 255.0 / 359.0);"),
    # Dithering engines.
    ("src/dither/diffusion.cpp", "{1, -1, 3, O}, {1, 0, 5, O}, {1, 1, 1, S}}}};", "{1, -1, 3, O}, {1, 0, 6, O}, {1, 1, 1, S}}}};"),
    ("src/dither/diffusion.cpp", "const bool white = v > 128;", "const bool white = v >= 128;"),
    ("src/dither/diffusion.cpp", "return v - (level << ch.shift);", "return v + (level << ch.shift);"),
    ("src/dither/diffusion.cpp", "{5, 7, 2}, {6, 3, 0}};", "{5, 7, 2}, {6, 3, 1}};"),
    ("src/dither/diffusion.cpp", "constexpr Kernel kSierra{4, 2, true,", "constexpr Kernel kSierra{4, 2, false,"),
    ("src/dither/kernels.cpp", "px[j0 + b] >= pattern[(j0 + b) ^ 7]", "px[j0 + b] > pattern[(j0 + b) ^ 7]"),
    ("src/dither/ordered.cpp", "!(scaled[v] >= static_cast<float>(t))", "!(scaled[v] > static_cast<float>(t))"),
    ("src/dither/sharp_smooth.cpp", "const int g12 = w2 > w1,", "const int g12 = w2 >= w1,"),
    ("src/dither/sharp_smooth.cpp", "if constexpr (Halve) residual >>= 1;", "if constexpr (Halve) residual >>= 2;"),
    # Adjustment cores.
    ("src/adjust/brightness_contrast.cpp", "std::clamp(i + b, 0, 255);", "std::clamp(i - b, 0, 255);"),
    ("src/adjust/brightness_contrast.cpp", "static_cast<int16_t>(setting * 128) / 100;", "static_cast<int16_t>(setting * 127) / 100;"),
    ("src/adjust/gamma.cpp", "/ std::log(100.0);", "/ std::log(101.0);"),
    ("src/adjust/hue_saturation.cpp", "start <= end ? start <= hue && hue <= end", "start <= end ? start < hue && hue <= end"),
    ("src/adjust/hue_saturation.cpp", "if (hue > 255) return static_cast<uint8_t>(hue + 1);", "if (hue > 255) return static_cast<uint8_t>(hue - 1);"),
    ("src/adjust/replace_color.cpp", "return {c0 - t2, c0 + t2,", "return {c0 - t0, c0 + t2,"),
    ("src/adjust/replace_color.cpp", "if (hue < 0) return static_cast<uint8_t>(hue + 255);", "if (hue < 0) return static_cast<uint8_t>(hue + 256);"),
    ("src/adjust/cmyk_levels.cpp", "(setting + 100) / 100.0", "(setting + 99) / 100.0"),
    ("src/adjust/desaturate.cpp", "hsi[1] = 0;", "hsi[1] = 1;"),
    ("src/adjust/hsi.h", "(v > 255 ? 255 : v)", "(v > 255 ? 254 : v)"),
    # The convolution engine and kernels.
    ("src/channels/convolution_rows.cpp", "15u * px[1] + 8u * px[0]) / 26u", "15u * px[1] + 8u * px[0]) / 25u"),
    ("src/channels/convolution_rows.cpp", "(unsigned{px[0]} + px[1] + px[2]) / 3u", "(unsigned{px[0]} + px[1] + px[2]) / 2u"),
    ("src/channels/convolution_kernel.cpp", "static_cast<int16_t>(positive - negative)", "static_cast<int16_t>(positive + negative)"),
    ("src/channels/convolution_kernel.cpp", "k.m[j][i] = values[", "k.m[i][j] = values["),
    # Split and merge rows.
    ("src/channels/split.cpp", "out[0][x] = px[2];", "out[0][x] = px[1];"),
    ("src/channels/merge.cpp", "dst[0] = rgb[2];", "dst[0] = rgb[1];"),
    # Image layout checks.
    ("src/frame/dib.cpp", "return static_cast<uint32_t>(rowBits / 32 * 4);", "return static_cast<uint32_t>(rowBits / 32 * 3);"),
    ("src/frame/dib.cpp", "return end <= kMaxBlockBytes && end <= blockSize;", "return end <= kMaxBlockBytes && end < blockSize;"),
    # Vector row kernels and the scalar rows they are measured against.
    ("src/color/convert_lanes.h", "const D z = 0.0660957 * g + 1.1162243 * b;", "const D z = 0.0660957 * r + 1.1162243 * b;"),
    ("src/dither/kernels_avx2.cpp", "_mm256_set1_epi16(59)", "_mm256_set1_epi16(58)"),
    ("src/dither/kernels.cpp", "p[1] * 59u + p[0] * 11u", "p[1] * 59u + p[0] * 12u"),
    # The dithering engine.
    ("src/engine/engine.cpp", "/ 1.055, 2.4)", "/ 1.055, 2.5)"),
    ("src/engine/nearest.cpp", "const int32_t outside = std::max(v - from[k], to[k] - v);", "const int32_t outside = std::min(v - from[k], to[k] - v);"),
    ("src/engine/engine.h", "(2 * c[k] - p0[k] - p1[k])", "(2 * c[k] - p0[k] - p0[k])"),
    # The convenience layer's pixel formats.
    ("src/image/rows.cpp", "{Format::kBgr, 3, {2, 1, 0, 0}}", "{Format::kBgr, 3, {2, 0, 1, 0}}"),
    ("src/image/rows.cpp", "return {p[3], p[2], p[1], p[0]};", "return {p[2], p[3], p[1], p[0]};"),
    ("src/image/rows.cpp", "(x % 2 ? 0 : 4)) & 15u", "(x % 2 ? 4 : 0)) & 15u"),
]

# The test programs, relative to the build directory; those not built are
# skipped (at least one must exist).
TEST_PROGRAMS = ["nadiro_tests", "tests/nadiro_tests", "tests/public_api_tests"]
BUILD_TARGETS = ["nadiro_tests", "public_api_tests"]


class Interrupted(Exception):
    pass


def on_signal(signum, frame):
    raise Interrupted()


def run_suite(build, timeout):
    """True when every test program passes within the time limit."""
    ran = 0
    deadline = time.monotonic() + timeout
    for program in TEST_PROGRAMS:
        path = os.path.join(build, program)
        if not os.path.exists(path):
            continue
        ran += 1
        left = deadline - time.monotonic()
        if left <= 0:
            return False
        try:
            result = subprocess.run([path, "--gtest_fail_fast", "--gtest_brief=1"],
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                    timeout=left, cwd=build)
        except subprocess.TimeoutExpired:
            return False
        if result.returncode != 0:
            return False
    if ran == 0:
        sys.exit("no test program found in " + build)
    return True


def build_tests(build):
    result = subprocess.run(["cmake", "--build", build, "-j2", "--target", *BUILD_TARGETS],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return result.returncode == 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default=os.path.join(ROOT, "build", "release"))
    parser.add_argument("--only", help="comma-separated mutant numbers (1-based)")
    parser.add_argument("--timeout", type=float, default=300.0)
    args = parser.parse_args()
    build = os.path.abspath(args.build)
    chosen = range(1, len(MUTANTS) + 1)
    if args.only:
        chosen = [int(n) for n in args.only.split(",")]

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)

    if not build_tests(build) or not run_suite(build, args.timeout):
        sys.exit("the unmutated suite does not build or pass: nothing to measure")

    counts = {"killed": 0, "survived": 0, "not applied": 0, "no build": 0}
    survivors = []
    try:
        for number in chosen:
            path, original, replacement = MUTANTS[number - 1]
            full = os.path.join(ROOT, path)
            with open(full, encoding="utf-8") as f:
                text = f.read()
            if text.count(original) != 1:
                outcome = "not applied"
            else:
                try:
                    with open(full, "w", encoding="utf-8") as f:
                        f.write(text.replace(original, replacement))
                    if not build_tests(build):
                        outcome = "no build"
                    elif run_suite(build, args.timeout):
                        outcome = "survived"
                        survivors.append(number)
                    else:
                        outcome = "killed"
                finally:
                    with open(full, "w", encoding="utf-8") as f:
                        f.write(text)
            counts[outcome] += 1
            print(f"{number:3d} {outcome:11s} {path}: {original!r} -> {replacement!r}", flush=True)
    except Interrupted:
        print("interrupted; the file of the current mutant is restored", flush=True)
        return 130
    finally:
        build_tests(build)  # leave the build matching the sources again

    applied = counts["killed"] + counts["survived"]
    print(f"applied {applied}, killed {counts['killed']}, survived {counts['survived']}, "
          f"not applied {counts['not applied']}, no build {counts['no build']}")
    if survivors:
        print("survivors: " + ",".join(str(n) for n in survivors))
    return 0


if __name__ == "__main__":
    sys.exit(main())
