# Builds the first C++ block of a page as a program, so that the page stays right.
function(tmsg_add_documented_program target page)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    add_custom_command(
        OUTPUT ${source}
        COMMAND awk "/^```/ { if (inside) exit; inside = ($0 == \"```cpp\"); next } inside"
            ${page} > ${source}
        DEPENDS ${page}
        VERBATIM
    )
    add_executable(${target} ${source})
    target_link_libraries(${target} PRIVATE tmsg::tmsg tmsg_warnings)
endfunction()
