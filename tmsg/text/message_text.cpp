#include <ostream>

#include "tmsg/message/tm_children.h"
#include "tmsg/text/tm_tcl_decoder.h"
#include "tmsg/text/tm_tcl_encoder.h"
#include "tmsg/value/tm_exception.h"

namespace {

constexpr unsigned int log_limit = 1024;

/// Removes the files that a text has made, except those of the message that the caller gets. Nobody
/// else can know their paths.
class Received_files {
public:
    explicit Received_files(Tm_tcl_decoder const& decoder) : decoder_(decoder) {}
    ~Received_files() {
        if (!is_message_given_) {
            tm_remove_received_files(decoder_.received_files());
        } else if (!decoder_.received_files().empty()) {
            Tm_array const& values = *decoder_.values();
            for (int i = 1; i < values.get_member_count(); ++i) {
                tm_remove_received_files(*values.get_value(i));
            }
        }
    }
    Received_files(Received_files const&) = delete;
    Received_files& operator=(Received_files const&) = delete;

    void give_message() { is_message_given_ = true; }

private:
    Tm_tcl_decoder const& decoder_;
    bool is_message_given_ = false;
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
    files.give_message();
    return message;
}
