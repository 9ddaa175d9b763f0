# Installs the libraries, their public headers, the program, the files that find_package(tmsg) and
# pkg-config need, and the documents. No installed file holds an absolute path, so the installed tree
# can be moved. The components:
#  - runtime: what a program needs that uses the libraries
#  - development: what a compiler needs
#  - program: the program tmsg, its man page and its completion
#  - documentation: the documents and the other man pages
include(CMakePackageConfigHelpers)

set(TMSG_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tmsg)

# tmsg_install_library(TARGET EXPORT FILE)
function(tmsg_install_library target export file)
    install(TARGETS ${target} EXPORT ${export}
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development
        FILE_SET HEADERS COMPONENT development)
    install(EXPORT ${export} NAMESPACE tmsg:: FILE ${file}
        DESTINATION ${TMSG_PACKAGE_DIR} COMPONENT development)
endfunction()

tmsg_install_library(tmsg tmsg-targets tmsgTargets.cmake)
# The CMake component "nats" has an export of its own, because a package may lack it.
set(modules tmsg)
if(TMSG_HAS_NATS)
    tmsg_install_library(tmsg_nats tmsg-nats-targets tmsgNatsTargets.cmake)
    list(APPEND modules tmsg-nats)
endif()

configure_package_config_file(cmake/tmsgConfig.cmake.in tmsgConfig.cmake
    INSTALL_DESTINATION ${TMSG_PACKAGE_DIR}
    NO_SET_AND_CHECK_MACRO
    NO_CHECK_REQUIRED_COMPONENTS_MACRO
)
configure_file(cmake/tmsgConfigVersion.cmake.in tmsgConfigVersion.cmake @ONLY)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/tmsgConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/tmsgConfigVersion.cmake
    DESTINATION ${TMSG_PACKAGE_DIR} COMPONENT development
)

# A static library does not know the libraries that it needs, so the pkg-config modules name them.
if(TMSG_LIBRARY_TYPE STREQUAL "STATIC")
    set(TMSG_PC_CFLAGS " -DTMSG_STATIC")
    set(TMSG_PC_PRIVATE "Requires.private: ACE\n")
    set(TMSG_NATS_PC_PRIVATE "Requires.private: libnats\nLibs.private: -pthread\n")
endif()
# The path from the folder of tmsg.pc to the prefix has one ".." for each part of the folder.
string(REGEX REPLACE "[^/]+" ".." TMSG_PREFIX_FROM_PC ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
foreach(module ${modules})
    configure_file(cmake/${module}.pc.in ${module}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${module}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

# tmsg_install_file(FILE FOLDER NAME COMPONENT): to a folder of data.
function(tmsg_install_file file folder name component)
    install(FILES ${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder} RENAME ${name}
        COMPONENT ${component})
endfunction()

# Where zsh looks below /usr/local/share. Packages of Debian have a folder of their own.
set(TMSG_ZSH_FOLDER zsh/site-functions CACHE STRING
    "Where the completion for zsh is installed, below the folder of data")
if(TMSG_BUILD_TOOLS)
    install(TARGETS tmsg_program RUNTIME COMPONENT program)
    install(FILES docs/man/tmsg.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
    tmsg_install_file(completion/tmsg.bash bash-completion/completions tmsg program)
    tmsg_install_file(completion/_tmsg ${TMSG_ZSH_FOLDER} _tmsg program)
    tmsg_install_file(completion/tmsg.fish fish/vendor_completions.d tmsg.fish program)
endif()

# The licence goes with what is installed alone most often.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
# All that the documents lead to is installed with them, in the same folders.
foreach(page README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
        benchmarks/peers/README.md contrib/gdb/README.md contrib/wireshark/README.md)
    cmake_path(GET page PARENT_PATH folder)
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_DOCDIR}/${folder} COMPONENT documentation)
endforeach()
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg"
    PATTERN man EXCLUDE PATTERN reference EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
    USE_SOURCE_PERMISSIONS PATTERN CMakeLists.txt EXCLUDE PATTERN __pycache__ EXCLUDE)
install(FILES docs/man/tmsg-text.7 docs/man/tmsg-wire.7
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT documentation)

# gdb loads the printers with the library whose path they have below the folder auto-load. The prefix
# of that path is the one that the installation names.
if(TMSG_LIBRARY_TYPE STREQUAL "SHARED")
    install(CODE "get_filename_component(tmsg_folder \"${CMAKE_INSTALL_LIBDIR}\" ABSOLUTE
        BASE_DIR \"\${CMAKE_INSTALL_PREFIX}\")
    get_filename_component(tmsg_folder \"\${tmsg_folder}\" ABSOLUTE)" COMPONENT development)
    tmsg_install_file(contrib/gdb/tmsg.py "gdb/auto-load\${tmsg_folder}"
        libtmsg.so.${PROJECT_VERSION}-gdb.py development)
endif()
tmsg_install_file(contrib/wireshark/tmsg.lua tmsg/wireshark tmsg.lua program)
