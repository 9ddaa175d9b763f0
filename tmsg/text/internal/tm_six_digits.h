/// Doubles as printf writes them with %g in the C locale: six digits, without zeros at the end.
#pragma once

/// Writes the text to `at`, where the caller must have room for 13 bytes. Returns its end.
char* tm_write_six_digits(double value, char* at);
