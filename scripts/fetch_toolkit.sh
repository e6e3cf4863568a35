#!/usr/bin/env bash
# Puts the header of the Nuklear toolkit at .deps/nuklear/nuklear.h.
#
# Debian has no package of it, but the source package glfw3 carries the header, and apt checks that package's signature
# for us. The version wanted is that of the suite named below, which need not be the machine's own; therefore apt is
# given a source list, a list folder and a cache of its own, and the machine's stay as they are. Only the one header is
# unpacked. The mirror is the machine's.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh

readonly suite=trixie
readonly package=glfw3
readonly keyring=/usr/share/keyrings/debian-archive-keyring.gpg
readonly header=.deps/nuklear/nuklear.h
readonly least=4.01.3

# The newest version in the header's own list of changes.
version_of() {
    grep -oE '\(4\.[0-9]+\.[0-9]+\)' "$1" | tr -d '()' | sort -V | tail -n 1
}

# True for $least and any later 4.x.
is_good() {
    local version
    [ -f "$1" ] || return 1
    version=$(version_of "$1") || return 1
    [ "$(printf '%s\n' "$least" "$version" | sort -V | head -n 1)" = "$least" ]
}

# The archives that the machine fetches packages from, the likely one first. Not every one has the package: a foreign
# archive does not, and neither does that of the security updates.
archives() {
    {
        # shellcheck disable=SC2016  # apt fills these in
        apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' || true
        apt-get update --print-uris | sed -n "s|^'\(.*\)/dists/.*|\1|p" || true
    } 2>/dev/null | sed 's|/*$||' | grep -E '^[a-z]+://' | grep -v -e '^cdrom:' -e '-security$' | awk '!seen[$0]++'
}

# apt-get with the private folders under $work.
private_apt() {
    (
        cd "$work/source"
        apt-get -qq \
            -o Dir::Etc::SourceList="$work/toolkit.sources" \
            -o Dir::Etc::SourceParts=/dev/null \
            -o Dir::State::Lists="$work/lists" \
            -o Dir::Cache="$work/cache" \
            -o APT::Sandbox::User="$(id -un)" \
            -o Acquire::Languages=none \
            -o APT::Update::Error-Mode=any \
            "$@"
    )
}

download_from() {
    rm -rf "${work:?}/lists" "$work/cache" "$work/source"
    mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/source"
    cat >"$work/toolkit.sources" <<END
Types: deb-src
URIs: $1
Suites: $suite
Components: main
Signed-By: $keyring
END
    private_apt update && private_apt source --download-only "$package"
}

is_good "$header" && exit 0

step "Fetching the toolkit's header"
command -v apt-get >/dev/null || die "no apt-get here: put nuklear.h $least at $header by hand."
[ -f "$keyring" ] || die "$keyring is missing: install the package debian-archive-keyring."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fetched=no
for archive in $(archives); do
    if download_from "$archive" >/dev/null 2>&1; then
        fetched=yes
        break
    fi
done
[ "$fetched" = yes ] || die "the source package $package of $suite could not be downloaded: is the network up?"

tar -xf "$work/source/${package}_"*.orig.tar.* -C "$work" --wildcards --strip-components=2 '*/deps/nuklear.h' ||
    die "the source package $package holds no toolkit header."
is_good "$work/nuklear.h" || die "the toolkit's header is older than $least."

mkdir -p "$(dirname "$header")"
mv "$work/nuklear.h" "$header"
