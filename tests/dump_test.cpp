#include "support/support.h"

namespace {

std::string dump(Bytes const& bytes, std::size_t piece = 0) {
    return printed_by([&](FILE* stream) {
        Tm_bin_decoder_to_text decoder(static_cast<long>(bytes.size()), stream);
        feed(decoder, bytes, piece);
        decoder.finalize();
        EXPECT_EQ("", decoder.error());
    });
}

TEST(Dump, PrintsAMessage) {
    EXPECT_EQ("methodCall\n  (name) add\n(struct)\n    (name) a(int32_t) 1\n      (struct)\n    ",
              dump(encode(*add_message())));
    EXPECT_EQ("methodResponse\n  fault\n    (struct)\n      (struct)\n      ",
              dump(encode(*make_message(Message::TMT_FAULT))));
}

TEST(Dump, PrintsEveryKindAndDoesNotDependOnTheCut) {
    Scratch const scratch;
    Tm_array value = Tm_array::of(true, false, Tm_int8(-1).value(), Tm_uint8(255).value(), Tm_int16(-2).value(),
                                  Tm_uint16(65535).value(), -3, 4294967295U, -1L, 2UL, 2.5, "text", "", "x");
    value.add_member(std::make_unique<Tm_binary>(binary_of(std::string(130, 'x'))).get());
    value.add_member(scratch.file("f", "123"), 0U);
    Bytes const bytes = encode(value);
    std::string expected = "(array)\n  ";
    for (std::string const& line : rows("(bool) true", "(bool) false", "(int8_t) -1", "(uint8_t) 255", "(int16_t) -2",
                                        "(uint16_t) 65535", "(int32_t) -3", "(uint32_t) 4294967295", "(int64_t) -1",
                                        "(uint64_t) 2", "(double) 2.5", "(string) text", "(string) ", "(string) x")) {
        expected += line + "\n  ";
    }
    expected += "(binary)[130]\n        ...[128]\n    ...[2]\n(file)[3]\n        ...[3]\n";
    EXPECT_EQ(expected, dump(bytes));
    for (std::size_t piece = 1; piece < 20; ++piece) ASSERT_EQ(expected, dump(bytes, piece));
}

TEST(Dump, CountsPiecesAndIndents) {
    EXPECT_EQ("(binary)[300]\n        ...[256]\n    ...[44]\n(string) abcde\n  (name) x(string) ",
              printed_by([](FILE* stream) {
                  Tm_text_creator creator(stream);
                  creator.indent();
                  creator.unindent();
                  creator.unindent();
                  EXPECT_STREQ("", creator.indent_c_str());
                  creator.indent();
                  creator.visit_binary_begin(300);
                  creator.visit_binary_continue(nullptr, 256);
                  creator.visit_binary_continue(nullptr, 44);
                  creator.visit_string_begin(2);
                  creator.visit_string_continue("abc", 3);  // too long: does not count
                  creator.visit_string_continue("de", 2);
                  creator.visit_member_begin(1);
                  creator.visit_member_continue("x", 1);
                  creator.visit_string_begin(0);
                  EXPECT_STREQ("      ", creator.indent_c_str()) << "an empty string leaves its indent";
                  EXPECT_TRUE(creator.done());
                  EXPECT_STREQ("", creator.indent_c_str());
                  EXPECT_FALSE(creator.support_member_with_index());
              }));
    EXPECT_STREQ("(date)", Tm_text_creator::type_to_c_str(static_cast<Tm_text_creator::Type>(8)));
    EXPECT_STREQ("???", Tm_text_creator::type_to_c_str(static_cast<Tm_text_creator::Type>(21)));
}

TEST(Dump, EveryEndTakesItsIndentBack) {
    printed_by([](FILE* stream) {
        Tm_text_creator creator(stream);
        creator.visit_method_begin(false);
        creator.visit_fault_begin();
        creator.visit_array_begin();
        creator.visit_struct_begin();
        creator.visit_member_begin(1);
        EXPECT_EQ(10U, std::string(creator.indent_c_str()).size());
        creator.visit_member_end();
        creator.visit_struct_end();
        creator.visit_array_end();
        creator.visit_fault_end();
        creator.visit_method_end(false);
        EXPECT_STREQ("", creator.indent_c_str());
        creator.visit_struct_begin();
        creator.visit_method_begin(true);
        EXPECT_STREQ("  ", creator.indent_c_str());
    });
}

TEST(Dump, StartsAgainAfterAnError) {
    EXPECT_EQ("(array)\n  (int8_t) 5\n", printed_by([](FILE* stream) {
                  Tm_bin_decoder_to_text decoder(100, stream);
                  feed(decoder, from_hex("06 FF"));
                  EXPECT_EQ("unknown tag found: FFh at byte 1", decoder.error());
                  decoder.init();
                  feed(decoder, from_hex("0D 05"));
                  EXPECT_EQ("", decoder.error());
              }));
}

/// The text in front of the error is the beginning of the whole dump, within the limit.
TEST(Dump, EndsAtTheLimitOfItsText) {
    auto const binary = binary_of(std::string(300, 'x'));
    auto const message = add_message();
    message->add_member(body, "binary", &binary);
    for (Bytes const& bytes : {encode(*message), encode(Tm_string("text")), encode(binary), encode(Tm_int32(5))}) {
        std::string const whole = dump(bytes);
        for (std::size_t limit = 0; limit <= whole.size(); ++limit) {
            std::string error;
            std::string const text = printed_by([&](FILE* stream) {
                Tm_bin_decoder_to_text decoder(1000, stream, {}, limit);
                feed(decoder, bytes);
                decoder.finalize();
                error = decoder.error();
            });
            bool const is_whole = limit == whole.size();
            std::string const wanted = is_whole ? "" : "text longer than " + std::to_string(limit) + " bytes";
            ASSERT_EQ(wanted, error.substr(0, error.find(':')));
            ASSERT_LE(text.size(), limit);
            ASSERT_EQ(whole.substr(0, text.size()), text);
            ASSERT_EQ(is_whole, text == whole);
        }
    }
    auto const walk = [](std::size_t limit, bool is_whole) {
        return printed_by([=](FILE* stream) {
            Tm_text_creator creator(stream, {}, limit);
            EXPECT_EQ(is_whole, every_kind_request()->accept(creator)) << limit;
        });
    };
    std::size_t const size = walk(1U << 20, true).size();
    EXPECT_EQ(size, walk(size, true).size()) << "no event fails";
    for (std::size_t limit = 0; limit < size; ++limit) walk(limit, false);
    EXPECT_EQ("(bool)", printed_by([](FILE* stream) {
                  Tm_text_creator creator(stream, {}, 6);
                  EXPECT_FALSE(creator.visit_bool(true));
                  EXPECT_FALSE(creator.visit_array_begin());
                  EXPECT_FALSE(creator.visit_array_end());
                  EXPECT_EQ("text longer than 6 bytes", creator.error());
              }));
}

TEST(Peek, FindsTheMethodNameAtTheHead) {
    for (std::string const& row :
         rows("00 01 00 03 61 62 63 04 -> abc", "00 00 00 01 00 01 61 -> a", "01 00 00 -> ", "01 00 02 61 62 -> ab")) {
        auto const [bytes, name] = split(row);
        Tm_message_peek_decoder peek(bytes.data(), static_cast<long>(bytes.size()));
        EXPECT_TRUE(peek.complete()) << row;
        EXPECT_TRUE(peek.decode()) << row;
        EXPECT_EQ(name, peek.method_name());
        EXPECT_EQ(name.size(), bytes[static_cast<std::size_t>(peek.read_position() - 1)]);
    }
    for (std::string const& row : rows("-> 0", "00 -> 1", "00 01 -> 1", "00 01 00 -> 1", "02 04 84 -> 1", "11 00 -> 0",
                                       "FF -> 1", "00 08 00 -> 2")) {
        auto const [bytes, position] = split(row);
        Tm_message_peek_decoder peek(bytes.data(), static_cast<long>(bytes.size()));
        EXPECT_FALSE(peek.complete()) << row;
        EXPECT_FALSE(peek.decode()) << row;
        EXPECT_EQ("", peek.method_name()) << row;
        EXPECT_EQ(position, std::to_string(peek.read_position())) << row;
    }
    Bytes const twice = from_hex("01 00 03 01 FF FF");
    Tm_message_peek_decoder peek(twice.data(), 6);
    EXPECT_TRUE(peek.complete());
    EXPECT_TRUE(peek.decode());
    EXPECT_FALSE(peek.complete()) << "the name is no second head";
    Bytes const cut = from_hex("00 01 00 03 61 62");
    EXPECT_FALSE(Tm_message_peek_decoder(cut.data(), 6).complete()) << "decode() would read behind it";
}

TEST(DebugText, ShowsEveryKind) {
    Scratch const scratch;
    Message request = Message::request("a.b");
    request.add_member(meta, "", true);
    Tm_array value = Tm_array::of(Tm_int8(-1).value(), 4294967295U, 2.5, "\"\\\n", "");
    value.add_member(Tm_struct{{"x", Tm_array()}, {"y", Tm_struct()}});
    value.add_member(binary_of(""));
    value.add_member(binary_of(std::string(17, 'A')));
    value.add_member(scratch.file("f", "123"), 0U);
    value.add_member(Message::fault(5, "no"));
    request.add_member(body, "value", value);
    request.add_member(body, "end", 1UL);
    EXPECT_STREQ(R"(request a.b {"": bool true} {value: [int8_t -1, uint32_t 4294967295, double 2.5, "\"\\\x0a", "", )"
                 R"({x: [], y: {}}, binary[0], binary[17] 41414141414141414141414141414141..., file[3], )"
                 R"(response(fault) {} {faultCode: int32_t 5, faultString: "no"}], end: uint64_t 1})",
                 tmsg_debug_text(&request));
    EXPECT_STREQ("null", tmsg_debug_text(nullptr));
}

TEST(DebugText, IsBoundedAndThrowsNothing) {
    for (std::size_t const size : {15998U, 15999U, 65535U}) {
        std::string const text = tmsg_debug_text(std::make_unique<Tm_string>(std::string(size, 'x')).get());
        EXPECT_EQ(size == 15998 ? 16000U : 16003U, text.size());
        EXPECT_EQ(size == 15998 ? "xx\"" : "...", text.substr(text.size() - 3));
    }
    Tm_array deep;
    for (int i = 1; i < 100; ++i) deep = Tm_array::of(std::move(deep));
    EXPECT_EQ(std::string(60, '[') + "...", tmsg_debug_text(&deep));
    char const* const names[] = {"a"};
    Tm_prenamed_struct const empty(names, 1);
    EXPECT_STREQ("{a: (incomplete)", tmsg_debug_text(&empty));
}

}  // namespace
