/// Names that the wire can carry.
#pragma once

class Message;

/// Throws Tm_out_of_range_exception, the label "String length", when the method name or a member
/// name anywhere in the message is longer than 65,535 bytes.
void tm_check_name_lengths(Message const& message);
