/// libbson: the document is its own bytes. So a tree is a bson_t, and decoding checks and copies
/// the bytes.
#include <bson/bson.h>

#include "operations.h"

namespace peers {

namespace {

class BsonPeer {
public:
    static constexpr char const* name = "bson";

    // unique_ptr would drop bson_t's alignment attribute.
    class Tree {
    public:
        explicit Tree(bson_t* owned) : owned_(owned) {}
        Tree(Tree&& other) noexcept : owned_(std::exchange(other.owned_, nullptr)) {}
        ~Tree() { bson_destroy(owned_); }
        bson_t* get() const { return owned_; }

    private:
        bson_t* owned_;
    };
    using Output = std::string;

    static Tree build(Kind kind, Data const& data) {
        Tree root(bson_new());
        StructWriter writer(*root.get());
        write_message(kind, data, writer);
        return root;
    }

    static void encode(Tree const& tree, Output& out) {
        out.assign(reinterpret_cast<char const*>(bson_get_data(tree.get())), tree.get()->len);
    }

    static Tree decode(std::string_view bytes) {
        Tree tree(
            bson_new_from_data(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size()));
        if (tree.get() == nullptr || !bson_validate(tree.get(), BSON_VALIDATE_NONE, nullptr))
            fail("bson: validate");
        return tree;
    }

    static Tree copy(Tree const& tree) { return Tree(bson_copy(tree.get())); }

    static bool equal(Tree const& a, Tree const& b) { return bson_equal(a.get(), b.get()); }

    // The JSON reader accepts at most 100 levels of nesting.
    static bool has_text(Kind kind) { return kind != Kind::deep; }

    static void text(Tree const& tree, std::string& out) {
        std::size_t length = 0;
        char* json = bson_as_relaxed_extended_json(tree.get(), &length);
        if (json == nullptr) fail("bson: to JSON");
        out.assign(json, length);
        bson_free(json);
    }

    static Tree parse(std::string const& text) {
        bson_error_t error;
        Tree tree(bson_new_from_json(reinterpret_cast<std::uint8_t const*>(text.data()),
                                     static_cast<ssize_t>(text.size()), &error));
        if (tree.get() == nullptr) fail(error.message);
        return tree;
    }

private:
    template <class T>
    static void append(bson_t& target, std::string_view key, T value) {
        auto const size = static_cast<int>(key.size());
        if constexpr (std::is_same_v<T, std::string_view>)
            bson_append_utf8(&target, key.data(), size, value.data(),
                             static_cast<int>(value.size()));
        else if constexpr (std::is_same_v<T, BytesView>)
            bson_append_binary(&target, key.data(), size, BSON_SUBTYPE_BINARY, value.data,
                               static_cast<std::uint32_t>(value.size));
        else if constexpr (std::is_same_v<T, bool>)
            bson_append_bool(&target, key.data(), size, value);
        else if constexpr (std::is_same_v<T, double>)
            bson_append_double(&target, key.data(), size, value);
        else if constexpr (std::is_same_v<T, std::uint32_t> || sizeof(T) == 8)
            bson_append_int64(&target, key.data(), size, static_cast<std::int64_t>(value));
        else
            bson_append_int32(&target, key.data(), size, value);
    }

    class StructWriter;

    class ArrayWriter {
    public:
        explicit ArrayWriter(bson_t& target) : target_(target) {}
        template <class T>
        void add(T value) {
            char buffer[16];
            append(target_, next_key(buffer), value);
        }
        template <class Fill>
        void add_struct(std::size_t, Fill fill) {
            char buffer[16];
            StructWriter(target_).add_struct(next_key(buffer), 0, fill);
        }

    private:
        std::string_view next_key(char (&buffer)[16]) {
            char const* key = nullptr;
            auto const size = bson_uint32_to_string(next_++, &key, buffer, sizeof buffer);
            return {key, size};
        }

        bson_t& target_;
        std::uint32_t next_ = 0;
    };

    class StructWriter {
    public:
        explicit StructWriter(bson_t& target) : target_(target) {}
        template <class T>
        void add(std::string_view key, T value) {
            append(target_, key, value);
        }
        template <class Fill>
        void add_struct(std::string_view key, std::size_t, Fill fill) {
            bson_t child;
            bson_append_document_begin(&target_, key.data(), static_cast<int>(key.size()), &child);
            StructWriter writer(child);
            fill(writer);
            bson_append_document_end(&target_, &child);
        }
        template <class Fill>
        void add_array(std::string_view key, std::size_t, Fill fill) {
            bson_t child;
            bson_append_array_begin(&target_, key.data(), static_cast<int>(key.size()), &child);
            ArrayWriter writer(child);
            fill(writer);
            bson_append_array_end(&target_, &child);
        }

    private:
        bson_t& target_;
    };

    class StructReader;
    class ArrayReader;

    class Element {
    public:
        explicit Element(bson_iter_t const& at) : at_(at) {}
        template <class T>
        T as() const {
            if constexpr (std::is_same_v<T, std::string_view>) {
                std::uint32_t length = 0;
                char const* text = bson_iter_utf8(&at_, &length);
                return {text, length};
            } else if constexpr (std::is_same_v<T, bool>)
                return bson_iter_bool(&at_);
            else if constexpr (std::is_same_v<T, double>)
                return bson_iter_double(&at_);
            else if constexpr (std::is_same_v<T, std::uint32_t> || sizeof(T) == 8)
                return static_cast<T>(bson_iter_as_int64(&at_));
            else
                return static_cast<T>(bson_iter_int32(&at_));
        }
        template <class Use>
        void bytes(Use use) const {
            std::uint32_t size = 0;
            std::uint8_t const* content = nullptr;
            bson_iter_binary(&at_, nullptr, &size, &content);
            use(BytesView{content, size});
        }
        StructReader structure() const { return StructReader(child()); }
        ArrayReader array() const { return ArrayReader(child()); }

    private:
        bson_iter_t child() const {
            bson_iter_t inner;
            if (!bson_iter_recurse(&at_, &inner)) fail("bson: no document");
            return inner;
        }

        bson_iter_t at_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(bson_iter_t const& start) : start_(start) {}
        template <class Use>
        void each(Use use) const {
            for (bson_iter_t at = start_; bson_iter_next(&at);) use(Element(at));
        }

    private:
        bson_iter_t start_;
    };

    class StructReader {
    public:
        explicit StructReader(bson_iter_t const& start) : start_(start) {}
        Element get(std::string_view key) const {
            bson_iter_t at = start_;
            if (!bson_iter_find_w_len(&at, key.data(), static_cast<int>(key.size())))
                fail("no such member");
            return Element(at);
        }

    private:
        bson_iter_t start_;
    };

public:
    static StructReader body(Tree const& tree) {
        bson_iter_t root;
        bson_iter_init(&root, tree.get());
        return StructReader(root).get("body").structure();
    }
};

}  // namespace

void add_bson(Suite& suite) { add_peer<BsonPeer>(suite); }

}  // namespace peers
