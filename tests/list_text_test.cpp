#include <locale>

#include "support/support.h"

namespace {

std::string list_text(Tm_value const& value, unsigned int limit = Tm_text_encoder::DEFAULT_LIMIT) {
    return text_of<Tm_tcl_encoder>(value, limit);
}

/// The list text of what a text decodes to, or the error.
std::string decoded(std::string const& text) {
    Tm_tcl_decoder decoder;
    decoder.decode(text);
    remove_received_files();
    EXPECT_TRUE(decoder.error().empty() || decoder.get_value() == nullptr);
    return decoder.error().empty() ? list_text(*decoder.get_value()) : decoder.error();
}

std::string string_in(std::string const& text) {
    Tm_tcl_decoder decoder;
    decoder.decode("string " + text);
    EXPECT_EQ("", decoder.error());
    return std::string(static_cast<Tm_string const&>(*decoder.get_value()).value());
}

void expect_rows(Names const& table) {
    for (std::string const& row : table) {
        std::size_t const arrow = row.find(" -> ");
        EXPECT_EQ(row.substr(arrow + 4), decoded(row.substr(0, arrow))) << row;
    }
}

TEST(ListText, WritesMessagesAndEveryKind) {
    EXPECT_EQ(R"(request {name "add" struct {"a" {int32_t 1 } } struct {} } )", list_text(*add_message()));
    EXPECT_EQ("response {struct {} struct {} } ", list_text(*make_message(Message::TMT_RESPONSE)));
    EXPECT_EQ(R"(response {fault {struct {"a" {int32_t 1 } } struct {} } } )",
              list_text(*add_message(Message::TMT_FAULT)));
    EXPECT_EQ(R"(request {name "struct {} struct {} } )", list_text(*make_message(Message::TMT_REQUEST)));

    Scratch const scratch;
    Tm_struct value(nullptr);
    Tm_array const strings = Tm_array::of("x", "");
    Tm_array numbers = Tm_array::of(Tm_int8(-1).value(), Tm_uint8(255).value(), Tm_int16(-2).value(),
                                    Tm_uint16(65535).value(), 4294967295U, -1L, 2UL, 2.5, true, false);
    numbers.add_member(scratch.file("f", "123"), 0U);
    auto const bytes = binary_of("\1\xFF");
    auto const none = binary_of("");
    add(value, "a", 1, "b", &bytes, "c", &strings, "n", &numbers, "e", &none, "", "q\"\n\\");
    EXPECT_EQ(R"(struct {"a" {int32_t 1 } "b" {binary "2 bytes" "01 ff " } "c" {array {string "x" string ""} } )"
              R"("n" {array {int8_t -1 uint8_t 255 int16_t -2 uint16_t 65535 uint32_t 4294967295 int64_t -1 )"
              R"(uint64_t 2 double 2.5 bool true bool false file 3 } } "e" {binary "0 bytes" ""} "string "q")"
              "\n\\\" } } ",
              list_text(value));
}

TEST(ListText, ClosesByteSequencesByTheirLength) {
    Tm_tcl_encoder encoder;
    for (int round = 0; round < 2; ++round) {
        encoder.clear();
        encoder.visit_string_begin(2);
        encoder.visit_string_continue("ab", 2);
        encoder.visit_string_continue("", 0);
        EXPECT_EQ(R"(string "ab" " )", encoder.get_string());
    }
    std::string hex;
    for (int i = 0; i < 130; ++i) hex += "78 ";
    auto const bytes = binary_of(std::string(130, 'x'));
    EXPECT_EQ("array {binary \"130 bytes\" \"" + hex + "\" } ", list_text(Tm_array::of(&bytes)));
    // The last member begins where a log's text may end, or one byte before it.
    for (std::size_t const size : {975U, 976U}) {
        auto const message = make_message(Message::TMT_RESPONSE);
        add(message->get_struct(body), "text", std::string(size, 'x'), "last", true);
        std::ostringstream out;
        out << *message;
        EXPECT_EQ(size == 976 ? 1024 : std::string::npos, out.str().find("...SNIPPED"));
    }
}

TEST(ListText, EndsAtTheLimitWithoutClosing) {
    EXPECT_EQ(R"(request {name "add" struct {...SNIPPED...)", list_text(*add_message(), 0));
    EXPECT_EQ("response {struct {} struct {} } ", list_text(*make_message(Message::TMT_RESPONSE), 0));
    EXPECT_EQ(R"(request {name "add" struct {...SNIPPED...)", list_text(*add_message(), 28));
    EXPECT_EQ(list_text(*add_message()), list_text(*add_message(), 29));
    auto const bytes = binary_of("ab");
    EXPECT_EQ(R"(array {binary "2 bytes" "61 ...SNIPPED...)", list_text(Tm_array::of(&bytes), 0));
    EXPECT_EQ(R"(array {binary "2 bytes" "61 62 ...SNIPPED...)", list_text(Tm_array::of(&bytes), 31));
    EXPECT_EQ(R"(array {binary "2 bytes" "61 62 " } )", list_text(Tm_array::of(&bytes), 32));
    auto const message = make_message(Message::TMT_RESPONSE);
    auto const inner = nested_struct();
    auto const data = binary_of(pattern(300));
    add(message->get_struct(body), "x", &inner, "data", &data, "y", 1);
    std::string const whole = list_text(*message);
    for (unsigned int limit = 0; limit < whole.size(); ++limit) {
        std::string text = list_text(*message, limit);
        if (text == whole) continue;
        ASSERT_EQ(text.size() - 13, text.find("...SNIPPED..."));
        text.resize(text.size() - 13);
        ASSERT_GE(text.size(), limit);
        ASSERT_EQ(whole.substr(0, text.size()), text);
    }
}

TEST(ListText, ReadsBackWhatItCanWrite) {
    std::vector<std::unique_ptr<Message>> messages;
    {
        for (auto const kind : {Message::TMT_REQUEST, Message::TMT_RESPONSE, Message::TMT_FAULT}) {
            messages.push_back(add_message(kind));
            Tm_struct inner(nullptr);
            Tm_array list;
            add_limits<signed char, unsigned char, short, unsigned short, int, unsigned int, long, unsigned long>(list);
            Tm_array const texts = Tm_array::of("a {b}", 0.25, -1e-9, true, "");
            add(inner, "a b", "tab\tline\n\x80", std::string(300, 'n'), false, "{", &texts, "list", &list, "list", 1);
            add(messages.back()->get_struct(body), "inner", &inner, "message", messages.front().get());
        }
    }
    for (auto const& message : messages) {
        std::ostringstream out;
        out << *message;
        bool const fits = list_text(*message).size() < 1024;
        EXPECT_EQ(list_text(*message, 1024), out.str());
        EXPECT_TRUE(Message::from_string(fits ? out.str() : list_text(*message)) == *message) << out.str();
        EXPECT_EQ(fits, out.str().find("SNIPPED") == std::string::npos);
    }
    expect_rows(rows(R"(array {string "" int8_t 1} -> array {string ""int8_t 1 } )",
                     R"(array {string ""int8_t 1 } -> unmatching quotes in string value: ""int8_t 1 })",
                     R"(array {string ""string "x" } -> array {string ""string "x" } )"));
}

TEST(ListText, ReadsBlanksQuotesAndEscapes) {
    expect_rows(rows("\tresponse\r\n{\fstruct{}struct{}}\n -> response {struct {} struct {} } ",
                     "struct {a {bool\ttrue} \"b c\" {array{}}} -> struct {\"a\" {bool true } \"b c\" {array {} } } ",
                     "struct{{{bool true}} -> struct {\"{\" {bool true } } ",
                     R"(struct {"a\"b" {bool true}} -> struct {"a\"b" {bool true } } )",
                     "request {name \"a b\" struct {} struct {}} -> request {name \"a b\" struct {} struct {} } ",
                     "request {name x struct {} struct {}} int8_t 1 -> request {name \"x\" struct {} struct {} } ",
                     "request {name \"a\\n\" struct {} struct {}} -> request {name \"a\\n\" struct {} struct {} } ",
                     "struct {a {response {fault {struct {}struct {}}}} b {bool true}} -> "
                     "struct {\"a\" {response {fault {struct {} struct {} } } } \"b\" {bool true } } ",
                     "array {string \"a\\n\" string \"b\\n\"} -> array {string \"a\n\" string \"b\n\" } ",
                     "int8_t \v5 -> int8_t 5 ", "int8_t \v-5 -> bad number format parsing int8_t: \v-5"));
    std::string const longest(65535, 'x');
    for (auto const& [text, value] : std::vector<std::pair<std::string, std::string>>{
             {R"("a b")", "a b"},
             {"abc", "abc"},
             {R"("a\"b")", "a\"b"},
             {R"("a"b c")", "a\"b c"},
             {R"("a\" b\\")", R"(a" b\)"},
             {R"("a\ ")", "a "},
             {"\" {\t}  \n\"", " {\t}  \n"},
             {R"("\x41\x4a\n\r\t\b\\\f\q")", "AJ\n\r\t\b\\fq"},
             {R"("\xfF\"\\")", "\xFF\"\\"},
             {R"(a\x20b)", "a b"},
             {R"("\x00")", std::string(1, '\0')},
             {R"("")", ""},
             {longest, longest},
         }) {
        EXPECT_EQ(value, string_in(text));
    }
}

TEST(ListText, ReadsBytesAndFilesAsLengthAndContents) {
    Tm_tcl_decoder decoder;
    decoder.decode("array {binary 0 \"\" binary +3 \"a\\x00 \" binary 130 \"" + std::string(129, 'y') +
                   " \" file 2 ab file 0 \"\"}");
    ASSERT_EQ("", decoder.error());
    auto const& array = static_cast<Tm_array const&>(*decoder.get_value());
    EXPECT_TRUE(*array.get_member_binary(0) == binary_of(""));
    EXPECT_TRUE(*array.get_member_binary(1) == binary_of(std::string("a\0 ", 3)));
    EXPECT_TRUE(*array.get_member_binary(2) == binary_of(std::string(129, 'y') + " "));
    ASSERT_EQ(2U, decoder.received_files().size());
    EXPECT_EQ("ab", content_of(array.get_member_file(3)->path()));
    EXPECT_EQ(0U, array.get_member_file(4)->size());
    remove_received_files();
    decoder.decode("bool true bool false");
    EXPECT_EQ(2, decoder.values()->get_member_count());
}

/// The rows of one type: what it accepts, and as what.
TEST(ListText, ReadsNumbersWithinTheirLimits) {
    auto const check = [](std::string const& type, std::string const& good, std::string const& bad) {
        std::istringstream accepted(good), rejected(bad);
        for (std::string token, value; accepted >> token >> value;) {
            EXPECT_EQ(type + " " + value + " ", decoded(type + " " + token));
        }
        for (std::string token; rejected >> token;) {
            EXPECT_EQ("bad number format parsing " + type + ": " + token, decoded(type + " " + token));
        }
    };
    std::string const never = " x 1x 1. 0x1 - + +-1 \"1\" 1e3 18446744073709551616 ";
    check("int8_t", "127 127 -128 -128 -0 0 +5 5 007 7 -18446744073709551616 -1",
          never + "128 -129 18446744073709551615 -18446744073709551615");
    check("uint8_t", "255 255 -0 0 +1 1", never + "256 -1 -18446744073709551361");
    check("int16_t", "32767 32767 -32768 -32768", never + "32768 -32769");
    check("uint16_t", "65535 65535", never + "65536 -1");
    check("int32_t", "2147483647 2147483647 -2147483648 -2147483648", never + "2147483648 -2147483649");
    check("uint32_t", "4294967295 4294967295 -0 0", never + "4294967296 -1");
    check("int64_t",
          "9223372036854775807 9223372036854775807 -9223372036854775808 -9223372036854775808 9223372036854775808 "
          "9223372036854775807 12abc 12 0x 0 0 0 +7 7 -99999999999999999999 -9223372036854775808",
          "-0 +0 x -x -");
    check("uint64_t",
          "18446744073709551615 18446744073709551615 99999999999999999999 18446744073709551615 12abc 12 0x 0",
          "-0 -1 x +0");
    check("double", "2.5 2.5 -2.5 -2.5 +1 1 1e400 inf -inf -inf nan nan 0x1p4 16 .5 0.5 5. 5 1e-400 0 1e5 100000",
          "x 1x 1.5.5 nan(1) -");
    EXPECT_EQ(0.1, [] {
        Tm_tcl_decoder decoder;
        decoder.decode("double 0.1000000000000000055511151231257827");
        return static_cast<Tm_double const&>(*decoder.get_value()).value();
    }());
}

TEST(ListText, SaysWhatIsWrong) {
    expect_rows(rows(
        "x -> unexpected token: x", "{ -> unexpected token: {", "} -> unmatched }, current state: base array",
        "request -> premature end of input: expected {", "request x -> expected { but got: x",
        "struct } -> expected { but got: }", "struct {a {int32_t 1 x -> expected } but got: x",
        "struct {a {int32_t 1 -> premature end of input: expected }",
        "struct {\"a\" {bool maybe} } -> invalid boolean value: maybe",
        "bool -> premature end of input: expected bool value",
        "struct {\"a\" {int32_t 1 } -> decoder within member at end of buffer",
        "struct {a -> premature end of input: expected {", "array { -> decoder expecting more data after end of buffer",
        "request {name a -> decoder expecting more data after end of buffer",
        "int8_t -> premature end of input: expected int8_t value",
        "double  -> premature end of input: expected double value",
        "string -> premature end of input: expected string value",
        "request {name -> premature end of input: expected method name",
        "binary -> premature end of input: expected binary length",
        "binary 3 -> premature end of input: expected binary value",
        "binary x -> bad number format parsing binary length: x",
        "binary -1 a -> bad number format parsing binary length: -1",
        "binary 3 \"ab\" -> premature end of binary: \"ab\" should be 3 characters",
        "binary +1 ab -> overlong binary: \"ab\" should be 1 characters",
        "file -> premature end of input: expected file length",
        "file 1 -> premature end of input: expected file contents",
        "file 4294967296 a -> bad number format parsing file length: 4294967296",
        "file 3 ab -> premature end of file: \"ab\" should be 3 characters",
        "file 1 ab -> overlong file: \"ab\" should be 1 characters",
        "string \"a { -> unmatching quotes in string value: \"a {",
        "string \" -> unmatching quotes in string value: \"",
        "request {name \"a\\\" -> unmatching quotes in method name: \"a\\\"",
        "struct {\"a b -> unmatching quotes in member name: \"a b",
        "binary 1 \"a -> unmatching quotes in binary value: \"a",
        "file 1 \"a -> unmatching quotes in file contents: \"a", "string \"\\x4\" -> extraneous \\x in string: \\x4",
        "string \"\\xZZ\" -> invalid \\x string, should be two hex characters: \\xZZ",
        "string a\\ -> extraneous backslash in string: a\\",
        "binary 1 \"\\xG0\" -> invalid \\x string, should be two hex characters: \\xG0",
        "response {fault {struct {} struct {} } x -> expected } but got: x",
        "response {fault {struct {} struct {} } -> premature end of input: expected }",
        "request {request x -> unexpected method call begin in method call",
        "array {response {response x -> unexpected method response begin in method response",
        "fault x -> unexpected fault begin in base array", "request {array x -> unexpected array begin in method call",
        "request {name a struct {} struct {} struct x -> unexpected struct begin in method call",
        "request {binary 1 a -> unexpected binary begin in method call",
        "string \"\\x4g\" -> invalid \\x string, should be two hex characters: \\x4g",
        "double 5" + std::string(1, '\0') + " -> bad number format parsing double: 5" + std::string(1, '\0'),
        "request {int32_t 1 -> unexpected int32 in method call",
        "array {name x -> unexpected method name begin in array", "struct {a {}} -> no values found in member",
        "bool true } -> unmatched }, current state: base array",
        "string " + std::string(65536, 'x') + " -> String length 65536 out of range 0..65535"));
}

/// Each row has | before the word that is refused.
TEST(ListText, SaysWhereItIsWrong) {
    Tm_tcl_decoder decoder;
    for (std::string row :
         rows("|x", "|}", "request |x", "request |", "struct {\n a {\r\n\tint32_t 1 |x",
              "struct {\"a b\" {bool |maybe} }", "struct {\"ä\" {bool |maybe} }", "struct {\"a\" {int32_t 1 }\n|",
              "array {\n\n|", "array {int8_t |200 }", "binary |x", "binary 3 |\"ab\"", "string |\"a {\n",
              "string |\"\\xZZ\"", "array {\n int8_t 1\n |name x", "request {|int32_t 1", "request {\n  |binary 1 a",
              "request {|request x", "struct {a {|}}", "bool true |}", "string |" + std::string(65536, 'x'),
              "request {name a struct {} struct {} |struct x", "response {fault {struct {} struct {} } |x")) {
        std::size_t const mark = row.find('|');
        row.erase(mark, 1);
        decoder.decode(row);
        std::string const before = row.substr(0, mark);
        EXPECT_EQ(std::count(before.begin(), before.end(), '\n') + 1, decoder.error_line()) << row.substr(0, 60);
        EXPECT_EQ(static_cast<int>(mark - (before.rfind('\n') + 1)) + 1, decoder.error_column()) << row.substr(0, 60);
    }
    text_thrown_by([&] { decoder.decode("request {name a struct {\ncatalog {int32_t 1}} struct {}}"); });
    EXPECT_EQ(2, decoder.error_line());
    decoder.decode("int32_t 1");
    decoder.set_error("enough");
    EXPECT_EQ(0, decoder.error_line() + decoder.error_column());
}

TEST(ListText, StartsAfreshWithEveryText) {
    Tm_tcl_decoder decoder;
    EXPECT_EQ(nullptr, decoder.get_value());
    EXPECT_EQ(nullptr, decoder.values());
    EXPECT_EQ(Names(), decoder.received_files());
    for (int round = 0; round < 2; ++round) {
        decoder.decode("struct {");
        EXPECT_EQ("decoder within member at end of buffer", decoder.error());
        decoder.decode("int32_t 7");
        EXPECT_EQ("int32_t 7 ", list_text(*decoder.get_value()));
    }
    for (std::string const& blank : rows("", " \t\n")) {
        decoder.decode(blank);
        EXPECT_EQ("", decoder.error());
        EXPECT_THROWS("index 0 out of range 0..-1", decoder.get_value());
        EXPECT_THROWS("index 0 out of range 0..-1", Message::from_string(blank));
    }
    decoder.set_error("enough");
    EXPECT_EQ("enough", decoder.error());
    EXPECT_THROWS("message expected but not found in: struct {}", Message::from_string("struct {}"));
    EXPECT_THROWS("unexpected token: x while parsing: x y", Message::from_string("x y"));
    std::string const bad_table = "request {name a struct {x {file 1 y} catalog {int32_t 1}} struct {}}";
    EXPECT_THROWS("value of type int32_t accessed as type array", decoder.decode(bad_table));
    EXPECT_EQ("value of type int32_t accessed as type array", decoder.error());
    remove_received_files();
    EXPECT_THROWS("value of type int32_t accessed as type array", Message::from_string(bad_table));
    text_thrown_by([] { Message::from_string("response {struct {x {file 1 y}} x"); });
    EXPECT_EQ(0, remove_received_files());
    Message const first = Message::from_string("response {struct {} struct {x {file 1 y}}} file 1 y array {file 1 y}");
    EXPECT_EQ("y", content_of(first.get_member_file(body, "x")->path()));
    EXPECT_EQ(1, remove_received_files()) << "those of further values are gone";
}

TEST(ListText, CutsTextIntoTokens) {
    auto const tokens = [](std::string const& text, std::string const& skipped, std::string const& returned) {
        std::string all;
        for (Tm_tcl_decoder::Tokenizer t(text, skipped, returned); t.has_more_tokens();)
            all += std::string(t.next_token()) + "|";
        return all;
    };
    EXPECT_EQ("a| | |{|b|}|", tokens("a  {b}", "", " {}"));
    EXPECT_EQ("a|b|{c|", tokens("  a b {c ", " ", ""));
    EXPECT_EQ("a|{|b|", tokens(" a{ b ", " ", "{"));
    EXPECT_EQ("", tokens("  ", " ", "{"));
    Tm_tcl_decoder::IgnoreMap const blanks(" \t");
    EXPECT_TRUE(blanks.contains("\t"));
    for (char const* const other : {"\n", " \t", ""}) EXPECT_FALSE(blanks.contains(other));
}

}  // namespace
