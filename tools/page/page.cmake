# Embeds the page of `inspect --to html` into the program: page.html with the style and the script.
# The page allows this style and this script by their hashes, and nothing else.

# Sets `result` to the base64 text of the SHA-256 of a text.
function(hash_for_policy text result)
    string(SHA256 hex "${text}")
    string(CONCAT alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz" "0123456789+/")
    set(encoded "")
    # 3 bytes make 4 digits. The last 2 of the 32 bytes make 3 digits and a mark.
    foreach(at RANGE 0 60 6)
        string(SUBSTRING "${hex}00" ${at} 6 bytes)
        foreach(shift 18 12 6 0)
            math(EXPR digit "(0x${bytes} >> ${shift}) & 63")
            string(SUBSTRING "${alphabet}" ${digit} 1 digit)
            string(APPEND encoded "${digit}")
        endforeach()
    endforeach()
    string(REGEX REPLACE ".$" "=" encoded "${encoded}")
    set(${result} "${encoded}" PARENT_SCOPE)
endfunction()

# The scripts follow each other in one element.
set(page_folder ${CMAKE_CURRENT_LIST_DIR})
foreach(file page.html page.css capture.js list.js page.js)
    cmake_path(GET file EXTENSION LAST_ONLY part)
    string(SUBSTRING ${part} 1 -1 part)
    file(READ ${page_folder}/${file} text)
    string(APPEND page_${part} "${text}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page_folder}/${file})
endforeach()
hash_for_policy("${page_css}" page_css_hash)
hash_for_policy("${page_js}" page_js_hash)
foreach(part css_hash js_hash css js)
    string(REPLACE "{{${part}}}" "${page_${part}}" page_html "${page_html}")
endforeach()
# What stands up to each mark is a part of its own.
foreach(mark title inputs end)
    string(FIND "${page_html}" "{{${mark}}}" size)
    string(LENGTH "{{${mark}}}" rest)
    math(EXPR rest "${size} + ${rest}")
    string(SUBSTRING "${page_html}" 0 ${size} page_until_${mark})
    string(SUBSTRING "${page_html}" ${rest} -1 page_html)
endforeach()
configure_file(${page_folder}/page.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/page.cpp @ONLY)
