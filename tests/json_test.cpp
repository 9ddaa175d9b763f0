#include <cmath>
#include <cstring>
#include <random>

#include "support/support.h"

namespace {

std::string json(Tm_value const& value, unsigned int limit = Tm_text_encoder::DEFAULT_LIMIT) {
    return text_of<Tm_json_encoder>(value, limit);
}

TEST(Json, WritesMessagesAndEveryKind) {
    EXPECT_EQ(R"({"name": "add", "request": [{"a": 1}, {}]})", json(*add_message()));
    EXPECT_EQ(R"({"response": [{"a": 1}, {}]})", json(*add_message(Message::TMT_RESPONSE)));
    EXPECT_EQ(R"({"response": [{"a": 1}, {}]})", json(*add_message(Message::TMT_FAULT)));
    EXPECT_EQ(R"({"name": "{}, {}]})", json(*make_message(Message::TMT_REQUEST))) << "an empty name";

    Scratch const scratch;
    Tm_struct value(nullptr);
    Tm_array const numbers = Tm_array::of(Tm_int8(-1).value(), 0L, Tm_uint8(255).value(), 0.1, 1e20, true, false);
    Tm_array const empty;
    auto const nested = add_message();
    auto const bytes = binary_of("\1\xFF"), none = binary_of("");
    add(value, "s", "x\"y", "b", &bytes, "n", &numbers, "q\"", "", "e", &empty, "m", nested.get());
    value.add_member("f", scratch.file("f", "123"), 0U);
    EXPECT_EQ(R"({"s": "x\"y", "b": {"type": "binary", "size": 2, "hex": "01 ff "}, )"
              R"("n": [-1, 0, 255, 0.1, 1e+20, true, false], "q"": "", "e": [], )"
              R"("m": {"name": "add", "request": [{"a": 1}, {}]}, "f": {"type": "file", "size": 3}})",
              json(value));
    EXPECT_EQ(R"([{"type": "binary", "size": 0, "hex": ""}, ""])", json(Tm_array::of(&none, "")));
}

/// A nested message counts its own commas. Empty names are not closed. Names ignore the limit.
TEST(Json, KeepsItsQuirks) {
    Message const response;
    auto const request = make_message(Message::TMT_REQUEST, "x");
    EXPECT_EQ(R"([1{"name": "x", "request": [{}, {}]}2, 3{"response": [{}, {}]}, 4])",
              json(Tm_array::of(1, request.get(), 2, 3, &response, 4)));
    EXPECT_EQ(R"({"0, "1})", json(of_ints({"", ""})));
    auto const message = add_message();
    EXPECT_EQ(R"([{"name": "add", "request": [{}], "__SNIPPED__" : true})"
              R"({"name": ", "request": [], "__SNIPPED__" : true}])",
              json(Tm_array::of(message.get(), message.get()), 0));
    EXPECT_EQ(R"({"name": "add", "request": [{}], "__SNIPPED__" : true})", json(*message, 29));
    EXPECT_EQ(R"({"name": "add", "request": [{"a": 1}, {}]})", json(*message, 30));
    struct Shouting : Tm_json_encoder {
        bool visit_string_continue(char const*, unsigned int) override {
            return Tm_json_encoder::visit_string_continue("A", 1);
        }
    };
    EXPECT_EQ(R"({"name": "A", "request": [{}, {}]})", text_of<Shouting>(*request));
}

TEST(Json, EscapesEveryByteByItself) {
    std::map<int, std::string> const named = {{'\b', "\\b"}, {'\t', "\\t"}, {'\n', "\\n"}, {'\f', "\\f"},
                                              {'\r', "\\r"}, {'"', "\\\""}, {'\\', "\\\\"}};
    std::string all;
    std::string expected = "\"";
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
        char code[8];
        std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned int>(byte));
        bool const plain = byte >= 0x20 && byte <= 0x7E;
        std::string const written = named.count(byte) != 0 ? named.at(byte)
                                    : plain                ? std::string(1, static_cast<char>(byte))
                                                           : code;
        expected += written;
        // Wherever it stands in what is looked at together.
        for (std::size_t before = 0; before < 9; ++before) {
            std::string const text = std::string(before, '~') + static_cast<char>(byte) + " !#[]^~}|";
            ASSERT_EQ("\"" + std::string(before, '~') + written + " !#[]^~}|\"", json(Tm_string(text)));
        }
    }
    EXPECT_EQ(expected + "\"", json(Tm_string(all)));
    EXPECT_EQ(R"({"name": "a\n", "request": [{"a"b": 1}, {}]})", [] {
        auto const message = make_message(Message::TMT_REQUEST, "a\n");
        message->add_member(meta, "a\"b", 1);
        return json(*message);
    }());
}

TEST(Json, CutsAtMembersAndBytesAndClosesWhatIsOpen) {
    EXPECT_EQ(R"({"name": "add", "request": [{}], "__SNIPPED__" : true})", json(*add_message(), 10));
    Scratch const scratch;
    auto const many = binary_of(std::string(200, 'x')), two = binary_of("ab");
    EXPECT_EQ(R"([{"type": "binary", "size": 200, "hex": "78 ])", json(Tm_array::of(&many, 5, "later"), 0))
        << "cut in the first of two pieces";
    std::string const whole = json(Tm_array::of(&many));
    EXPECT_EQ(R"( 78 78 "}])", whole.substr(whole.size() - 10));
    EXPECT_EQ(41U + 3 * 200 + 3, whole.size());
    Tm_array with_file = Tm_array::of(&two);
    with_file.add_member(scratch.file("f", "123"), 0U);
    EXPECT_EQ(std::string::npos, json(with_file, 0).find("file"));
    for (auto const& [limit, text] :
         {std::pair(42U, R"("61 "}])"), {45U, R"("61 62 "}])"}, {46U, R"("61 62 "}, 5])"}}) {
        EXPECT_EQ(R"([{"type": "binary", "size": 2, "hex": )" + std::string(text), json(Tm_array::of(&two, 5), limit));
    }
}

/// At every limit what was opened is closed; and up to the cut the text is the whole one's.
TEST(Json, StaysBalancedAtEveryLimit) {
    auto const message = make_message(Message::TMT_REQUEST, "a.b");
    auto const inner = nested_struct();
    auto const bytes = binary_of("bytes");
    Tm_array const list = Tm_array::of(&inner, 7, &inner, &bytes);
    add(message->get_struct(body), "list", &list, "m", message.get(), "last", &inner);
    std::string const whole = json(*message);
    for (unsigned int limit = 0; limit < whole.size() + 2; ++limit) {
        std::string const text = json(*message, limit);
        bool const snipped = text.find("__SNIPPED__") != std::string::npos;
        auto const count = [&](char c) { return std::count(text.begin(), text.end(), c); };
        ASSERT_EQ(count('{'), count('}')) << limit << text;
        ASSERT_EQ(count('['), count(']')) << limit << text;
        ASSERT_TRUE(snipped || text == whole) << limit;
        std::size_t const kept = std::min<std::size_t>(limit, whole.rfind("\"last\""));
        ASSERT_TRUE(text.compare(0, kept, whole, 0, kept) == 0) << limit << text;
    }
}

template <class Encoder>
void expect_pieces_to_join(Tm_value const& value) {
    std::size_t const size = text_of<Encoder>(value).size();
    ASSERT_GT(size, 500000U);
    for (std::size_t const limit : {std::size_t{0}, std::size_t{65535}, std::size_t{65536}, std::size_t{150000},
                                    std::size_t{150001}, std::size_t{150002}, size / 2, size - 100, size}) {
        auto const cut = static_cast<unsigned int>(limit);
        std::vector<std::string> pieces;
        ASSERT_EQ(text_of<Encoder>(value, cut), text_in_pieces<Encoder>(value, cut, pieces)) << limit;
        ASSERT_EQ(limit >= 150000, pieces.size() > 1) << limit;
        for (std::string const& piece : pieces) ASSERT_LT(piece.size(), 100000U);
    }
}

TEST(Json, HandsItsTextOverInPieces) {
    auto const bytes = binary_of(pattern(70000));
    Tm_struct value(nullptr);
    for (int i = 0; i < 4; ++i) {
        add(value, "number " + std::to_string(i), i, "text " + std::to_string(i), pattern(3000),
            "bytes " + std::to_string(i), &bytes);
    }
    expect_pieces_to_join<Tm_json_encoder>(value);
    expect_pieces_to_join<Tm_tcl_encoder>(value);

    Tm_json_encoder encoder;
    encoder.set_sink([](std::string_view) { throw Tm_exception("broken"); });
    EXPECT_THROWS("broken", value.accept(encoder));
    std::string const kept = encoder.get_string();
    EXPECT_LE(65536U, kept.size()) << "the piece was not lost";
    EXPECT_EQ(json(value).substr(0, kept.size()), kept);
}

TEST(Json, LeavesNoCommasBehindForTheNextText) {
    Tm_json_encoder encoder(10);
    for (int round = 0; round < 3; ++round) {
        encoder.clear();
        encoder.visit_method_begin(true);
        encoder.visit_method_name_begin(4);
        encoder.visit_method_name_continue("ab", 2);
        encoder.visit_method_name_continue("cd", 2);
        Tm_struct(nullptr).accept(encoder);
        encoder.visit_method_end(true);
        EXPECT_EQ(R"({"name": "ab, "request": [cd", "request": [{}]})", encoder.get_string());
    }
    add_message()->accept(encoder);
    encoder.clear();
    Message().accept(encoder);
    EXPECT_EQ(R"({"response": [{}, {}]})", encoder.get_string()) << "the cut is forgotten, and all commas";
    Tm_json_comma_check commas;
    commas.push_in_type(true);
    for (bool const expected : {false, true}) EXPECT_EQ(expected, commas.needs_comma());
    for (int i = 0; i < 3; ++i) commas.pop_in_type();
    EXPECT_FALSE(commas.needs_comma());
}

TEST(Json, WritesDoublesAsPrintfDoes) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        std::uint64_t bits = random();
        if (i % 2 == 0) bits = (bits & 0x800FFFFFFFFFFFFF) | (0x3FA0000000000000 + (bits % 90 << 52));
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        char expected[40];
        std::snprintf(expected, sizeof expected, "[%g, %g]", value, static_cast<double>(i - 10000) / 8);
        ASSERT_EQ(expected, json(Tm_array::of(value, static_cast<double>(i - 10000) / 8)));
    }
    // Numbers that round up to one more digit, or lie in the middle between two texts.
    for (int exponent = -20; exponent < 30; ++exponent) {
        for (double const digits : {1.0, 9.999995, 9.9999949999, 1.000005, 1.2345650000000001, -5.0, -1e200, -0.0}) {
            double const value = digits * std::pow(10, exponent);
            for (double const near : {value, std::nextafter(value, -1e300), std::nextafter(value, 1e300)}) {
                char expected[20];
                std::snprintf(expected, sizeof expected, "%g", near);
                ASSERT_EQ(expected, json(Tm_double(near)));
            }
        }
    }
}

/// Longer than what is made room for at once, and read in between.
TEST(Json, ShowsTheTextAfterEveryEvent) {
    Tm_json_encoder encoder;
    std::string expected;
    encoder.visit_array_begin();
    for (int i = 0; i < 2000; ++i) {
        expected += (i == 0 ? "[" : ", ") + std::to_string(i);
        encoder.visit_int32(i);
        ASSERT_EQ(expected, encoder.get_string());
    }
    Tm_json_encoder const copy(encoder);
    encoder.visit_array_end();
    EXPECT_EQ(expected + "]", encoder.get_string());
    EXPECT_EQ(expected, copy.get_string());
}

}  // namespace
