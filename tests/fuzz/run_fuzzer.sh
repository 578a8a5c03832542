#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a fuzzer on one kind of input: run_fuzzer.sh BUILD_FOLDER KIND FUZZER SECONDS [OPTION...]
# Inputs that reach something new are kept in BUILD_FOLDER/found/KIND, crashes in
# BUILD_FOLDER/crashes/KIND-*. Exit status 0 when none was found.
set -euo pipefail
build=$1 kind=$2 fuzzer=$3 seconds=$4
broken=$(dirname "$0")/../broken/$kind
found=$build/found/$kind
mkdir -p "$found" "$build/crashes"
inputs=("$found" "$build/corpus/$kind")
[[ -d $broken ]] && inputs+=("$broken")
options=(-max_total_time="$seconds" -timeout=60 -report_slow_units=60 -rss_limit_mb=2048 -malloc_limit_mb=512
         -max_len=1048576 -entropic=0 -detect_leaks=0
         -artifact_prefix="$build/crashes/$kind-" -print_final_stats=1)
[[ -f $build/corpus/$kind.dict ]] && options+=(-dict="$build/corpus/$kind.dict")
# Leaks are looked for at the end, once: to look after each input takes most of the time. Where memory
# came from is told by the replay of a crash; the entropic choice of inputs takes a third of the time.
export ASAN_OPTIONS=malloc_context_size=0:quarantine_size_mb=32:detect_stack_use_after_return=0
exec "$fuzzer" "${options[@]}" "${@:5}" "${inputs[@]}"
