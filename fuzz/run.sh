#!/usr/bin/env bash
# Builds the libFuzzer programs (the `fuzz` CMake preset: clang with
# AddressSanitizer and UndefinedBehaviorSanitizer) and runs every harness, or
# the ones named, for SECONDS seconds each. Each starts from the seeds and
# crashers in fuzz/corpus; what it learns stays in build/fuzz/corpus, and an
# input that fails is written to build/fuzz/artifacts/<harness>/ (copy it into
# fuzz/corpus/crashers/<harness>/ once fixed). Exits non-zero when any failed.
#
#   fuzz/run.sh SECONDS [HARNESS...]     (needs: scripts/install-deps.sh fuzz)
#
# NADIRO_FUZZ_RUNS=N makes a run repeatable: at most N inputs per harness,
# from a fixed seed, so the same tree meets the same inputs every time (the
# suite's smoke test uses it; a finding there is a finding everywhere).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:?usage: fuzz/run.sh SECONDS [HARNESS...]}
shift

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "${NADIRO_JOBS:-2}"

harnesses=("$@")
if [ ${#harnesses[@]} -eq 0 ]; then
  for program in build/fuzz/fuzz/fuzz_*; do harnesses+=("${program##*/fuzz_}"); done
fi

failed=()
for harness in "${harnesses[@]}"; do
  learned=build/fuzz/corpus/$harness
  artifacts=build/fuzz/artifacts/$harness
  mkdir -p "$learned" "$artifacts" "fuzz/corpus/seeds/$harness" "fuzz/corpus/crashers/$harness"
  echo "== fuzz $harness: ${seconds} s"
  # A call that takes seconds or allocates hundreds of megabytes is a fault
  # like a crash: the limits make libFuzzer report it.
  if ! "build/fuzz/fuzz/fuzz_$harness" -max_total_time="$seconds" -timeout=5 \
       ${NADIRO_FUZZ_RUNS:+-runs="$NADIRO_FUZZ_RUNS" -seed=1} \
       -rss_limit_mb=2048 -malloc_limit_mb=256 -print_final_stats=1 \
       -artifact_prefix="$artifacts/" "$learned" \
       "fuzz/corpus/seeds/$harness" "fuzz/corpus/crashers/$harness" \
       2> >(grep -v '^#[0-9]' >&2); then
    failed+=("$harness")
  fi
done
if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzz: failures in ${failed[*]} (inputs in build/fuzz/artifacts/)" >&2
  exit 1
fi
