/// A receiver under a storm: chunks of several connections, cut anywhere, and bytes that are none.
#include "target.h"

namespace {

constexpr unsigned int connections = 3;

void remove_files_of(Tm_value const& value);

template <class Container>
void remove_files_within(Container const& container) {
    for (int i = 0; i < container.get_member_count(); ++i) {
        remove_files_of(*container.get_value(i));
    }
}

void remove_files_of(Tm_value const& value) {
    switch (value.get_value_type()) {
        case TMV_FILE:
            ::unlink(static_cast<Tm_file const&>(value).path().c_str());
            break;
        case TMV_ARRAY:
            return remove_files_within(static_cast<Tm_array const&>(value));
        case TMV_STRUCT:
            return remove_files_within(static_cast<Tm_struct const&>(value));
        case TMV_MESSAGE:
            for (auto const group : {Message::TMG_META, Message::TMG_BODY}) {
                remove_files_within(static_cast<Message const&>(value).get_const_struct(group));
            }
            break;
        default:
            break;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Tm_limits limits;
    limits.max_unfinished = 4;
    limits.max_held_bytes = 1000;
    std::size_t messages = 0;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> message, int, Tm_header const& header) {
            ++messages;
            FUZZ_CHECK(header.get_last_chunk());
            remove_files_of(*message);
        },
        [](int, unsigned int, std::string const& text) { FUZZ_CHECK(!text.empty()); }, limits);

    // The smallest message takes a header and 6 bytes.
    constexpr std::size_t smallest = sizeof(TM_HEADER) + 6;
    for (Fuzz_input input(data, size); !input.empty();) {
        unsigned int const choice = input.byte();
        int const connection = static_cast<int>(choice % connections);
        if (choice == 255) receiver.collect_garbage();
        if (choice == 254) receiver.forget(0);
        std::size_t const wanted = input.byte();
        std::size_t const piece = wanted < input.size() ? wanted : input.size();
        receiver.receive(connection, input.data(), piece);
        input = Fuzz_input(input.data() + piece, input.size() - piece);
    }
    FUZZ_CHECK(messages <= size / smallest);

    // Whatever came before, a good message is delivered.
    Message const good;
    std::size_t const before = messages;
    receiver.forget(1);
    Tm_chunk_sender(3).send(good, 1, 0, [&](unsigned char const* chunk, std::size_t length) {
        receiver.receive(1, chunk, length);
        return true;
    });
    FUZZ_CHECK(messages == before + 1);
    return 0;
}
