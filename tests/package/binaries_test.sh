#!/usr/bin/env bash
# What the linker made of the program and the OS_ library: names that they export, and protections.
#
#   binaries_test.sh exports LIBRARY PROGRAM    the library exports its 15 functions, the program nothing of ours
#   binaries_test.sh hardening FILE...          each file passes hardening-check
set -euo pipefail

functions="OS_CloseThreadHandle(void*)
OS_CreateAutoEvent(int)
OS_CreateThread(void* (*)(void*), void*)
OS_DeleteGuardedCodeSection(pthread_mutex_t*)
OS_DestroyEvent(void*)
OS_EnterGuardedCodeSection(pthread_mutex_t*)
OS_GetLastError()
OS_GetProgramDataPath(char*, unsigned int)
OS_InitializeGuardedCodeSection(pthread_mutex_t*)
OS_LeaveGuardedCodeSection(pthread_mutex_t*)
OS_SetEvent(void*)
OS_SetThreadPriority(void*, int)
OS_TerminateThread(void*)
OS_WaitForEvent(void*, unsigned int)
OS_WaitForThreadToFinishWithTimeout(void*, unsigned int)"

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# Names that a file exports, sorted.
exports_of() {
    nm --dynamic --demangle --defined-only "$1" | cut -d ' ' -f 3- | LC_ALL=C sort
}

check_exports() {
    local difference
    difference=$(diff <(printf '%s\n' "$functions") <(exports_of "$1")) || fail "$1 exports other names: $difference"
    # A program exports what its libraries are to find there: variables that were copied into it, and nothing of ours.
    exports_of "$2" | grep -E 'OS_|ConfigLib|ConfigFile|Log|Dlg|nk_|Open' && fail "$2 exports the names above."
    return 0
}

check_hardening() {
    # Control-flow protection is left out: the compilers switch it on by default on some systems alone.
    hardening-check --nocfprotection "$@" || fail "see above."
}

case "$1" in
    exports) check_exports "$2" "$3" ;;
    hardening) shift && check_hardening "$@" ;;
    *) fail "unknown check '$1'." ;;
esac
