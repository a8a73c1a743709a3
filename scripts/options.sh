# Read by build.sh and test.sh: which build they work on. --sanitize (or
# PURFP_SANITIZE=1) means build-asan/, compiled with the address and
# undefined-behaviour sanitizers; --coverage (or PURFP_COVERAGE=1) means
# build-coverage/, compiled with line-coverage counters; otherwise build/.
# Sets sanitize, coverage, build_dir and cmake_options; the other arguments
# are left in other_args.
sanitize="${PURFP_SANITIZE:-0}"
coverage="${PURFP_COVERAGE:-0}"
other_args=()
for arg in "$@"; do
    case "$arg" in
        --sanitize) sanitize=1 ;;
        --coverage) coverage=1 ;;
        *) other_args+=("$arg") ;;
    esac
done
if [ "$sanitize" = 1 ] && [ "$coverage" = 1 ]; then
    echo "$(basename "$0"): --sanitize and --coverage are separate builds; ask for one" >&2
    exit 2
fi
build_dir=build
[ "$sanitize" = 1 ] && build_dir=build-asan
[ "$coverage" = 1 ] && build_dir=build-coverage
cmake_options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DPURFP_SANITIZE=$([ "$sanitize" = 1 ] && echo ON || echo OFF)"
               "-DPURFP_COVERAGE=$([ "$coverage" = 1 ] && echo ON || echo OFF)")
# A compiler cache, where the machine has one, makes rebuilds of a fresh
# checkout quick; the result is the same without it.
if command -v ccache >/dev/null; then
    cmake_options+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
export PURFP_SANITIZE="$sanitize" PURFP_COVERAGE="$coverage"
