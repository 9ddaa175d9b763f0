# A project that adds the library must find these variables and properties unchanged.
set(SURROUNDINGS
    BUILD_SHARED_LIBS BUILD_TESTING CMAKE_BUILD_TYPE CMAKE_CXX_EXTENSIONS CMAKE_CXX_FLAGS
    CMAKE_CXX_STANDARD CMAKE_CXX_VISIBILITY_PRESET CMAKE_POSITION_INDEPENDENT_CODE)

macro(remember_surroundings)
    foreach(name ${SURROUNDINGS})
        set(before_${name} "${${name}}")
    endforeach()
endmacro()

macro(check_surroundings)
    foreach(name ${SURROUNDINGS})
        if(NOT "${before_${name}}" STREQUAL "${${name}}")
            message(FATAL_ERROR "${name} was '${before_${name}}' and is '${${name}}'")
        endif()
    endforeach()
    foreach(property COMPILE_OPTIONS COMPILE_DEFINITIONS INCLUDE_DIRECTORIES LINK_LIBRARIES)
        get_directory_property(leaked ${property})
        if(leaked)
            message(FATAL_ERROR "${property} of the directory is '${leaked}'")
        endif()
    endforeach()
    foreach(target tmsg_tests tmsg_program tmsg_demo_server Experimental)
        if(TARGET ${target})
            message(FATAL_ERROR "the target ${target} came along")
        endif()
    endforeach()
endmacro()
