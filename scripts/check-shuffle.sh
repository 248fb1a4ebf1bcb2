#!/usr/bin/env bash
# Runs every native test binary as one process with its tests shuffled and repeated, the way
# CTest never does (it starts a process per test): a test that leans on another's leftovers or
# on a fresh process fails here. Usage: scripts/check-shuffle.sh [BUILD_DIR] (default
# build/native, already built). Runs two binaries at a time (VANTOR_JOBS to change).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build="${1:-build/native}"
jobs="${VANTOR_JOBS:-2}"
seed="${VANTOR_SHUFFLE_SEED:-$(( $(date +%s) % 100000 ))}"
logs="$build/check-shuffle"
mkdir -p "$logs"

mapfile -t binaries < <(find "$build/tests" -type f -name '*_tests' -perm -u+x | sort)
[ "${#binaries[@]}" -gt 0 ] || { echo "check-shuffle: no test binaries under $build/tests" >&2; exit 2; }

run_one() {
  local binary=$1 name log
  name=$(basename "$binary")
  log="$logs/$name.log"
  # From the binary's own directory, as CTest runs it (some tests find their files there).
  if (cd "$(dirname "$binary")" && timeout 600 "./$name" --gtest_shuffle --gtest_repeat=2 \
        --gtest_random_seed="$seed" >"$OLDPWD/$log" 2>&1); then
    echo "ok    $name"
  else
    echo "FAIL  $name (log: $log)"
    return 1
  fi
}
export -f run_one
export logs seed

start=$(date +%s)
status=0
printf '%s\n' "${binaries[@]}" | xargs -P "$jobs" -I{} bash -c 'run_one "$@"' _ {} || status=1
echo "check-shuffle: ${#binaries[@]} binaries, seed $seed, $(( $(date +%s) - start ))s"
if [ "$status" -ne 0 ]; then
  echo "check-shuffle: FAILED (rerun one with --gtest_random_seed=$seed to see it again)"
  exit 1
fi
