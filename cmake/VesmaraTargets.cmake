# Settings that every target of ours shares: language level, warnings, sanitizers.

find_package(Threads REQUIRED)

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
