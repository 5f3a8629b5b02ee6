#!/usr/bin/env bash
# windows-tests.sh [CTEST-OPTION...]: the Windows build's tests (ctest --preset windows) under
# wine, on a display of their own.
set -euo pipefail
cd "$(dirname "$0")/.."
exec scripts/on-wine-display.sh ctest --preset windows "$@"
