#!/usr/bin/env bash
# Sets up the machine, builds, and runs every test. The database tests run on
# SQLite, and also on PostgreSQL when PURFP_TEST_PG holds a connection string.
# With --sanitize (or PURFP_SANITIZE=1) the build and the run use build-asan/,
# compiled with the address and undefined-behaviour sanitizers (leak checks
# included); any finding fails its test. With --coverage (or PURFP_COVERAGE=1)
# they use build-coverage/, compiled with coverage counters; after the tests
# lcov sums up the lines of the product sources that ran (tests, benchmarks,
# generated files and system headers left out), prints one "coverage:" line
# and writes the HTML report to build-coverage/coverage-html/. Other arguments
# go to ctest. The exit status is ctest's.
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"
source scripts/options.sh
ctest_args=("${other_args[@]}")
scripts/setup.sh
scripts/build.sh
cd "$build_dir"
if [ "$sanitize" = 1 ]; then
    export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:halt_on_error=1}"
    export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
fi

if [ "$coverage" != 1 ]; then
    ctest --output-on-failure -j"$(nproc)" "${ctest_args[@]}"
    exit
fi

# Counters left from an earlier run would add to this one's.
lcov --quiet --zerocounters --directory .
# A zero baseline from the compile-time notes, so that product files no test
# loads still count, with all their lines uncovered.
lcov --quiet --capture --initial --directory . \
    --output-file coverage-base.info
status=0
ctest --output-on-failure -j"$(nproc)" "${ctest_args[@]}" || status=$?
lcov --quiet --capture --directory . \
    --output-file coverage-run.info
lcov --quiet --add-tracefile coverage-base.info --add-tracefile coverage-run.info \
    --output-file coverage-all.info
# Headers are compiled through the layers' include folders
# (build*/layers/<folder>/<folder>/x.h); count them under their own names.
sed -i "s#^SF:$root/build-coverage/layers/[a-z]*/#SF:$root/#" coverage-all.info
lcov --quiet --add-tracefile coverage-all.info --output-file coverage-merged.info
lcov --quiet --extract coverage-merged.info "$root/*" --output-file coverage-tree.info
lcov --quiet --remove coverage-tree.info "$root/tests/*" "$root/bench/*" \
    "$root/build*" "/usr/*" --output-file coverage.info
rm -rf coverage-html
genhtml --quiet --title "TamsorPurFP" --output-directory coverage-html coverage.info
summary="$(lcov --summary coverage.info 2>&1)"
# "  lines......: 71.3% (9876 of 13851 lines)" becomes
# "coverage: lines 71.3% (9876/13851)"; functions likewise on a second line.
for kind in lines functions; do
    echo "$summary" | sed -n "s/^ *$kind\.*: \([0-9.]*%\) (\([0-9]*\) of \([0-9]*\) .*/coverage: $kind \1 (\2\/\3)/p"
done
echo "coverage: report in $PWD/coverage-html/index.html"
exit "$status"
