#!/usr/bin/env bash
# Installs what the build needs, builds the release preset (only orvhost, the add-on and what
# they pull in), and runs the demo: `orvhost demo` with this script's arguments.
set -euo pipefail
cd "$(dirname "$0")"

source scripts/install-packages.sh
install_missing_packages demo.sh

cmake --preset release >/dev/null
cmake --build --preset release --target orvhost OrvUpdate
exec build/release/bin/orvhost demo "$@"
