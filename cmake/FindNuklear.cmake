# Finds the Nuklear header and defines Nuklear::Nuklear for everything that includes it.
#
# Searched in this order:
#   1. NUKLEAR_INCLUDE_DIR, the folder that holds nuklear.h
#   2. what a distribution installs: nuklear.h or nuklear/nuklear.h on the system's include path
#   3. .deps/nuklear in the source tree, where scripts/setup.sh puts the header
#
# The target carries the configuration macros too. They change the layout of the toolkit's structures, so every source
# has to see the same set; no source defines one of its own. Only NK_IMPLEMENTATION stays out: one source defines it.

find_path(NUKLEAR_INCLUDE_DIR
    NAMES nuklear.h
    PATH_SUFFIXES nuklear
    DOC "Folder that holds nuklear.h")
if(NOT NUKLEAR_INCLUDE_DIR)
    find_path(NUKLEAR_INCLUDE_DIR
        NAMES nuklear.h
        PATHS "${CMAKE_SOURCE_DIR}/.deps/nuklear"
        NO_DEFAULT_PATH)
endif()
mark_as_advanced(NUKLEAR_INCLUDE_DIR)

# The version is the newest one in the header's own list of changes, which has the latest first. A header that has lost
# its list is taken as it is.
set(Nuklear_VERSION "")
if(EXISTS "${NUKLEAR_INCLUDE_DIR}/nuklear.h")
    file(STRINGS "${NUKLEAR_INCLUDE_DIR}/nuklear.h" version_line REGEX "\\(4\\.[0-9]+\\.[0-9]+\\)" LIMIT_COUNT 1)
    string(REGEX MATCH "4\\.[0-9]+\\.[0-9]+" Nuklear_VERSION "${version_line}")
endif()
if(Nuklear_VERSION AND Nuklear_FIND_VERSION AND Nuklear_VERSION VERSION_LESS Nuklear_FIND_VERSION)
    message(FATAL_ERROR
        "${NUKLEAR_INCLUDE_DIR}/nuklear.h is Nuklear ${Nuklear_VERSION}, and ${Nuklear_FIND_VERSION} is needed: "
        "run scripts/setup.sh and set NUKLEAR_INCLUDE_DIR to .deps/nuklear.")
endif()

set(Nuklear_FOUND FALSE)
if(NUKLEAR_INCLUDE_DIR AND EXISTS "${NUKLEAR_INCLUDE_DIR}/nuklear.h")
    set(Nuklear_FOUND TRUE)
endif()

if(NOT Nuklear_FOUND AND Nuklear_FIND_REQUIRED)
    message(FATAL_ERROR
        "The Nuklear header nuklear.h was not found: run scripts/setup.sh, or set NUKLEAR_INCLUDE_DIR to its folder.")
endif()

if(Nuklear_FOUND AND NOT TARGET Nuklear::Nuklear)
    add_library(Nuklear::Nuklear INTERFACE IMPORTED)
    # Imported targets hand on their folders as system ones: our warnings do not apply to the toolkit's header.
    set_target_properties(Nuklear::Nuklear PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "${NUKLEAR_INCLUDE_DIR}"
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${NUKLEAR_INCLUDE_DIR}")
    target_compile_definitions(Nuklear::Nuklear INTERFACE
        NK_INCLUDE_STANDARD_IO
        NK_INCLUDE_STANDARD_VARARGS
        NK_INCLUDE_DEFAULT_ALLOCATOR
        NK_INCLUDE_VERTEX_BUFFER_OUTPUT
        NK_INCLUDE_FONT_BAKING
        NK_INCLUDE_DEFAULT_FONT
        NK_KEYSTATE_BASED_INPUT)
endif()
