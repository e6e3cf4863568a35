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
