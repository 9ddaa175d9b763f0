/// The error texts of the limits.
#pragma once

#include <string>

#include "tmsg/value/tm_limits.h"

inline std::string tm_too_deep(Tm_limits const& limits) {
    return "nested deeper than " + std::to_string(limits.max_depth) + " levels";
}

inline std::string tm_message_too_long(Tm_limits const& limits) {
    return "message longer than " + std::to_string(limits.max_message_bytes) + " bytes";
}

inline std::string tm_file_too_long(Tm_limits const& limits) {
    return "file longer than " + std::to_string(limits.max_file_bytes) + " bytes";
}

inline std::string tm_too_many_files(Tm_limits const& limits) {
    return "message with more than " + std::to_string(limits.max_files) + " files";
}

inline std::string tm_too_many_values(Tm_limits const& limits) {
    return "message with more than " + std::to_string(limits.max_values) + " values";
}

inline std::string tm_too_much_memory(Tm_limits const& limits) {
    return "message takes more than " + std::to_string(limits.max_memory) + " bytes of memory";
}

inline std::string tm_too_many_unfinished(Tm_limits const& limits) {
    return "more than " + std::to_string(limits.max_unfinished) + " unfinished messages";
}

inline std::string tm_too_much_held(Tm_limits const& limits) {
    return "more than " + std::to_string(limits.max_held_bytes) + " bytes in unfinished messages";
}

inline std::string tm_text_too_long(unsigned long limit) {
    return "text longer than " + std::to_string(limit) + " bytes";
}
