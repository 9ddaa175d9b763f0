#include "tmsg/value/tm_message_kind.h"

char const* Tm_message_kind::tmt_to_string(TMT kind) {
    switch (kind) {
        case TMT_REQUEST:
            return "request";
        case TMT_RESPONSE:
            return "response";
        case TMT_FAULT:
            return "fault";
    }
    return "unknown";
}
