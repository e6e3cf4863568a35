#!/usr/bin/env bash
# One case of the installation's tests: install_test.sh CASE BUILD_FOLDER CMAKE COMPILER SANITIZERS
#
# The installation lies in BUILD_FOLDER/install-test; the example client is built against it from a copy outside the
# tree, so that nothing of the tree can be found by accident.
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
source_tree=$(cd "$here/../.." && pwd)
readonly here source_tree build=$2 cmake=$3 compiler=$4 sanitizers=$5
readonly folder=$build/install-test
readonly prefix=$folder/prefix

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

sanitizer_flags() {
    [ -z "$sanitizers" ] || printf '%s' "-fsanitize=$sanitizers"
}

files_below() {
    (cd "$1" && find . -type f -o -type l | LC_ALL=C sort)
}

expect_files() {
    diff <(LC_ALL=C sort <<<"$1") <(files_below "$prefix") || fail "other files than expected"
}

library_files="\
./bin/libOsLayer.so
./bin/vesmara-check
./include/Vesmara/ConfigLib.h
./include/Vesmara/External/Plugin/config.h
./include/Vesmara/Log.h
./include/Vesmara/OsLayer.h
./lib/cmake/Vesmara/VesmaraConfig.cmake
./lib/cmake/Vesmara/VesmaraConfigVersion.cmake
./lib/cmake/Vesmara/VesmaraTargets-$(tr '[:upper:]' '[:lower:]' <<<"${BUILD_TYPE:?}").cmake
./lib/cmake/Vesmara/VesmaraTargets.cmake
./lib/libConfigLib.a
./lib/libLogLib.a
./lib/pkgconfig/vesmara.pc"

Installs() {
    rm -rf "$folder"
    mkdir -p "$folder"
    "$cmake" --install "$build" --prefix "$prefix" >/dev/null
    # Without the GUI there is no program to install.
    if [ -e "$build/bin/Vesmara" ]; then
        expect_files "./bin/Vesmara"$'\n'"$library_files"
    else
        expect_files "$library_files"
    fi
}

# The whole installation into its own prefix, below DESTDIR: the machine's own folders stay untouched.
GoesToItsFixedFoldersWithoutAPrefix() {
    local root=$folder/root expected
    rm -rf "$root"
    DESTDIR=$root "$cmake" --install "$build" --component Runtime >/dev/null
    expected="./opt/Orvan/bin/libOsLayer.so
./opt/Orvan/bin/vesmara-check"
    if [ -e "$build/bin/Vesmara" ]; then
        expected+="
./etc/Orvan/Assets/Fonts/Roboto-Regular.ttf
./opt/Orvan/bin/Vesmara
./usr/bin/vesmara-check
./usr/share/bash-completion/completions/vesmara-check
./usr/share/man/man1/vesmara-check.1
./usr/share/man/man8/Vesmara.8"
    fi
    diff <(LC_ALL=C sort <<<"$expected") <(files_below "$root") || fail "other files than expected"
}

# The libraries alone, configured and built anew without X11, GL and the toolkit.
LibrariesInstallWithoutTheGui() {
    local alone=$folder/no-gui
    rm -rf "$alone" "$prefix.no-gui"
    "$cmake" -S "$source_tree" -B "$alone" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$BUILD_TYPE" \
        -DVESMARA_BUILD_GUI=OFF -DNUKLEAR_INCLUDE_DIR=/nowhere -DVESMARA_SANITIZE="$sanitizers" \
        -DCMAKE_INSTALL_PREFIX="$prefix.no-gui" >/dev/null
    "$cmake" --build "$alone" --parallel 2 >/dev/null
    "$cmake" --build "$alone" --target install >/dev/null
    diff <(LC_ALL=C sort <<<"$library_files") <(files_below "$prefix.no-gui") || fail "other files than expected"
}

# A copy of the example in $folder/$1, nothing else of the tree beside it.
copy_example() {
    rm -rf "${folder:?}/$1"
    cp -r "$source_tree/examples/recorder_info" "$folder/$1"
}

ExampleBuildsWithFindPackage() {
    copy_example cmake
    # Registries of packages are off: only the prefix may be found.
    "$cmake" -S "$folder/cmake" -B "$folder/cmake/build" -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_BUILD_TYPE="$BUILD_TYPE" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror $(sanitizer_flags)" \
        -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
        -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF >/dev/null
    "$cmake" --build "$folder/cmake/build" >/dev/null
    expect_samples "$folder/cmake/build/recorder_info"
}

ExampleBuildsWithPkgConfig() {
    copy_example pkg-config
    local flags
    # One flag a line; pkg-config quotes blanks of the prefix as a shell does.
    PKG_CONFIG_LIBDIR=$prefix/lib/pkgconfig pkg-config --cflags --libs vesmara | xargs printf '%s\n' >"$folder/flags"
    mapfile -t flags <"$folder/flags"
    # shellcheck disable=SC2046  # the words are the arguments
    "$compiler" -std=c++17 $(sanitizer_flags) "$folder/pkg-config/recorder_info.cpp" "${flags[@]}" \
        -o "$folder/pkg-config/recorder_info"
    expect_samples "$folder/pkg-config/recorder_info"
}

# The version that the package gives itself is checked by CMake: one that is too new is not to be had.
NewerVersionIsNotFound() {
    copy_example newer
    sed -i 's/find_package(Vesmara 1.0 REQUIRED)/find_package(Vesmara 2.0 REQUIRED)/' "$folder/newer/CMakeLists.txt"
    if "$cmake" -S "$folder/newer" -B "$folder/newer/build" -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_PREFIX_PATH="$prefix" >"$folder/newer/out" 2>&1; then
        fail "version 2.0 was found"
    fi
    grep -qF 'VesmaraConfig.cmake, version: 1.' "$folder/newer/out" || fail "another reason: $(cat "$folder/newer/out")"
}

# The whole output and the exit status, for each sample.
expect_samples() {
    expect_sample "$1" clean 0
    expect_sample "$1" faulty 1
    expect_sample "$1" missing 2
    expect_sample_elsewhere "$1" clean 0
}

# As expect_sample, with the files below a folder that the program is told.
expect_sample_elsewhere() {
    local status=0 root=$folder/elsewhere
    rm -rf "$root"
    mkdir -p "$root/Orvan/Config/Server"
    cp "$here/sample/$2"/*.cfg "$root/Orvan/Config/Server/"
    ASAN_OPTIONS=detect_leaks=0 "$1" "$root" >"$folder/out" || status=$?
    cmp "$here/sample/$2/expected.txt" "$folder/out" || fail "sample $2 elsewhere: $(cat "$folder/out")"
    [ "$status" -eq "$3" ] || fail "sample $2 elsewhere: the exit status is $status"
}

# $1: program, $2: sample, $3: exit status. The program finds the sample's files in the fixed folder, which is one of a
# private /etc. What a load made lives until the next load or the end of the process: a sanitizer would call it lost.
expect_sample() {
    local status=0
    export ASAN_OPTIONS=detect_leaks=0
    # shellcheck disable=SC2016  # the inner shell fills them in
    "$source_tree/scripts/private_mounts.sh" bash -euc '
        mount -t tmpfs private-etc /etc
        mkdir -p /etc/Orvan/Config/Server
        find "$2" -name "*.cfg" -exec cp {} /etc/Orvan/Config/Server/ ";"
        exec "$1"' - "$1" "$here/sample/$2" >"$folder/out" || status=$?
    cmp "$here/sample/$2/expected.txt" "$folder/out" || fail "sample $2: $(cat "$folder/out")"
    [ "$status" -eq "$3" ] || fail "sample $2: the exit status is $status"
}

[ "$(type -t "$1")" = function ] || fail "no such case: $1"
"$1"
