# Installs the libraries, their public headers, the program, and the files that find_package(tmsg)
# and pkg-config need. No installed file holds an absolute path, so the installed tree can be moved.
include(CMakePackageConfigHelpers)

set(TMSG_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tmsg)

install(TARGETS tmsg EXPORT tmsg-targets FILE_SET HEADERS)
if(TMSG_BUILD_TOOLS)
    install(TARGETS tmsg_program)
endif()
install(EXPORT tmsg-targets
    NAMESPACE tmsg::
    FILE tmsgTargets.cmake
    DESTINATION ${TMSG_PACKAGE_DIR}
)

# The component "nats" has an export of its own, because a package may lack it.
if(TMSG_HAS_NATS)
    install(TARGETS tmsg_nats EXPORT tmsg-nats-targets FILE_SET HEADERS)
    install(EXPORT tmsg-nats-targets
        NAMESPACE tmsg::
        FILE tmsgNatsTargets.cmake
        DESTINATION ${TMSG_PACKAGE_DIR}
    )
endif()

configure_package_config_file(cmake/tmsgConfig.cmake.in tmsgConfig.cmake
    INSTALL_DESTINATION ${TMSG_PACKAGE_DIR}
    NO_SET_AND_CHECK_MACRO
)
# Before 1.0 every minor version may change the interface.
write_basic_package_version_file(tmsgConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/tmsgConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/tmsgConfigVersion.cmake
    DESTINATION ${TMSG_PACKAGE_DIR}
)

# The path from the folder of tmsg.pc to the prefix has one ".." for each part of the folder.
string(REGEX REPLACE "[^/]+" ".." TMSG_PREFIX_FROM_PC ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(modules tmsg)
if(TMSG_HAS_NATS)
    list(APPEND modules tmsg-nats)
endif()
foreach(module ${modules})
    configure_file(cmake/${module}.pc.in ${module}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${module}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
