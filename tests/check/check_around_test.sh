#!/usr/bin/env bash
# What comes with the checker: check_around_test.sh CASE SOURCE_FOLDER CHECKER
set -euo pipefail
readonly source_tree=$2 checker=$3

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

# The program has nothing to do with a display.
LinksNeitherX11NorGL() {
    local libraries
    libraries=$(LC_ALL=C ldd "$checker" | sed -E 's/^\s*([^ ]+).*/\1/; s/\.so.*//; s/.*\///' | sort)
    ! grep -qE '^lib(X|xcb|GL|EGL)' <<<"$libraries" || fail "linked: $libraries"
    grep -qx libOsLayer <<<"$libraries" || fail "the OS_ library is not linked"
}

ManualPageHasNothingToComplainAbout() {
    local page=$source_tree/packaging/vesmara-check.1 said heading
    said=$(mandoc -T lint -W warning "$page") || fail "$said"
    [ -z "$said" ] || fail "$said"
    for heading in 'EXIT STATUS' EXAMPLES 'SEE ALSO'; do
        grep -qxF ".Sh $heading" "$page" || fail "no $heading"
    done
}

# $1: what is offered, one a line; the rest: the words typed so far, split as bash splits them.
expect_completion() {
    local expected=$1 actual
    shift
    # shellcheck disable=SC2016  # the inner shell fills them in
    actual=$(cd "$place" && bash -c '
        . "$1"
        shift
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        _vesmara_check
        printf "%s\n" "${COMPREPLY[@]}" | LC_ALL=C sort' - "$source_tree/packaging/vesmara-check.bash" "$@")
    [ "$actual" = "$expected" ] || fail "for '$*': $actual"
}

CompletionOffersOptionsFoldersAndFiles() {
    place=$(mktemp -d)
    trap 'rm -rf "$place"' EXIT
    mkdir "$place/folder"
    touch "$place/file"
    expect_completion '--quiet ' vesmara-check --q
    expect_completion $'--directory=\n--help \n--json \n--mtab=\n--quiet \n--version ' vesmara-check --
    expect_completion folder vesmara-check --directory = f
    expect_completion folder vesmara-check --directory =
    expect_completion $'file\nfolder' vesmara-check --json --mtab = f
    # shellcheck disable=SC2016
    bash -c '. "$1" && complete -p vesmara-check' - "$source_tree/packaging/vesmara-check.bash" |
        grep -qF _vesmara_check || fail "nothing is registered"
}

# Every option of the help text is one that is completed and one that the page has.
OptionsAreTheSameInHelpPageAndCompletion() {
    local option
    while IFS= read -r option; do
        grep -qF -- "$option" "$source_tree/packaging/vesmara-check.bash" || fail "$option is not completed"
        grep -qE -- "^\.It Fl -${option#--}( |$)" "$source_tree/packaging/vesmara-check.1" || fail "$option: no page"
    done < <("$checker" --help | grep -oE '^  --[a-z]+' | tr -d ' ')
}

[ "$(type -t "$1")" = function ] || fail "no such case: $1"
"$1"
