#!/usr/bin/env bash
# Everything that a change has to pass: format, both compilers in debug (with sanitizers) and release with all tests,
# clang-tidy, and a tree that is as clean afterwards as it was before. Builds lie in build/check.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

[ $# -eq 0 ] || die "no options are known."

# Name, compiler, build type, sanitizers.
variants=(
    "gcc-debug g++ Debug address,undefined"
    "gcc-release g++ Release -"
    "clang-debug clang++ Debug address,undefined"
    "clang-release clang++ Release -"
)

# Files of these patterns, those that git does not know yet included.
sources() {
    git ls-files --cached --others --exclude-standard -- "$@"
}

tree_state() {
    git status --porcelain
    git diff
}

check_variant() {
    local name=$1 compiler=$2 type=$3 sanitizers=${4#-} folder=build/check/$1
    step "$name"
    cmake --log-level=WARNING -S . -B "$folder" -G Ninja \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DVESMARA_SANITIZE="$sanitizers" \
        -DVESMARA_BUILD_TESTS=ON -DVESMARA_BUILD_BENCH=ON -DVESMARA_BUILD_DEMO=ON -DVESMARA_WERROR=ON >/dev/null
    cmake --build "$folder"
    local status=0
    run_tests "$folder" || status=$?
    give_back "$folder"
    return "$status"
}

scripts/setup.sh check
before=$(tree_state)

step "format"
sources '*.cpp' '*.h' | xargs -r clang-format --dry-run --Werror

for variant in "${variants[@]}"; do
    # shellcheck disable=SC2086  # the words of a row are the arguments
    check_variant $variant
done

step "clang-tidy"
# The fuzz drivers and the example are builds of their own, without an entry in this one's list of commands.
sources '*.cpp' ':!tests/fuzz' ':!examples' |
    xargs -r -P "$(nproc)" -n 4 clang-tidy -p build/check/clang-release --quiet

step "clean tree"
[ "$(tree_state)" = "$before" ] || die "the builds or the tests left something in the tree: see git status."
step "all good"
