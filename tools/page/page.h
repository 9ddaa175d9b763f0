/// The page of `inspect --to html` without its data. The build makes it from page.html, page.css
/// and the scripts.
#pragma once

#include <string_view>

/// The three parts of the page, each up to the place where the program writes something.
extern std::string_view const page_until_title;
extern std::string_view const page_until_inputs;
extern std::string_view const page_until_end;
