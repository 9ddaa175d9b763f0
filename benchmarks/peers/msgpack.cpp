/// MessagePack for C++: trees of msgpack::object in a zone.
#include <msgpack.hpp>

#include <sstream>

#include "operations.h"

namespace peers {

namespace {

class MsgpackPeer {
public:
    static constexpr char const* name = "msgpack";
    using Tree = msgpack::object_handle;
    using Output = msgpack::sbuffer;

    static Tree build(Kind kind, Data const& data) {
        auto zone = std::make_unique<msgpack::zone>();
        msgpack::object root;
        StructWriter writer(root, message_size, *zone);
        write_message(kind, data, writer);
        return {root, std::move(zone)};
    }

    static void encode(Tree const& tree, Output& out) {
        out.clear();
        msgpack::pack(out, tree.get());
    }

    static Tree decode(std::string_view bytes) {
        return msgpack::unpack(bytes.data(), bytes.size());
    }

    static Tree copy(Tree const& tree) { return msgpack::clone(tree.get()); }

    static bool equal(Tree const& a, Tree const& b) { return a.get() == b.get(); }

    // The library prints only the size of binary.
    static bool has_text(Kind kind) { return kind != Kind::blob; }

    static void text(Tree const& tree, std::string& out) {
        std::ostringstream stream;
        stream << tree.get();
        out = std::move(stream).str();
    }

private:
    class StructWriter;

    class ArrayWriter {
    public:
        ArrayWriter(msgpack::object& target, std::size_t elements, msgpack::zone& zone)
            : zone_(zone) {
            target.type = msgpack::type::ARRAY;
            target.via.array.size = static_cast<std::uint32_t>(elements);
            target.via.array.ptr = next_ = static_cast<msgpack::object*>(zone.allocate_align(
                sizeof(msgpack::object) * elements, MSGPACK_ZONE_ALIGNOF(msgpack::object)));
        }

        template <class T>
        void add(T value) {
            *next_++ = to_object(value, zone_);
        }

        template <class Fill>
        void add_struct(std::size_t members, Fill fill) {
            StructWriter writer(*next_++, members, zone_);
            fill(writer);
        }

    private:
        msgpack::zone& zone_;
        msgpack::object* next_;
    };

    class StructWriter {
    public:
        StructWriter(msgpack::object& target, std::size_t members, msgpack::zone& zone)
            : zone_(zone) {
            target.type = msgpack::type::MAP;
            target.via.map.size = static_cast<std::uint32_t>(members);
            target.via.map.ptr = next_ = static_cast<msgpack::object_kv*>(zone.allocate_align(
                sizeof(msgpack::object_kv) * members, MSGPACK_ZONE_ALIGNOF(msgpack::object_kv)));
        }

        template <class T>
        void add(std::string_view key, T value) {
            member(key) = to_object(value, zone_);
        }

        template <class Fill>
        void add_struct(std::string_view key, std::size_t members, Fill fill) {
            StructWriter writer(member(key), members, zone_);
            fill(writer);
        }

        template <class Fill>
        void add_array(std::string_view key, std::size_t elements, Fill fill) {
            ArrayWriter writer(member(key), elements, zone_);
            fill(writer);
        }

    private:
        msgpack::object& member(std::string_view key) {
            next_->key = to_object(key, zone_);
            return (next_++)->val;
        }

        msgpack::zone& zone_;
        msgpack::object_kv* next_;
    };

    class StructReader;
    class ArrayReader;

    class Element {
    public:
        explicit Element(msgpack::object const& value) : value_(value) {}
        template <class T>
        T as() const {
            return value_.as<T>();
        }
        template <class Use>
        void bytes(Use use) const {
            use(as_bytes({value_.via.bin.ptr, value_.via.bin.size}));
        }
        StructReader structure() const { return StructReader(value_); }
        ArrayReader array() const { return ArrayReader(value_); }

    private:
        msgpack::object const& value_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(msgpack::object const& value) : array_(value.via.array) {
            if (value.type != msgpack::type::ARRAY) fail("not an array");
        }
        template <class Use>
        void each(Use use) const {
            for (std::uint32_t i = 0; i < array_.size; ++i) use(Element(array_.ptr[i]));
        }

    private:
        msgpack::object_array const& array_;
    };

    class StructReader {
    public:
        explicit StructReader(msgpack::object const& value) : map_(value.via.map) {
            if (value.type != msgpack::type::MAP) fail("not a map");
        }
        Element get(std::string_view key) const {
            for (std::uint32_t i = 0; i < map_.size; ++i) {
                auto const& member = map_.ptr[i];
                if (key == std::string_view(member.key.via.str.ptr, member.key.via.str.size))
                    return Element(member.val);
            }
            fail("no such member");
        }

    private:
        msgpack::object_map const& map_;
    };

    // The library's own conversion of a view refers to the text, but an owned tree must copy it.
    static msgpack::object to_object(std::string_view s, msgpack::zone& zone) {
        return msgpack::object(std::string_view(copied(s, zone), s.size()));
    }
    static msgpack::object to_object(BytesView b, msgpack::zone& zone) {
        return msgpack::object(
            msgpack::type::raw_ref(copied(as_text(b), zone), static_cast<std::uint32_t>(b.size)));
    }
    template <class T>
    static msgpack::object to_object(T value, msgpack::zone&) {
        return msgpack::object(value);
    }

    static char const* copied(std::string_view s, msgpack::zone& zone) {
        auto* copy = static_cast<char*>(zone.allocate_no_align(s.size()));
        std::memcpy(copy, s.data(), s.size());
        return copy;
    }

public:
    static StructReader body(Tree const& tree) {
        return StructReader(tree.get()).get("body").structure();
    }
};

}  // namespace

void add_msgpack(Suite& suite) { add_peer<MsgpackPeer>(suite); }

}  // namespace peers
