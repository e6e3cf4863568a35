#!/usr/bin/env bash
# One case of the package's tests: package_test.sh CASE BUILD_FOLDER [CPACK].
set -euo pipefail
readonly build=$2 folder=$2/package-test cpack=${3:-}

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

# The control field $1.
field() {
    dpkg-deb -f "$folder"/*.deb "$1"
}

IsBuilt() {
    rm -rf "$folder"
    mkdir "$folder"
    "$cpack" --config "$build/CPackConfig.cmake" -B "$folder"
    rm -rf "$folder/_CPack_Packages"
    [ "$(field Package)" = vesmara ] || fail "the package is named $(field Package)"
}

HoldsProgramCheckerLibraryFontLinkAndManualPages() {
    local expected actual
    expected="\
-rwxr-xr-x ./opt/Orvan/bin/Vesmara
-rwxr-xr-x ./opt/Orvan/bin/vesmara-check
-rw-r--r-- ./opt/Orvan/bin/libOsLayer.so
lrwxrwxrwx ./usr/bin/vesmara-check -> /opt/Orvan/bin/vesmara-check
-rw-r--r-- ./usr/share/bash-completion/completions/vesmara-check
-rw-r--r-- ./usr/share/man/man1/vesmara-check.1
-rw-r--r-- ./usr/share/man/man8/Vesmara.8
lrwxrwxrwx ./etc/Orvan/Assets/Fonts/Roboto-Regular.ttf \
-> /usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Regular.ttf"
    actual=$(dpkg-deb -c "$folder"/*.deb | grep -v '^d' | awk '{ $2 = $3 = $4 = $5 = ""; print }' | tr -s ' ')
    diff <(sort <<<"$expected") <(sort <<<"$actual") || fail "other files than expected"
}

DependsOnTheLibrariesThatTheProgramLoads() {
    local package depends
    depends=$(field Depends)
    for package in fonts-roboto-unhinted libx11-6 libgl1 libstdc++6 libc6; do
        grep -qE "(^|[ ,])${package//+/\\+}([ ,]|$)" <<<"$depends" || fail "no dependency on $package: $depends"
    done
}

ProgramFindsItsLibraryBesideItself() {
    local unpacked=$folder/unpacked
    dpkg-deb -x "$folder"/*.deb "$unpacked"
    # Read whole before the search: a search that ends early would end ldd by a signal.
    local libraries
    libraries=$(ldd "$unpacked/opt/Orvan/bin/Vesmara")
    grep -qF "libOsLayer.so => $unpacked/opt/Orvan/bin/libOsLayer.so" <<<"$libraries" ||
        fail "libOsLayer.so is not found beside the program"
}

[ "$(type -t "$1")" = function ] || fail "no such case: $1"
"$1"
