#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Static analysis of all hand-written code; ends with 1 where anything is found.
# Usage: tools/lint.sh   (some minutes; clang-tidy is the preset tidy: cmake --workflow --preset tidy)
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install_packages.sh build demo python test bench lint
cmake --preset dev > /dev/null
cmake --build --preset dev --target rs2_lmx > /dev/null  # generated headers
python3 - build/compile_commands.json build/lint_commands.json << 'EOF'
import json, sys
commands = json.load(open(sys.argv[1]))
json.dump([c for c in commands if "/build/" not in c["file"] and "/tests/" not in c["file"]],
          open(sys.argv[2], "w"))
EOF
cppcheck --project=build/lint_commands.json -j "$(nproc)" --quiet --inline-suppr \
    --enable=warning,performance,portability,style --error-exitcode=1 \
    --suppressions-list=tools/cppcheck-suppressions.txt \
    --template='{file}:{line}: {severity} {id}: {message}'
cmake --workflow --preset tidy
