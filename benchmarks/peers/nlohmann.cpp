/// nlohmann/json: one tree, two binary forms.
#include <nlohmann/json.hpp>

#include "operations.h"

namespace peers {

namespace {

using nlohmann::json;

class NlohmannBase {
public:
    using Tree = json;
    using Output = std::vector<std::uint8_t>;

    static Tree build(Kind kind, Data const& data) {
        json root = json::object();
        StructWriter writer(root);
        write_message(kind, data, writer);
        return root;
    }

    static Tree copy(Tree const& tree) { return tree; }

    static bool equal(Tree const& a, Tree const& b) { return a == b; }

    static void text(Tree const& tree, std::string& out) { out = tree.dump(); }

    static Tree parse(std::string const& text) { return json::parse(text); }

private:
    template <class T>
    static json to_json(T value) {
        if constexpr (std::is_same_v<T, BytesView>)
            return json::binary(std::vector<std::uint8_t>(value.data, value.data + value.size));
        else
            return value;
    }

    class StructWriter;

    class ArrayWriter {
    public:
        ArrayWriter(json& target, std::size_t elements) : array_(target.get_ref<json::array_t&>()) {
            array_.reserve(elements);
        }
        template <class T>
        void add(T value) {
            array_.push_back(to_json(value));
        }
        template <class Fill>
        void add_struct(std::size_t, Fill fill) {
            StructWriter writer(array_.emplace_back(json::object()));
            fill(writer);
        }

    private:
        json::array_t& array_;
    };

    class StructWriter {
    public:
        explicit StructWriter(json& target) : object_(target.get_ref<json::object_t&>()) {}
        template <class T>
        void add(std::string_view key, T value) {
            object_.emplace(key, to_json(value));
        }
        template <class Fill>
        void add_struct(std::string_view key, std::size_t, Fill fill) {
            StructWriter writer(object_.emplace(key, json::object()).first->second);
            fill(writer);
        }
        template <class Fill>
        void add_array(std::string_view key, std::size_t elements, Fill fill) {
            ArrayWriter writer(object_.emplace(key, json::array()).first->second, elements);
            fill(writer);
        }

    private:
        json::object_t& object_;
    };

    class StructReader;
    class ArrayReader;

    class Element {
    public:
        explicit Element(json const& value) : value_(value) {}
        template <class T>
        T as() const {
            if constexpr (std::is_same_v<T, std::string_view>)
                return value_.get_ref<std::string const&>();
            else
                return value_.get<T>();
        }
        template <class Use>
        void bytes(Use use) const {
            if (value_.is_object()) {  // the text form of binary
                auto const numbers = value_.at("bytes").get<std::vector<unsigned char>>();
                return use(BytesView{numbers.data(), numbers.size()});
            }
            auto const& binary = value_.get_binary();
            use(BytesView{binary.data(), binary.size()});
        }
        StructReader structure() const { return StructReader(value_); }
        ArrayReader array() const { return ArrayReader(value_); }

    private:
        json const& value_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(json const& value) : array_(value.get_ref<json::array_t const&>()) {}
        template <class Use>
        void each(Use use) const {
            for (auto const& value : array_) use(Element(value));
        }

    private:
        json::array_t const& array_;
    };

    class StructReader {
    public:
        explicit StructReader(json const& value)
            : object_(value.get_ref<json::object_t const&>()) {}
        Element get(std::string_view key) const {
            auto const found = object_.find(key);
            if (found == object_.end()) fail("no such member");
            return Element(found->second);
        }

    private:
        json::object_t const& object_;
    };

public:
    static StructReader body(Tree const& tree) {
        return StructReader(tree).get("body").structure();
    }
};

class NlohmannMsgpackPeer : public NlohmannBase {
public:
    static constexpr char const* name = "nlohmann/msgpack";
    static void encode(Tree const& tree, Output& out) {
        out.clear();
        json::to_msgpack(tree, out);
    }
    static Tree decode(std::string_view bytes) { return json::from_msgpack(bytes); }
};

class NlohmannCborPeer : public NlohmannBase {
public:
    static constexpr char const* name = "nlohmann/cbor";
    static void encode(Tree const& tree, Output& out) {
        out.clear();
        json::to_cbor(tree, out);
    }
    static Tree decode(std::string_view bytes) { return json::from_cbor(bytes); }
};

}  // namespace

void add_nlohmann(Suite& suite) {
    add_peer<NlohmannMsgpackPeer>(suite);
    add_wire_form<NlohmannCborPeer>(suite);
}

}  // namespace peers
