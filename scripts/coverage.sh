#!/usr/bin/env bash
# Line and branch coverage of the libraries, FsHelper and FormState by their unit tests. Builds in build/coverage.
#
# Every line has to be reached but those that docs/testing.md quotes with a reason; others end this with status 1.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

[ $# -eq 0 ] || die "no options are known."
command -v lcov >/dev/null || die "lcov is missing: run scripts/setup.sh check."

readonly folder=build/coverage
readonly info=$folder/coverage.info
readonly measured=("$PWD/ConfigLib/*" "$PWD/LogLib/*" "$PWD/OsLayer/*" "$PWD/Linux/Server/CP_Linux/Common/*")

# Folders of unit tests, mirrors of those measured.
folders=()
for name in OsLayer LogLib ConfigLib CP_Linux; do
    [ ! -f "tests/$name/CMakeLists.txt" ] || folders+=("$name")
done

lcov_quietly() {
    # The branches that a compiler adds for exceptions passing through are nobody's decision.
    lcov --rc lcov_branch_coverage=1 --rc geninfo_no_exception_branch=1 --quiet "$@" 2>"$folder/lcov.log" ||
        die "lcov failed: see $folder/lcov.log."
}

step "Building"
# Counts of several threads are added up without loss. Without optimisation each line stays itself.
cmake --log-level=WARNING -S . -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic -O0" -DVESMARA_BUILD_TESTS=ON >/dev/null ||
    die "the build could not be configured."
targets=(ConfigLib LogLib OsLayer FsHelper FormState)
for name in "${folders[@]}"; do
    targets+=("tests/$name/all")
done
cmake --build "$folder" --target "${targets[@]}" >/dev/null || die "the build failed."

step "Testing"
failed=
find "$folder" -name '*.gcda' -delete
for name in "${folders[@]}"; do
    run_tests "$folder/tests/$name" >"$folder/tests.log" || failed=$name
    give_back "$folder"
    [ -z "$failed" ] || { cat "$folder/tests.log" && die "the tests of $failed fail."; }
    grep 'tests passed' "$folder/tests.log"
done

step "Coverage"
# The first capture has every line that was compiled, so that a file that no test touches counts with nothing reached.
lcov_quietly --capture --initial --directory "$folder" --output-file "$info.none"
lcov_quietly --capture --directory "$folder" --output-file "$info.run"
lcov_quietly --add-tracefile "$info.none" --add-tracefile "$info.run" --output-file "$info.all"
lcov_quietly --extract "$info.all" "${measured[@]}" --output-file "$info"
lcov --rc lcov_branch_coverage=1 --list "$info" 2>/dev/null

# Each line that was not reached: file, number, text, and the text of the first line of its run, with tabs between.
unreached() {
    local file='' record line text first='' last=0
    while IFS= read -r record; do
        case $record in
            SF:*) file=${record#SF:} last=0 ;;
            DA:*,0)
                line=${record#DA:} line=${line%%,*}
                text=$(sed -n "${line}s/^ *//p" "$file")
                [ "$text" != "}" ] || continue  # the compiler's code for leaving a scope, not ours
                [ $((last + 1)) -eq "$line" ] || first=$text
                last=$line
                printf '%s\t%s\t%s\t%s\n' "${file#"$PWD"/}" "$line" "$text" "$first"
                ;;
        esac
    done <"$info"
}

excused=0 open=0
while IFS=$'\t' read -r file line text first; do
    if grep -qF -- "| \`$file\` | \`$first\` |" docs/testing.md; then
        excused=$((excused + 1))
    else
        open=$((open + 1))
        printf 'not reached: %s:%s: %s\n' "$file" "$line" "$text"
    fi
done < <(unreached)
printf '%d lines not reached without a reason, %d with one in docs/testing.md\n' "$open" "$excused"
[ "$open" -eq 0 ]
