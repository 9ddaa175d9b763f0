# What makes faults harder to exploit, for the library and the program, in optimised builds. The
# sanitizers find what these flags guard against, and do not work with all of them.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

set(TMSG_HARDENED_CONFIGS Release RelWithDebInfo MinSizeRel)
add_library(tmsg_hardening INTERFACE)

string(TOUPPER "CMAKE_CXX_FLAGS_${CMAKE_BUILD_TYPE}" flags_of_build)
set(TMSG_IS_HARDENED OFF)
if(TMSG_HARDENING AND NOT "${CMAKE_CXX_FLAGS} ${${flags_of_build}}" MATCHES "-fsanitize")
    set(TMSG_IS_HARDENED ON)
    check_pie_supported(LANGUAGES CXX)
    list(JOIN TMSG_HARDENED_CONFIGS "," configs)

    # The last one is for processors of one family.
    foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
        string(MAKE_C_IDENTIFIER "TMSG_HAS${flag}" has_flag)
        check_cxx_compiler_flag(${flag} ${has_flag})
        if(${has_flag})
            target_compile_options(tmsg_hardening INTERFACE $<$<CONFIG:${configs}>:${flag}>)
        endif()
    endforeach()
    if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
        target_compile_options(tmsg_hardening INTERFACE
            "$<$<CONFIG:${configs}>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    endif()
    target_link_options(tmsg_hardening INTERFACE
        "$<$<CONFIG:${configs}>:LINKER:-z,relro;LINKER:-z,now>")
endif()
