/// The type codes of values, and the kinds and groups of messages. The numbers do not appear on the
/// wire; tm_wire.h has the tags that do.
#pragma once

#include "tmsg/export.h"

/// The type codes of the value classes. Each code has one getter, which throws for a value of any
/// other code: get_member_int8() reads TMV_INT8, and so on.
/// TMV_STRUCT is also the code of Tm_prenamed_struct. No class has the code 16.
enum TMV : int {
    TMV_INT8 = 0,
    TMV_UINT8 = 1,
    TMV_INT16 = 2,
    TMV_UINT16 = 3,
    TMV_INT32 = 4,
    TMV_UINT32 = 5,
    TMV_INT64 = 6,
    TMV_UINT64 = 7,
    TMV_DOUBLE = 8,
    TMV_BOOL = 9,
    TMV_STRING = 10,
    TMV_DATE = 11,
    TMV_BINARY = 12,
    TMV_FILE = 13,
    TMV_ARRAY = 14,
    TMV_STRUCT = 15,
    TMV_MESSAGE = 17
};

/// The kinds (TMT) and groups (TMG) of messages. A group is one of the two structs of a message.
/// Message inherits this class, so that users write Message::TMT_REQUEST and Message::TMG_BODY.
class TMSG_API Tm_message_kind {
public:
    enum TMT : int { TMT_REQUEST = 0, TMT_RESPONSE = 1, TMT_FAULT = 2 };
    /// TMG_META describes the message. TMG_BODY has the arguments, the results or the fault.
    enum TMG : int { TMG_META = 0, TMG_BODY = 1 };

    /// Returns "request", "response" or "fault", and "unknown" for any other number.
    static char const* tmt_to_string(TMT kind);

protected:
    ~Tm_message_kind() = default;
};
