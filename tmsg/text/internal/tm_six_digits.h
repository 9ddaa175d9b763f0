/// Doubles as printf writes them with %g in the C locale: six digits, without zeros at the end.
#pragma once

/// Returns the end of the text, which takes at most 13 bytes.
char* tm_write_six_digits(double value, char* at);
