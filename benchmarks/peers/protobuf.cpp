/// google.protobuf.Struct on the heap or on an arena. Every number is a double, and binary is
/// base64.
#include <google/protobuf/arena.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>

#include "base64.h"
#include "operations.h"

namespace peers {

namespace {

using google::protobuf::Struct;

template <bool on_arena>
class StructTree {
public:
    StructTree() {
        if constexpr (on_arena) {
            arena_ = std::make_unique<google::protobuf::Arena>();
            message_ = google::protobuf::Arena::CreateMessage<Struct>(arena_.get());
        } else {
            owned_ = std::make_unique<Struct>();
            message_ = owned_.get();
        }
    }
    Struct& operator*() const { return *message_; }
    Struct* operator->() const { return message_; }

private:
    std::unique_ptr<google::protobuf::Arena> arena_;
    std::unique_ptr<Struct> owned_;
    Struct* message_;
};

template <bool on_arena>
class StructPeer {
    using Value = google::protobuf::Value;

public:
    static constexpr char const* name = on_arena ? "pb.Struct/arena" : "pb.Struct";
    using Tree = StructTree<on_arena>;
    using Output = std::string;

    static Tree build(Kind kind, Data const& data) {
        Tree tree;
        StructWriter writer(*tree);
        write_message(kind, data, writer);
        return tree;
    }

    static void encode(Tree const& tree, Output& out) {
        if (!tree->SerializeToString(&out)) fail("protobuf: serialize");
    }

    static Tree decode(std::string_view bytes) {
        Tree tree;
        auto const* data = reinterpret_cast<std::uint8_t const*>(bytes.data());
        google::protobuf::io::CodedInputStream in(data, static_cast<int>(bytes.size()));
        in.SetRecursionLimit(10'000);  // the default of 100 is too low for W6
        if (!tree->ParseFromCodedStream(&in)) fail("protobuf: parse");
        return tree;
    }

    static Tree copy(Tree const& tree) {
        Tree result;
        result->CopyFrom(*tree);
        return result;
    }

    static bool equal(Tree const& a, Tree const& b) {
        return google::protobuf::util::MessageDifferencer::Equals(*a, *b);
    }

    // The JSON writer accepts at most 64 levels of nesting, and the reader at most 100.
    static bool has_text(Kind kind) { return kind != Kind::deep; }

    static void text(Tree const& tree, std::string& out) {
        out.clear();
        if (!google::protobuf::util::MessageToJsonString(*tree, &out).ok())
            fail("protobuf: to JSON");
    }

    static Tree parse(std::string const& text) {
        Tree tree;
        if (!google::protobuf::util::JsonStringToMessage(text, &*tree).ok())
            fail("protobuf: from JSON");
        return tree;
    }

private:
    template <class T>
    static void set(Value& target, T v) {
        if constexpr (std::is_same_v<T, std::string_view>)
            target.set_string_value(v.data(), v.size());
        else if constexpr (std::is_same_v<T, BytesView>)
            target.set_string_value(to_base64(v));
        else if constexpr (std::is_same_v<T, bool>)
            target.set_bool_value(v);
        else
            target.set_number_value(static_cast<double>(v));
    }

    class StructWriter;

    class ArrayWriter {
    public:
        ArrayWriter(google::protobuf::ListValue& list, std::size_t elements) : list_(list) {
            list.mutable_values()->Reserve(static_cast<int>(elements));
        }
        template <class T>
        void add(T v) {
            set(*list_.add_values(), v);
        }
        template <class Fill>
        void add_struct(std::size_t, Fill fill) {
            StructWriter writer(*list_.add_values()->mutable_struct_value());
            fill(writer);
        }

    private:
        google::protobuf::ListValue& list_;
    };

    class StructWriter {
    public:
        explicit StructWriter(Struct& target) : fields_(*target.mutable_fields()) {}
        template <class T>
        void add(std::string_view key, T v) {
            set(member(key), v);
        }
        template <class Fill>
        void add_struct(std::string_view key, std::size_t, Fill fill) {
            StructWriter writer(*member(key).mutable_struct_value());
            fill(writer);
        }
        template <class Fill>
        void add_array(std::string_view key, std::size_t elements, Fill fill) {
            ArrayWriter writer(*member(key).mutable_list_value(), elements);
            fill(writer);
        }

    private:
        Value& member(std::string_view key) { return fields_[std::string(key)]; }

        google::protobuf::Map<std::string, Value>& fields_;
    };

    class StructReader;
    class ArrayReader;

    class Element {
    public:
        explicit Element(Value const& v) : value_(v) {}
        template <class T>
        T as() const {
            if constexpr (std::is_same_v<T, std::string_view>)
                return value_.string_value();
            else if constexpr (std::is_same_v<T, bool>)
                return value_.bool_value();
            else
                return static_cast<T>(value_.number_value());
        }
        template <class Use>
        void bytes(Use use) const {
            auto const decoded = from_base64(value_.string_value());
            use(BytesView{decoded.data(), decoded.size()});
        }
        StructReader structure() const { return StructReader(value_.struct_value()); }
        ArrayReader array() const { return ArrayReader(value_.list_value()); }

    private:
        Value const& value_;
    };

    class ArrayReader {
    public:
        explicit ArrayReader(google::protobuf::ListValue const& list) : list_(list) {}
        template <class Use>
        void each(Use use) const {
            for (auto const& v : list_.values()) use(Element(v));
        }

    private:
        google::protobuf::ListValue const& list_;
    };

    class StructReader {
    public:
        explicit StructReader(Struct const& s) : fields_(s.fields()) {}
        Element get(std::string_view key) const {
            auto const found = fields_.find(key);
            if (found == fields_.end()) fail("no such member");
            return Element(found->second);
        }

    private:
        google::protobuf::Map<std::string, Value> const& fields_;
    };

public:
    static StructReader body(Tree const& tree) {
        return StructReader(*tree).get("body").structure();
    }
};

}  // namespace

void add_protobuf(Suite& suite) {
    add_peer<StructPeer<false>>(suite);
    add_peer<StructPeer<true>>(suite);
}

}  // namespace peers
