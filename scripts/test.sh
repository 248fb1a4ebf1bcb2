#!/usr/bin/env bash
# Runs every test: native, sanitizer and Windows (under Wine) builds, and the fuzz targets for
# a bounded time. Installs what it needs first. Usage: scripts/test.sh [LANE...]
# with LANE one of native, asan, tsan, windows, fuzz (default: all five). The tsan lane builds
# and runs only the concurrency tests (provider, logger, the fault matrix) under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/install-deps.sh
jobs="${VANTOR_JOBS:-$(nproc)}"
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1 CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-5G}"
fuzz_seconds="${VANTOR_FUZZ_SECONDS:-20}"
lanes=("$@")
[ "${#lanes[@]}" -gt 0 ] || lanes=(native asan tsan windows fuzz)
failed=()
rerun_names=()

build() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" -j "$jobs"
}

passed_total=0
failed_total=0

# "N% tests passed, F tests failed out of T" of a ctest log: prints "F T".
ctest_counts() {
  grep -E "tests passed, [0-9]+ tests? failed out of [0-9]+" "$1" | tail -n 1 |
    sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/'
}

# The names under ctest's "The following tests FAILED:" of a log, one per line.
ctest_failed_names() {
  sed -n '/The following tests FAILED:/,$p' "$1" | sed -nE 's/^[[:space:]]*[0-9]+ - ([^ ]+) .*/\1/p'
}

run_ctest() {
  local preset=$1 log="build/$1/ctest-run.log" total failures name
  if ctest --preset "$preset" --timeout 300 --output-on-failure | tee "$log"; then
    read -r failures total < <(ctest_counts "$log" || echo "0 0")
  else
    read -r failures total < <(ctest_counts "$log" || echo "0 0")
    # One rerun of the failures tells a flaky test from a broken one; both are named at the end.
    echo "test.sh: rerunning the failed tests of $preset once"
    local still_failing=""
    if ! ctest --preset "$preset" --rerun-failed --timeout 300 --output-on-failure | tee "$log.rerun"; then
      still_failing=$(ctest_failed_names "$log.rerun")
      read -r failures _ < <(ctest_counts "$log.rerun" || echo "$failures 0")
      failed+=("$preset")
    else
      failures=0
    fi
    while read -r name; do
      [ -n "$name" ] || continue
      if grep -qxF "$name" <<<"$still_failing"; then
        rerun_names+=("$preset:$name (failed twice)")
      else
        rerun_names+=("$preset:$name (passed on the rerun)")
      fi
    done < <(ctest_failed_names "$log")
  fi
  passed_total=$((passed_total + ${total:-0} - ${failures:-0}))
  failed_total=$((failed_total + ${failures:-0}))
}

for lane in "${lanes[@]}"; do
  echo "=== lane: $lane"
  start=$(date +%s)
  case "$lane" in
    native|asan|tsan)
      # The tsan presets build and run only the concurrency tests.
      build "$lane"
      run_ctest "$lane"
      ;;
    windows)
      # The build signs both executables and the package with a throwaway certificate; the
      # signatures are checked right after it.
      sh scripts/windows-signing.sh make build/windows/signing
      VANTOR_SIGN_PFX="$PWD/build/windows/signing/signing.pfx"
      VANTOR_SIGN_PASSWORD=$(cat build/windows/signing/password)
      export VANTOR_SIGN_PFX VANTOR_SIGN_PASSWORD
      build windows
      sh scripts/windows-signing.sh verify build/windows/signing "$PWD/build/windows/VantorVssProvider.msi" ||
        failed+=("windows:signatures")
      export WINEPREFIX="$PWD/build/windows/wineprefix" WINEDEBUG=-all VANTOR_WINEPREFIX="$PWD/build/windows/wineprefix"
      export PATH="$PATH:/usr/lib/wine"
      [ -f "$WINEPREFIX/system.reg" ] || wine64 wineboot -i >/dev/null 2>&1 || true
      # The server that made the prefix lingers a few seconds; a second persistent one for the
      # same prefix is refused, so let the first one end.
      wineserver -w 2>/dev/null || true
      wineserver -p
      # The first program after the server starts brings up Wine's services; started here, they
      # do not inherit (and hold open) the output pipe of a test's discovery run.
      wine64 wineboot >/dev/null 2>&1 || true
      trap 'wineserver -k 2>/dev/null || true' EXIT
      run_ctest windows
      wineserver -k 2>/dev/null || true
      trap - EXIT
      ;;
    fuzz)
      cmake --preset fuzz >/dev/null
      cmake --build --preset fuzz -j "$jobs" --target fuzzers
      for fuzzer in $(find build/fuzz/fuzz -maxdepth 2 -type f -name "*_fuzzer" 2>/dev/null); do
        [ -x "$fuzzer" ] || continue
        name=$(basename "$fuzzer")
        corpus="fuzz/corpus/${name%_fuzzer}"
        work="build/fuzz/corpus-${name}"
        mkdir -p "$work"
        echo "--- $name for ${fuzz_seconds}s"
        if ! "$fuzzer" -max_total_time="$fuzz_seconds" -print_final_stats=0 "$work" $( [ -d "$corpus" ] && echo "$corpus" ) \
             > "build/fuzz/${name}.log" 2>&1; then
          tail -n 40 "build/fuzz/${name}.log"
          failed+=("fuzz:$name")
        fi
      done
      ;;
    *) echo "test.sh: unknown lane '$lane'" >&2; exit 2 ;;
  esac
  echo "=== lane $lane took $(( $(date +%s) - start ))s"
done

# Every test that needed a rerun, flaky or broken, is named here, next to the verdict.
if [ "${#rerun_names[@]}" -gt 0 ]; then
  echo "test.sh: ${#rerun_names[@]} test(s) needed a rerun:"
  printf '  %s\n' "${rerun_names[@]}"
else
  echo "test.sh: no test needed a rerun"
fi
if [ "${#failed[@]}" -gt 0 ]; then
  echo "test.sh: FAILED: ${failed[*]}"
  echo "tests: $passed_total passed, $failed_total failed"
  exit 1
fi
echo "test.sh: all lanes passed (${lanes[*]})"
echo "tests: $passed_total passed, $failed_total failed"
