#!/bin/sh
# Writes new golden renders after a deliberate change of sound. Listen to
# them, and to the old ones, before committing: the tests then compare with these.
set -e
build=${1:-build}
cmake --build "$build" -j2 --target core_tests
REELWARP_REGENERATE_GOLDEN=1 "$build/tests/core_tests" --gtest_filter='Golden*:ProcessorGolden*'
