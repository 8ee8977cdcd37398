#!/bin/sh
# Rewrites the accepted dumps and logs of the golden jobs (all, or those named) with the current output of
# the filter. Review the difference before it is committed: users will see each changed line.
set -eu
cd "$(dirname "$0")/.."
preset=${K905_PRESET:-dev}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target golden_test >/dev/null

if [ $# -eq 0 ]; then
  filter='*/GoldenTest.*'
else
  filter=''
  for job in "$@"; do
    [ -f "tests/golden/$job/recipe" ] || { echo "no golden job called $job" >&2; exit 2; }
    filter="$filter:*/GoldenTest.*/$(echo "$job" | tr - _)"
  done
fi
# Only output that the reference confirms is accepted.
K905_ACCEPT_GOLDENS=1 "build/$preset/tests/golden_test" --gtest_brief=1 --gtest_filter="$filter" || {
  echo "The reference does not agree: see above." >&2
  exit 1
}
git status --short tests/golden 2>/dev/null || true
git diff --stat -- tests/golden 2>/dev/null || true
