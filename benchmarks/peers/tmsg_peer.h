/// Uses tmsg as a program does. A tree is a Message, whose structs share its names. All measured
/// code of the library is called from here.
#pragma once

#include <tmsg/tmsg.h>

#include <memory>

#include "operations.h"

namespace peers {

class TmsgTrees {
public:
    using Tree = std::unique_ptr<Message>;

    static Tree build(Kind kind, Data const& data) {
        auto message = std::make_unique<Message>();
        message->set_msg_type(Message::TMT_REQUEST);
        message->set_request_name(std::string(request_name(kind)));
        StructWriter writer(message->get_struct(Message::TMG_BODY), message->shared_names());
        write_body(kind, data, writer);
        return message;
    }

private:
    class ArrayWriter {
    public:
        ArrayWriter(Tm_array& target, Tm_shared_names const& names)
            : target_(target), names_(names) {}

        template <class T>
        void add(T value) {
            target_.add_member(value);
        }
        void add(std::string_view text) { target_.add_member(text); }
        template <class Fill>
        void add_struct(std::size_t, Fill fill);

    private:
        Tm_array& target_;
        Tm_shared_names const& names_;
    };

    class StructWriter {
    public:
        StructWriter(Tm_struct& target, Tm_shared_names const& names)
            : target_(target), names_(names) {}

        template <class T>
        void add(std::string_view name, T value) {
            target_.add_member(name, value);
        }
        void add(std::string_view name, std::string_view text) { target_.add_member(name, text); }
        void add(std::string_view name, BytesView bytes) {
            target_.add_member(name, bytes.data, static_cast<unsigned int>(bytes.size));
        }
        template <class Fill>
        void add_struct(std::string_view name, std::size_t, Fill fill) {
            auto made = std::make_unique<Tm_struct>(names_);
            StructWriter writer(*made, names_);
            fill(writer);
            target_.add_member_and_own(name, made.release());
        }
        template <class Fill>
        void add_array(std::string_view name, std::size_t elements, Fill fill) {
            auto made = std::make_unique<Tm_array>();
            made->reserve(static_cast<int>(elements));
            ArrayWriter writer(*made, names_);
            fill(writer);
            target_.add_member_and_own(name, made.release());
        }

    private:
        Tm_struct& target_;
        Tm_shared_names const& names_;
    };

    class StructReader;
    class ArrayReader;

    /// A member, found by its name, or an element of an array, found by its position.
    template <class Container, class Key>
    class Element {
    public:
        Element(Container const& container, Key key) : container_(container), key_(key) {}

        template <class T>
        T as() const {
            if constexpr (std::is_same_v<T, std::int8_t>)
                return container_.get_member_int8(key_);
            else if constexpr (std::is_same_v<T, std::uint8_t>)
                return container_.get_member_uint8(key_);
            else if constexpr (std::is_same_v<T, std::int16_t>)
                return container_.get_member_int16(key_);
            else if constexpr (std::is_same_v<T, std::uint16_t>)
                return container_.get_member_uint16(key_);
            else if constexpr (std::is_same_v<T, std::int32_t>)
                return container_.get_member_int32(key_);
            else if constexpr (std::is_same_v<T, std::uint32_t>)
                return container_.get_member_uint32(key_);
            else if constexpr (std::is_same_v<T, std::int64_t>)
                return container_.get_member_int64(key_);
            else if constexpr (std::is_same_v<T, std::uint64_t>)
                return container_.get_member_uint64(key_);
            else if constexpr (std::is_same_v<T, double>)
                return container_.get_member_double(key_);
            else if constexpr (std::is_same_v<T, bool>)
                return container_.get_member_bool(key_);
            else
                return container_.get_member_text(key_);
        }
        template <class Use>
        void bytes(Use use) const {
            Tm_binary const* const bytes = container_.get_member_binary(key_);
            use(BytesView{bytes->get_buffer(), bytes->get_buffer_size()});
        }
        StructReader structure() const { return StructReader(*container_.get_member_struct(key_)); }
        ArrayReader array() const { return ArrayReader(*container_.get_member_array(key_)); }

    private:
        Container const& container_;
        Key key_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(Tm_array const& array) : array_(array) {}
        template <class Use>
        void each(Use use) const {
            int const count = array_.get_member_count();
            for (int i = 0; i < count; ++i) use(Element<Tm_array, int>(array_, i));
        }

    private:
        Tm_array const& array_;
    };

    class StructReader {
    public:
        explicit StructReader(Tm_struct const& members) : members_(members) {}
        Element<Tm_struct, char const*> get(std::string_view name) const {
            return {members_, name.data()};
        }

    private:
        Tm_struct const& members_;
    };

public:
    static StructReader body(Tree const& tree) {
        return StructReader(tree->get_const_struct(Message::TMG_BODY));
    }
};

template <class Fill>
void TmsgTrees::ArrayWriter::add_struct(std::size_t, Fill fill) {
    auto made = std::make_unique<Tm_struct>(names_);
    StructWriter writer(*made, names_);
    fill(writer);
    target_.add_member_and_own(made.release());
}

/// Encodes a whole message into one buffer. It writes JSON, and parses list text.
class TmsgPeer : public TmsgTrees {
public:
    static constexpr char const* name = "tmsg";

    /// An encoder with room for a whole message. It grows when a message does not fit.
    class Output {
    public:
        void fill(Message const& message) {
            encoder_.begin_fill();
            while (!message.accept(encoder_)) encoder_.init(2 * encoder_.chunk_size(), 0);
        }
        unsigned char const* data() const { return encoder_.data(); }
        std::size_t size() const { return static_cast<std::size_t>(encoder_.fill_position()); }

    private:
        Tm_bin_encoder encoder_{4096};
    };

    static void encode(Tree const& tree, Output& out) { out.fill(*tree); }

    static Tree decode(std::string_view bytes) {
        auto const size = static_cast<long>(bytes.size());
        Tm_bin_decoder decoder(size);
        decoder.feed(as_bytes(bytes).data, bytes.size());
        decoder.finalize();
        if (!decoder.error().empty()) fail(decoder.error().c_str());
        return Tree(decoder.release_msg());
    }

    static Tree copy(Tree const& tree) { return std::make_unique<Message>(*tree); }

    static bool equal(Tree const& a, Tree const& b) { return *a == *b; }

    static void text(Tree const& tree, std::string& out) {
        static Tm_json_encoder encoder;  // reused, so that its buffer is warm
        encoder.clear();
        tree->accept(encoder);
        out = encoder.get_string();
    }

    static void parsable_text(Tree const& tree, std::string& out) {
        Tm_tcl_encoder encoder;
        tree->accept(encoder);
        out = encoder.get_string();
    }

    // Binary does not come back from list text. Doubles come back with 6 digits, which is too few
    // for the numbers of W3.
    static bool has_parse(Kind kind) { return kind != Kind::blob && kind != Kind::numbers; }

    static Tree parse(std::string const& text) {
        Tm_tcl_decoder decoder;
        decoder.decode(text);
        if (!decoder.error().empty()) fail(decoder.error().c_str());
        return static_cast<Message*>(decoder.get_value())->take_content();
    }
};

/// Sends and receives chunks with 4,096 bytes of payload.
class TmsgChunksPeer : public TmsgTrees {
public:
    static constexpr char const* name = "tmsg/4K";

    class Output {
    public:
        void fill(Message const& message) {
            chunks_.clear();
            sender_.send(message, 1, 0, [this](unsigned char const* chunk, std::size_t size) {
                chunks_.insert(chunks_.end(), chunk, chunk + size);
                return true;
            });
        }
        unsigned char const* data() const { return chunks_.data(); }
        std::size_t size() const { return chunks_.size(); }

    private:
        Tm_chunk_sender sender_{4096};
        std::vector<unsigned char> chunks_;
    };

    static void encode(Tree const& tree, Output& out) { out.fill(*tree); }

    /// One receiver serves all messages, as in a server.
    static Tree decode(std::string_view bytes) {
        static Tree received;
        static Tm_chunk_receiver receiver(
            [](Tree message, int, Tm_header const&) { received = std::move(message); },
            [](int, unsigned int, std::string const& text) { fail(text.c_str()); });
        receiver.receive(1, as_bytes(bytes).data, bytes.size());
        return std::move(received);
    }
};

}  // namespace peers
