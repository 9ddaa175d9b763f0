/// Puts a receiver under a storm of bytes that are no chunks, of chunks with random headers and of
/// connections that vanish. Checks that it delivers each good message between them whole and once.
#include <algorithm>
#include <map>

#include "target.h"

namespace {

constexpr int raw_connections = 3;       ///< they carry any bytes, cut anywhere
constexpr int shared = raw_connections;  ///< carries good messages and chunks with random headers
constexpr int honest = shared + 1;       ///< carries only good messages
constexpr unsigned int first_good_number = 1000;

Message const& good_message() {
    static auto const message = [] {
        auto made = std::make_unique<Message>();
        made->add_member(Message::TMG_META, "number", 7);
        made->add_member(Message::TMG_BODY, "text", std::string(100, 't'));
        return made;
    }();
    return *message;
}

using Chunks = std::vector<std::vector<unsigned char>>;

/// Returns the good message in chunks of that size. Keeps the chunks, because sending takes longer
/// than receiving.
Chunks const& sent_chunks(unsigned int chunk_size, unsigned int number) {
    static std::map<std::pair<unsigned int, unsigned int>, Chunks> kept;
    Chunks& chunks = kept[{chunk_size, number}];
    if (!chunks.empty()) return chunks;
    auto const keep = [&](unsigned char const* chunk, std::size_t size) {
        chunks.emplace_back(chunk, chunk + size);
        return true;
    };
    Tm_chunk_sender(static_cast<int>(chunk_size)).send(good_message(), number, 0, keep);
    return chunks;
}

/// Sends good messages one after another, a chunk at a time.
class Good_sender {
public:
    Good_sender(Tm_chunk_receiver& receiver, int connection)
        : receiver_(receiver), connection_(connection) {}

    /// Sends the next chunk in two pieces. The first has at most `cut` bytes.
    void send_next(unsigned int chunk_size, std::size_t cut) {
        if (next_ == chunks_->size()) begin_message(chunk_size);
        auto const& chunk = (*chunks_)[next_++];
        std::size_t const first = std::min(cut, chunk.size());
        receiver_.receive(connection_, chunk.data(), first);
        receiver_.receive(connection_, chunk.data() + first, chunk.size() - first);
        if (next_ == chunks_->size()) ++finished_;
    }
    /// Returns the number of messages that were sent completely.
    unsigned int finished() const { return finished_; }

private:
    void begin_message(unsigned int chunk_size) {
        unsigned int const number = first_good_number + finished_ % 3;
        chunks_ = &sent_chunks(chunk_size, number);
        next_ = 0;
    }

    Tm_chunk_receiver& receiver_;
    int connection_;
    Chunks const* chunks_ = &none_;
    Chunks const none_;
    std::size_t next_ = 0;
    unsigned int finished_ = 0;
};

class Storm {
public:
    /// Limits hold for each connection. With tight limits, the receiver may refuse good messages
    /// that share a connection with hostile chunks.
    explicit Storm(bool is_tight)
        : is_tight_(is_tight), receiver_(on_message(), on_error(), limits(is_tight)) {}

    void step(Fuzz_input& input) {
        switch (unsigned int const choice = input.below(8)) {
            case 0:
            case 1:
            case 2:
                return receive_raw(static_cast<int>(choice), input);
            case 3:
            case 4:
                return receive_chunk(input);
            case 5:
                send_good(input);
                return receiver_.collect_garbage();
            case 6:
                return send_good(input);
            default:
                return receiver_.forget(static_cast<int>(input.below(raw_connections)));
        }
    }

    void check(std::size_t input_size) const {
        constexpr std::size_t smallest_message = 9;  // bytes of input that a message needs
        FUZZ_CHECK(delivered_.at(honest) == honest_.finished());
        FUZZ_CHECK(is_tight_ || delivered_.at(shared) == shared_.finished());
        FUZZ_CHECK(others_ <= input_size / smallest_message);
    }

private:
    static Tm_limits limits(bool is_tight) {
        Tm_limits limits;
        limits.max_unfinished = is_tight ? 2 : 5;
        if (is_tight) limits.max_held_bytes = 500;
        return limits;
    }

    Tm_chunk_receiver::Message_handler on_message() {
        return [this](std::unique_ptr<Message> message, int connection, Tm_header const& header) {
            FUZZ_CHECK(header.get_last_chunk());
            bool const is_good = connection >= shared && header.get_seq_no() >= first_good_number;
            if (is_good) {
                ++delivered_.at(connection);
                FUZZ_CHECK(*message == good_message());
            } else {
                ++others_;
                tm_remove_received_files(*message);
            }
        };
    }

    static Tm_chunk_receiver::Error_handler on_error() {
        return [](int connection, unsigned int, std::string const& text) {
            FUZZ_CHECK(!text.empty());
            FUZZ_CHECK(connection != honest);
        };
    }

    void receive_raw(int connection, Fuzz_input& input) {
        std::size_t const wanted = input.byte();
        std::size_t const size = std::min(wanted, input.size());
        receiver_.receive(connection, input.data(), size);
        input.skip(size);
    }

    /// Receives a chunk. The input chooses its flags and its sequence number, 0 to 3.
    void receive_chunk(Fuzz_input& input) {
        unsigned int const flags = input.byte();
        std::size_t const wanted = input.byte();
        std::size_t const size = std::min(wanted, input.size());
        Tm_header header;
        header.set_first_chunk((flags & 1) != 0);
        header.set_last_chunk((flags & 2) != 0);
        header.set_discard_eligible((flags & 4) != 0);
        header.set_seq_no(flags >> 3 & 3);
        header.set_length(static_cast<unsigned int>(size));
        receiver_.receive(shared, header.record().bytes, sizeof(TM_HEADER));
        receiver_.receive(shared, input.data(), size);
        input.skip(size);
    }

    void send_good(Fuzz_input& input) {
        unsigned int const chunk_size = 1 + input.below(100);
        std::size_t const cut = input.below(20);
        shared_.send_next(chunk_size, cut);
        honest_.send_next(chunk_size, cut);
    }

    bool is_tight_;
    std::map<int, unsigned int> delivered_{{shared, 0},
                                           {honest, 0}};  ///< good messages of each connection
    std::size_t others_ = 0;
    Tm_chunk_receiver receiver_;
    Good_sender shared_{receiver_, shared};
    Good_sender honest_{receiver_, honest};
};

}  // namespace

void run_target(Fuzz_input input) {
    std::size_t const size = input.size();
    bool const is_tight = input.byte() % 2 == 0;
    Storm storm(is_tight);
    while (!input.empty()) storm.step(input);
    storm.check(size);
}
