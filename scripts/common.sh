# shellcheck shell=bash
# Shared by the scripts of this repository; sourced, never run.

# Ends the script with one sentence on standard error.
die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

step() {
    printf '== %s\n' "$*"
}

# Runs a command as root: directly, or through sudo where sudo asks for nothing. The display's variables go along, since
# sudo drops them and the program needs them.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo -n -- env DISPLAY="${DISPLAY:-}" XAUTHORITY="${XAUTHORITY:-${HOME:-/root}/.Xauthority}" "$@"
    fi
}

need_root() {
    as_root true 2>/dev/null ||
        die "$1 needs root rights: run it as root, or as a user for whom sudo asks no password."
}

# Ends a child of the shell. It is told again and again: Xvfb loses a signal that arrives just before it waits for
# clients.
end_process() {
    while kill "$1" 2>/dev/null; do
        sleep 0.02
    done
    wait "$1" || true
}

# Builds a release. $1: build folder; the rest: options for configuring.
build_release() {
    step "Building"
    cmake --log-level=WARNING -S . -B "$1" -G Ninja -DCMAKE_BUILD_TYPE=Release "${@:2}" >/dev/null ||
        die "the build could not be configured."
    cmake --build "$1" || die "the build failed."
}

# Runs the tests that are built in folder $1, with options for ctest behind it; two at a time, in private mounts: the
# tests mount things in namespaces of their own, below one that nothing leaks out of.
run_tests() {
    scripts/private_mounts.sh ctest --test-dir "$1" -j2 --output-on-failure --no-tests=error "${@:2}"
}

# Makes a folder the caller's again behind what has run as root.
give_back() {
    [ "$(id -u)" -eq 0 ] || as_root chown -R "$(id -u):$(id -g)" "$1"
}

# Starts an X server without a screen and points DISPLAY to it; its process id goes to `server`. A key that is held does
# not repeat there: how often it would depends on the time. $1: an empty folder for its files; the rest: a command that
# runs it elsewhere and becomes it.
start_xvfb() {
    local number
    mkfifo "$1/display"
    "${@:2}" Xvfb -displayfd 7 -screen 0 1920x1080x24 +extension GLX -noreset -nolisten tcp -r \
        7>"$1/display" 2>"$1/server.out" &
    server=$!
    IFS= read -r -t 60 number <"$1/display" || die "Xvfb did not start: $(tail -n 1 "$1/server.out")"
    export DISPLAY=:$number
    unset XAUTHORITY
}
