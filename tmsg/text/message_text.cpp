/// The list text of a message, short enough for a log, and a message made from such a text.
#include <unistd.h>

#include <ostream>

#include "tmsg/message/message.h"
#include "tmsg/text/tm_tcl_decoder.h"
#include "tmsg/text/tm_tcl_encoder.h"
#include "tmsg/value/tm_exception.h"

namespace {

constexpr unsigned int log_limit = 1024;

/// Nobody else can know the paths of the files that a refused text has made.
[[noreturn]] void refuse(Tm_tcl_decoder const& decoder, std::string const& why) {
    for (std::string const& path : decoder.received_files()) ::unlink(path.c_str());
    throw Tm_exception(why);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, Message const& message) {
    Tm_tcl_encoder encoder(log_limit);
    message.accept(encoder);
    return out << encoder.get_string();
}

Message Message::from_string(std::string const& text) {
    Tm_tcl_decoder decoder;
    decoder.decode(text);
    if (!decoder.error().empty()) refuse(decoder, decoder.error() + " while parsing: " + text);
    Tm_value const* const value = decoder.get_value();
    if (value->get_value_type() != TMV_MESSAGE) {
        refuse(decoder, "message expected but not found in: " + text);
    }
    return static_cast<Message const&>(*value);
}
