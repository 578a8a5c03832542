#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Tries archives at full size: makes COUNT small products (default 2000) and 10^6 rows of a
# catalogue, runs them through xargs, a Slurm of this machine and a Dask of two workers, ends each of
# these in the midst, and prints what is measured. Usage: tools/archive_trial.sh [COUNT] [FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
exec /usr/bin/python3 tools/archive_trial "$@"
