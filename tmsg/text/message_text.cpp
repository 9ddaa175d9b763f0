/// The list text of a message, short enough for a log, and a message made from such a text.
#include <unistd.h>

#include <ostream>

#include "tmsg/message/message.h"
#include "tmsg/text/tm_tcl_decoder.h"
#include "tmsg/text/tm_tcl_encoder.h"
#include "tmsg/value/tm_exception.h"

namespace {

constexpr unsigned int log_limit = 1024;

/// Removes the files that a text has made, unless a message is given away that holds them: nobody
/// else can know their paths.
class Received_files {
public:
    explicit Received_files(Tm_tcl_decoder const& decoder) : decoder_(decoder) {}
    ~Received_files() {
        if (are_kept_) return;
        for (std::string const& path : decoder_.received_files()) ::unlink(path.c_str());
    }
    Received_files(Received_files const&) = delete;
    Received_files& operator=(Received_files const&) = delete;

    void keep() { are_kept_ = true; }

private:
    Tm_tcl_decoder const& decoder_;
    bool are_kept_ = false;
};

}  // namespace

std::ostream& operator<<(std::ostream& out, Message const& message) {
    Tm_tcl_encoder encoder(log_limit);
    message.accept(encoder);
    return out << encoder.get_string();
}

Message Message::from_string(std::string const& text) {
    Tm_tcl_decoder decoder;
    Received_files files(decoder);
    decoder.decode(text);
    if (!decoder.error().empty()) {
        throw Tm_exception(decoder.error() + " while parsing: " + text);
    }
    Tm_value const* const value = decoder.get_value();
    if (value->get_value_type() != TMV_MESSAGE) {
        throw Tm_exception("message expected but not found in: " + text);
    }
    Message message(static_cast<Message const&>(*value));
    files.keep();
    return message;
}
