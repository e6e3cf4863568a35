# What `cmake --install` puts where, and the package that other projects find the libraries by.
#
#   Runtime       program, checker and OS_ library, all in bin: the two look for the library beside themselves
#   Development   the other libraries, the public headers, the CMake package and the pkg-config file
#
# The prefix is /opt/Orvan unless the user names another one. Files that have to lie outside of it are in packaging/.
include(CMakePackageConfigHelpers)

if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set(CMAKE_INSTALL_PREFIX /opt/Orvan CACHE PATH "Where to install" FORCE)
endif()

set(VESMARA_BIN_DIR bin)
set(VESMARA_LIB_DIR lib)
set(VESMARA_INCLUDE_DIR include/Vesmara)
set(VESMARA_PACKAGE_DIR lib/cmake/Vesmara)

install(TARGETS vesmara-check RUNTIME DESTINATION "${VESMARA_BIN_DIR}" COMPONENT Runtime)
if(TARGET Vesmara)
    install(TARGETS Vesmara RUNTIME DESTINATION "${VESMARA_BIN_DIR}" COMPONENT Runtime)
endif()

# The names behind "Vesmara::" are the targets' own, but for the records, which are no library of their own.
set_target_properties(VesmaraRecords PROPERTIES EXPORT_NAME Records)
install(TARGETS OsLayer LogLib ConfigLib VesmaraRecords EXPORT VesmaraTargets
    LIBRARY DESTINATION "${VESMARA_BIN_DIR}" COMPONENT Runtime
    ARCHIVE DESTINATION "${VESMARA_LIB_DIR}" COMPONENT Development
    INCLUDES DESTINATION "${VESMARA_INCLUDE_DIR}")

install(FILES OsLayer/OsLayer.h LogLib/Log.h ConfigLib/ConfigLib.h
    DESTINATION "${VESMARA_INCLUDE_DIR}" COMPONENT Development)
install(FILES Include/External/Plugin/config.h
    DESTINATION "${VESMARA_INCLUDE_DIR}/External/Plugin" COMPONENT Development)

configure_package_config_file(cmake/VesmaraConfig.cmake.in "${CMAKE_BINARY_DIR}/VesmaraConfig.cmake"
    INSTALL_DESTINATION "${VESMARA_PACKAGE_DIR}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/VesmaraConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/VesmaraConfig.cmake" "${CMAKE_BINARY_DIR}/VesmaraConfigVersion.cmake"
    DESTINATION "${VESMARA_PACKAGE_DIR}" COMPONENT Development)
install(EXPORT VesmaraTargets NAMESPACE Vesmara:: DESTINATION "${VESMARA_PACKAGE_DIR}" COMPONENT Development)

configure_file(cmake/vesmara.pc.in "${CMAKE_BINARY_DIR}/vesmara.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/vesmara.pc" DESTINATION "${VESMARA_LIB_DIR}/pkgconfig" COMPONENT Development)
