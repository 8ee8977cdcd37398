#!/bin/sh
# Rewrites the accepted dumps and logs of the golden jobs and the accepted previews of layouts (all, or those named)
# with the current output of the programs. Review the difference before it is committed: users will see each changed
# line and image.
set -eu
cd "$(dirname "$0")/.."
preset=${K905_PRESET:-dev}

jobs=''
previews=''
if [ $# -eq 0 ]; then
  jobs='*/GoldenTest.*'
  previews='*/LayoutPreview.*'
fi
for name in "$@"; do
  if [ -f "tests/golden/$name/recipe" ]; then
    jobs="$jobs:*/GoldenTest.*/$(echo "$name" | tr - _)"
  elif grep -qF "Layout{\"$name\"," tests/print/layout_previews_test.cpp; then
    previews="$previews:*/LayoutPreview.*/$(echo "$name" | tr -d -)"
  else
    echo "no golden job and no preview called $name" >&2
    exit 2
  fi
done

# accept PROGRAM TESTS MESSAGE
accept() {
  [ -n "$2" ] || return 0
  cmake --build --preset "$preset" --target "$1" >/dev/null
  K905_ACCEPT_GOLDENS=1 "build/$preset/tests/$1" --gtest_brief=1 --gtest_filter="$2" || {
    echo "$3: see above." >&2
    exit 1
  }
}

cmake --preset "$preset" >/dev/null
# Only output that the reference confirms is accepted.
accept golden_test "$jobs" 'The reference does not agree'
accept print_program_test "$previews" 'k905-print failed'
git status --short tests/golden tests/print/previews 2>/dev/null || true
git diff --stat -- tests/golden tests/print/previews 2>/dev/null || true
