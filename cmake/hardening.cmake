# These flags make faults harder to exploit. Optimised builds of the library and the program use
# them. Builds with sanitizers do not: the sanitizers find the same faults, and do not work with all
# flags.
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

    # Only compilers for one family of processors have the last flag.
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
