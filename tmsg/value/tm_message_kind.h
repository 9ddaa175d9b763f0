/// Kinds and groups of messages, below everything that names them. Message inherits this, so that
/// users write Message::TMT_REQUEST and Message::TMG_BODY.
#pragma once

#include "tmsg/export.h"

class TMSG_API Tm_message_kind {
public:
    enum TMT : int { TMT_REQUEST = 0, TMT_RESPONSE = 1, TMT_FAULT = 2 };
    enum TMG : int { TMG_META = 0, TMG_BODY = 1 };

    /// "request", "response", "fault"; "unknown" for any other number.
    static char const* tmt_to_string(TMT kind);

protected:
    ~Tm_message_kind() = default;
};
