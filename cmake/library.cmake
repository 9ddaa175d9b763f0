# Sets what both libraries, tmsg and tmsg-nats, have in common.
include(CheckCXXCompilerFlag)

function(tmsg_set_up_library target)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        # A shared library may contain the static one.
        POSITION_INDEPENDENT_CODE ON
        VISIBILITY_INLINES_HIDDEN ON
        VERSION ${PROJECT_VERSION}
        SOVERSION ${TMSG_SOVERSION}
    )
    # A unique symbol would keep the library in the process after dlclose().
    check_cxx_compiler_flag(-fno-gnu-unique TMSG_HAS_fno_gnu_unique)
    if(TMSG_HAS_fno_gnu_unique)
        target_compile_options(${target} PRIVATE -fno-gnu-unique)
    endif()
    # Calls within the library go straight to their target, because no program replaces its
    # functions.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    target_link_options(${target} PRIVATE LINKER:-Bsymbolic-functions)
    # The list keeps copies of the standard library's templates out of the interface.
    set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${target} PRIVATE LINKER:--version-script=${exports})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${exports})
endfunction()
