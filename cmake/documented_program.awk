# Prints the C++ of a page: its C++ blocks, and what stands in its comments "<!-- cpp ... -->".
function begin() { printf "#line %d \"%s\"\n", NR + 1, FILENAME }
/^<!-- cpp$/ { is_hidden = 1; begin(); next }
is_hidden && /^-->$/ { is_hidden = 0; next }
/^```/ { is_shown = !is_shown && $0 == "```cpp"; if (is_shown) begin(); next }
is_hidden || is_shown
