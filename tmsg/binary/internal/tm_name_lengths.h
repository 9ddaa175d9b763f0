/// The check that the wire form can carry all names.
#pragma once

class Tm_value;

/// Throws Tm_out_of_range_exception with the label "String length" when a method name or a member
/// name anywhere in the value is longer than 65,535 bytes.
void tm_check_name_lengths(Tm_value const& value);
