#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Puts what the fuzzers found into tests/fuzz/corpus.tar.xz: keep_corpus.sh
# Of all inputs that build-fuzz has, the few small ones that reach all that they reach together.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-fuzz/tests/fuzz
largest=65536 # bytes; larger ones are seeds that the simulator makes
kept=$(mktemp -d)
trap 'rm -r "$kept"' EXIT
for found in "$build"/found/*; do
    kind=$(basename "$found")
    fuzzer=build-fuzz/bin/fuzz_$kind
    [[ -x $fuzzer ]] || fuzzer=build-fuzz/bin/fuzz_product
    mkdir "$kept/$kind"
    "$fuzzer" -merge=1 -max_len="$largest" -detect_leaks=0 "$kept/$kind" "$found" \
        "$build/corpus/$kind" > "$build/logs/merge-$kind" 2>&1
    printf '%-12s %5d files of %6d\n' "$kind" "$(find "$kept/$kind" -type f | wc -l)" \
        "$(find "$found" "$build/corpus/$kind" -type f | wc -l)"
done
# The same files make the same archive, and like ones stand side by side.
tar --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner -C "$kept" -cf - . |
    xz -9e > tests/fuzz/corpus.tar.xz
ls -l tests/fuzz/corpus.tar.xz
