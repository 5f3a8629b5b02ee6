#!/usr/bin/env bash
# Installs what the build needs (nothing of the tests or the benchmarks), builds orvhost and the
# add-on (preset "demo", an optimised build under build/demo), and runs the demo: `orvhost demo`
# with this script's arguments.
set -euo pipefail
cd "$(dirname "$0")"

source scripts/install-packages.sh
install_missing_packages demo.sh build

cmake --preset demo >/dev/null
cmake --build --preset demo
exec build/demo/bin/orvhost demo "$@"
