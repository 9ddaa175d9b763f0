# Builds the C++ of a page as one program, so that the page stays right. Compiler messages name the
# lines of the page.
function(tmsg_add_documented_program target page)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    set(script ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/documented_program.awk)
    add_custom_command(
        OUTPUT ${source}
        COMMAND awk -f ${script} ${page} > ${source}
        DEPENDS ${page} ${script}
        VERBATIM
    )
    add_executable(${target} ${source})
    target_link_libraries(${target} PRIVATE tmsg::tmsg tmsg_warnings)
endfunction()
