#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is needed, builds, and runs every test; then every fuzzer for some seconds.
set -euo pipefail
cd "$(dirname "$0")"
tools/install_packages.sh build demo python test archives bench qgis fuzz
cmake --workflow --preset dev
cmake --workflow --preset fuzz
