/// libcbor: a tree of reference-counted items.
#include <cbor.h>

#include "operations.h"

namespace peers {

namespace {

class CborPeer {
    struct Release {
        void operator()(cbor_item_t* item) const { cbor_decref(&item); }
    };

public:
    static constexpr char const* name = "cbor";
    using Tree = std::unique_ptr<cbor_item_t, Release>;

    class Output {
    public:
        char const* data() const { return reinterpret_cast<char const*>(bytes_.data()); }
        std::size_t size() const { return size_; }

    private:
        friend CborPeer;
        std::vector<unsigned char> bytes_ = std::vector<unsigned char>(256);
        std::size_t size_ = 0;
    };

    static Tree build(Kind kind, Data const& data) {
        Tree root(cbor_new_definite_map(message_size));
        StructWriter writer(*root);
        write_message(kind, data, writer);
        return root;
    }

    static void encode(Tree const& tree, Output& out) {
        // The library does not tell the size before. A reused buffer is soon large enough.
        while ((out.size_ = cbor_serialize(tree.get(), out.bytes_.data(), out.bytes_.size())) ==
               0) {
            auto const larger = 2 * out.bytes_.size();
            std::vector<unsigned char>().swap(out.bytes_);
            out.bytes_.resize(larger);
        }
    }

    static Tree decode(std::string_view bytes) {
        cbor_load_result result;
        Tree tree(cbor_load(as_bytes(bytes).data, bytes.size(), &result));
        if (!tree) fail("cbor: load");
        return tree;
    }

    static Tree copy(Tree const& tree) { return Tree(cbor_copy(tree.get())); }

private:
    template <class T>
    static cbor_item_t* to_item(T value) {
        if constexpr (std::is_same_v<T, std::string_view>)
            return cbor_build_stringn(value.data(), value.size());
        else if constexpr (std::is_same_v<T, BytesView>)
            return cbor_build_bytestring(value.data, value.size);
        else if constexpr (std::is_same_v<T, bool>)
            return cbor_build_bool(value);
        else if constexpr (std::is_same_v<T, double>)
            return cbor_build_float8(value);
        else {
            bool negative = false;
            if constexpr (std::is_signed_v<T>) negative = value < 0;
            auto const magnitude = static_cast<std::make_unsigned_t<T>>(negative ? ~value : value);
            cbor_item_t* item = build_uint(magnitude);
            if (negative) cbor_mark_negint(item);
            return item;
        }
    }

    static cbor_item_t* build_uint(std::uint8_t v) { return cbor_build_uint8(v); }
    static cbor_item_t* build_uint(std::uint16_t v) { return cbor_build_uint16(v); }
    static cbor_item_t* build_uint(std::uint32_t v) { return cbor_build_uint32(v); }
    static cbor_item_t* build_uint(std::uint64_t v) { return cbor_build_uint64(v); }

    class StructWriter;

    class ArrayWriter {
    public:
        explicit ArrayWriter(cbor_item_t& array) : array_(array) {}
        template <class T>
        void add(T value) {
            push(to_item(value));
        }
        template <class Fill>
        void add_struct(std::size_t members, Fill fill) {
            cbor_item_t* map = cbor_new_definite_map(members);
            StructWriter writer(*map);
            fill(writer);
            push(map);
        }

    private:
        void push(cbor_item_t* item) {
            if (!cbor_array_push(&array_, cbor_move(item))) fail("cbor: push");
        }

        cbor_item_t& array_;
    };

    class StructWriter {
    public:
        explicit StructWriter(cbor_item_t& map) : map_(map) {}
        template <class T>
        void add(std::string_view key, T value) {
            put(key, to_item(value));
        }
        template <class Fill>
        void add_struct(std::string_view key, std::size_t members, Fill fill) {
            cbor_item_t* map = cbor_new_definite_map(members);
            StructWriter writer(*map);
            fill(writer);
            put(key, map);
        }
        template <class Fill>
        void add_array(std::string_view key, std::size_t elements, Fill fill) {
            cbor_item_t* array = cbor_new_definite_array(elements);
            ArrayWriter writer(*array);
            fill(writer);
            put(key, array);
        }

    private:
        void put(std::string_view key, cbor_item_t* value) {
            cbor_item_t* member = cbor_build_stringn(key.data(), key.size());
            if (!cbor_map_add(&map_, {cbor_move(member), cbor_move(value)})) fail("cbor: add");
        }

        cbor_item_t& map_;
    };

    class StructReader;
    class ArrayReader;

    static std::string_view text_of(cbor_item_t const* item) {
        return {reinterpret_cast<char const*>(cbor_string_handle(item)), cbor_string_length(item)};
    }

    class Element {
    public:
        explicit Element(cbor_item_t const* item) : item_(item) {}
        template <class T>
        T as() const {
            if constexpr (std::is_same_v<T, std::string_view>)
                return text_of(item_);
            else if constexpr (std::is_same_v<T, bool>)
                return cbor_get_bool(item_);
            else if constexpr (std::is_same_v<T, double>)
                return cbor_float_get_float(item_);
            else {
                auto const magnitude = cbor_get_int(item_);
                return static_cast<T>(cbor_isa_negint(item_) ? ~magnitude : magnitude);
            }
        }
        template <class Use>
        void bytes(Use use) const {
            use(BytesView{cbor_bytestring_handle(item_), cbor_bytestring_length(item_)});
        }
        StructReader structure() const { return StructReader(item_); }
        ArrayReader array() const { return ArrayReader(item_); }

    private:
        cbor_item_t const* item_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(cbor_item_t const* array) : array_(array) {}
        template <class Use>
        void each(Use use) const {
            cbor_item_t** items = cbor_array_handle(array_);
            for (std::size_t i = 0, n = cbor_array_size(array_); i < n; ++i) use(Element(items[i]));
        }

    private:
        cbor_item_t const* array_;
    };

    class StructReader {
    public:
        explicit StructReader(cbor_item_t const* map) : map_(map) {}
        Element get(std::string_view key) const {
            cbor_pair const* pairs = cbor_map_handle(map_);
            for (std::size_t i = 0, n = cbor_map_size(map_); i < n; ++i)
                if (text_of(pairs[i].key) == key) return Element(pairs[i].value);
            fail("no such member");
        }

    private:
        cbor_item_t const* map_;
    };

public:
    static StructReader body(Tree const& tree) {
        return StructReader(tree.get()).get("body").structure();
    }
};

}  // namespace

void add_cbor(Suite& suite) { add_peer<CborPeer>(suite); }

}  // namespace peers
