/// RapidJSON: a tree in a pool. Its bytes are JSON text, and binary is base64.
#define RAPIDJSON_HAS_STDSTRING 1
#define RAPIDJSON_SSE2
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "base64.h"
#include "operations.h"

namespace peers {

namespace {

class RapidjsonPeer {
public:
    static constexpr char const* name = "rapidjson";
    using Tree = rapidjson::Document;

    struct Output : rapidjson::StringBuffer {
        char const* data() const { return GetString(); }
        std::size_t size() const { return GetSize(); }
    };

    static Tree build(Kind kind, Data const& data) {
        Tree root(rapidjson::kObjectType);
        StructWriter writer(root, root.GetAllocator());
        write_message(kind, data, writer);
        return root;
    }

    static void encode(Tree const& tree, Output& out) {
        out.Clear();
        rapidjson::Writer<rapidjson::StringBuffer> writer(out);
        tree.Accept(writer);
    }

    static Tree decode(std::string_view bytes) {
        Tree tree;
        tree.Parse<rapidjson::kParseFullPrecisionFlag>(bytes.data(), bytes.size());
        if (tree.HasParseError()) fail("rapidjson: parse");
        return tree;
    }

    static Tree copy(Tree const& tree) {
        Tree result;
        result.CopyFrom(tree, result.GetAllocator());
        return result;
    }

    static bool equal(Tree const& a, Tree const& b) { return a == b; }

    static void text(Tree const& tree, std::string& out) {
        static Output buffer;  // reused, as in encode()
        encode(tree, buffer);
        out.assign(buffer.data(), buffer.size());
    }

    static Tree parse(std::string const& text) { return decode(text); }

private:
    using Value = rapidjson::Value;
    using Pool = Tree::AllocatorType;

    static Value to_value(std::string_view s, Pool& p) { return Value(s.data(), size(s), p); }
    static Value to_value(BytesView b, Pool& p) { return Value(to_base64(b), p); }
    template <class T>
    static Value to_value(T v, Pool&) {
        if constexpr (std::is_integral_v<T> && sizeof(T) < sizeof(int)) {
            if constexpr (std::is_same_v<T, bool>)
                return Value(v);
            else
                return Value(static_cast<int>(v));
        } else
            return Value(v);
    }

    static rapidjson::SizeType size(std::string_view s) {
        return static_cast<rapidjson::SizeType>(s.size());
    }

    class StructWriter;

    class ArrayWriter {
    public:
        ArrayWriter(Value& target, std::size_t elements, Pool& p) : target_(target), pool_(p) {
            target.Reserve(static_cast<rapidjson::SizeType>(elements), p);
        }
        template <class T>
        void add(T v) {
            target_.PushBack(to_value(v, pool_), pool_);
        }
        template <class Fill>
        void add_struct(std::size_t, Fill fill) {
            target_.PushBack(Value(rapidjson::kObjectType), pool_);
            StructWriter writer(target_[target_.Size() - 1], pool_);
            fill(writer);
        }

    private:
        Value& target_;
        Pool& pool_;
    };

    class StructWriter {
    public:
        StructWriter(Value& target, Pool& p) : target_(target), pool_(p) {}
        template <class T>
        void add(std::string_view key, T v) {
            member(key, to_value(v, pool_));
        }
        template <class Fill>
        void add_struct(std::string_view key, std::size_t, Fill fill) {
            StructWriter writer(member(key, Value(rapidjson::kObjectType)), pool_);
            fill(writer);
        }
        template <class Fill>
        void add_array(std::string_view key, std::size_t elements, Fill fill) {
            ArrayWriter writer(member(key, Value(rapidjson::kArrayType)), elements, pool_);
            fill(writer);
        }

    private:
        Value& member(std::string_view key, Value&& v) {
            target_.AddMember(Value(key.data(), size(key), pool_), v, pool_);
            return (target_.MemberEnd() - 1)->value;
        }

        Value& target_;
        Pool& pool_;
    };

    class StructReader;
    class ArrayReader;

    class Element {
    public:
        explicit Element(Value const& v) : value_(v) {}
        template <class T>
        T as() const {
            if constexpr (std::is_same_v<T, std::string_view>)
                return {value_.GetString(), value_.GetStringLength()};
            else if constexpr (std::is_same_v<T, bool>)
                return value_.GetBool();
            else if constexpr (std::is_same_v<T, double>)
                return value_.GetDouble();
            else if constexpr (std::is_same_v<T, std::uint64_t>)
                return value_.GetUint64();
            else if constexpr (std::is_same_v<T, std::int64_t>)
                return value_.GetInt64();
            else if constexpr (std::is_unsigned_v<T>)
                return static_cast<T>(value_.GetUint());
            else
                return static_cast<T>(value_.GetInt());
        }
        template <class Use>
        void bytes(Use use) const {
            auto const decoded = from_base64(as<std::string_view>());
            use(BytesView{decoded.data(), decoded.size()});
        }
        StructReader structure() const { return StructReader(value_); }
        ArrayReader array() const { return ArrayReader(value_); }

    private:
        Value const& value_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(Value const& v) : array_(v.GetArray()) {}
        template <class Use>
        void each(Use use) const {
            for (auto const& v : array_) use(Element(v));
        }

    private:
        Value::ConstArray array_;
    };

    class StructReader {
    public:
        explicit StructReader(Value const& v) : value_(v) {}
        Element get(std::string_view key) const {
            auto const found =
                value_.FindMember(Value(rapidjson::StringRef(key.data(), key.size())));
            if (found == value_.MemberEnd()) fail("no such member");
            return Element(found->value);
        }

    private:
        Value const& value_;
    };

public:
    static StructReader body(Tree const& tree) {
        return StructReader(tree).get("body").structure();
    }
};

}  // namespace

void add_rapidjson(Suite& suite) { add_peer<RapidjsonPeer>(suite); }

}  // namespace peers
