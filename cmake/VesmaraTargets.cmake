# Settings that every target of ours shares: language level, warnings, sanitizers.

include(CheckCXXSourceCompiles)
include(CheckPIESupported)
find_package(Threads REQUIRED)
check_pie_supported(LANGUAGES CXX)

# What makes a fault of ours harder to use for somebody else. The program runs as root and reads files that every local
# user may write. Only in optimised builds: the checks of _FORTIFY_SOURCE need the optimiser, and the sanitizers have
# better ones.
#   -fstack-protector-strong   a stack buffer that overflows ends the process
#   -fstack-clash-protection   a large stack frame cannot jump over the guard page
#   _FORTIFY_SOURCE            calls of the C library are checked against the size of the buffer
#   relro, now                 the tables of foreign addresses are read-only once the program runs
#   noexecstack                no code on the stack
# Level 3 of _FORTIFY_SOURCE needs a compiler that knows sizes at run time.
check_cxx_source_compiles(
    "int main(int argc, char** argv) { return __builtin_dynamic_object_size(argv[argc - 1], 0) == 0; }"
    VESMARA_KNOWS_DYNAMIC_SIZES)
set(vesmara_fortify_level $<IF:$<BOOL:${VESMARA_KNOWS_DYNAMIC_SIZES}>,3,2>)
set(vesmara_hardened $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)

# For what is shipped; the tests replace some of these calls.
function(vesmara_harden target)
    if(VESMARA_SANITIZE)
        return()
    endif()
    target_compile_options(${target} PRIVATE
        "$<${vesmara_hardened}:-fstack-protector-strong;-fstack-clash-protection>"
        "$<${vesmara_hardened}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${vesmara_fortify_level}>")
    target_link_options(${target} PRIVATE
        "$<${vesmara_hardened}:-Wl,-z,relro;-Wl,-z,now;-Wl,-z,noexecstack>")
endfunction()

function(vesmara_target target)
    set_target_properties(${target} PROPERTIES
        CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
        POSITION_INDEPENDENT_CODE ON)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    # Much of the toolkit is unused; without it the program is a quarter smaller.
    target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    target_link_options(${target} PRIVATE -Wl,--gc-sections)
    if(VESMARA_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(VESMARA_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${VESMARA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${VESMARA_SANITIZE})
    endif()
endfunction()

# Exports nothing but what is marked for it. Not for the static libraries: a client's shared object may hand them on.
function(vesmara_export_marked_only target)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()
