#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the fuzzers and runs them for long, side by side on all cores: fuzz.sh HOURS [KIND...]
# HOURS may be a fraction. KINDs are those of tests/fuzz/README.md, by default all. What is found
# stays in build-fuzz/tests/fuzz: crashes, made small, in crashes/; inputs that reach something new
# in found/. Exit status 1 when there are crashes.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $# -eq 0 ]]; then
    sed -n '/^# Builds/,/^[^#]/s/^# //p' "$0"
    exit 2
fi
hours=$1
shift
kinds=("${@:-}")
[[ -n ${kinds[0]} ]] || kinds=(text kmif transform trees rs2_binding rs2_lut rs2 rcm capella verbs driver
                                 zip archive)

tools/install_packages.sh build demo fuzz
cmake --preset fuzz > /dev/null
cmake --build --preset fuzz
build=build-fuzz/tests/fuzz
cores=$(nproc)
rounds=$(((${#kinds[@]} + cores - 1) / cores))
seconds=$(awk -v h="$hours" -v n="$rounds" 'BEGIN { printf "%d", h * 3600 / n }')
mkdir -p "$build/logs" "$build/crashes"

fuzzer_of() {
    case $1 in
    rs2 | rcm | capella | verbs | driver | zip) echo build-fuzz/bin/fuzz_product ;;
    *) echo "build-fuzz/bin/fuzz_$1" ;;
    esac
}

# A fuzzer ends with its first crash: it is run again until its time is over.
run() {
    local kind=$1 end=$((SECONDS + seconds))
    : > "$build/logs/$kind"
    while ((SECONDS < end)); do
        tests/fuzz/run_fuzzer.sh "$build" "$kind" "$(fuzzer_of "$kind")" $((end - SECONDS)) \
            >> "$build/logs/$kind" 2>&1 && break
    done
}

minimise() {
    local crash=$1 kind=$2
    [[ -e $crash.small ]] || "$(fuzzer_of "$kind")" -minimize_crash=1 -max_total_time=60 \
        -exact_artifact_path="$crash.small" "$crash" > "$crash.log" 2>&1 || true
}

report() {
    local kind=$1
    awk -v kind="$kind" '
        /stat::number_of_executed_units/ { runs += $2 }
        match($0, /[0-9]+ inline 8-bit/) { all = substr($0, RSTART, RLENGTH - 13) }
        match($0, /cov: [0-9]+/) { edges = substr($0, RSTART + 5, RLENGTH - 5) }
        END { printf "%-12s %10d runs  %8.1f a second  %6d of %d edges",
              kind, runs, runs / '"$seconds"', edges, all }
    ' "$build/logs/$kind"
    printf '  %d crashes\n' "$(find "$build/crashes" -name "$kind-*" ! -name '*.small' ! -name '*.log' | wc -l)"
}

export build seconds
export -f fuzzer_of run
printf '%s\n' "${kinds[@]}" | xargs -P "$cores" -I{} bash -c 'run {}'
for kind in "${kinds[@]}"; do
    for crash in "$build/crashes/$kind"-*; do
        [[ -e $crash && $crash != *.small && $crash != *.log ]] && minimise "$crash" "$kind"
    done
    report "$kind"
done
! compgen -G "$build/crashes/*" > /dev/null
