#include <cmath>
#include <limits>
#include <random>

#include "support/text.h"

namespace {

std::string typed_json(Tm_value const& value, int indent = 0) { return text_of<Tm_typed_json_encoder>(value, indent); }

struct Read {
    std::unique_ptr<Tm_value> value;
    std::string error;  ///< "LINE:COLUMN TEXT"
};

Read read(std::string const& text, bool is_message = false, Tm_limits const& limits = {}) {
    Tm_typed_json_decoder decoder(limits);
    bool const is_good = is_message ? decoder.decode(text) : decoder.decode_value(text);
    EXPECT_EQ(is_good, decoder.error().empty());
    EXPECT_EQ(is_good, decoder.get_value() != nullptr);
    if (is_good) {
        EXPECT_EQ(0, decoder.error_line() + decoder.error_column());
        return {std::unique_ptr<Tm_value>(decoder.get_value()->clone()), ""};
    }
    return {nullptr, std::to_string(decoder.error_line()) + ":" + std::to_string(decoder.error_column()) + " " +
                         decoder.error()};
}

/// The typed JSON of what a text decodes to, or the error with its place.
std::string decoded(std::string const& text, bool is_message = false) {
    Read const result = read(text, is_message);
    return result.value != nullptr ? typed_json(*result.value) : result.error;
}

void expect_rows(Names const& table, bool is_message = false) {
    for (std::string const& row : table) {
        std::size_t const arrow = row.find(" -> ");
        EXPECT_EQ(row.substr(arrow + 4), decoded(row.substr(0, arrow), is_message)) << row;
    }
}

/// With and without indentation. The bytes are those of a message that is ready to be sent on.
void expect_to_come_back(Message const& message) {
    for (int const indent : {0, 3}) {
        std::string const text = typed_json(message, indent);
        Read const back = read(text, true);
        ASSERT_EQ("", back.error) << text;
        auto& copy = static_cast<Message&>(*back.value);
        EXPECT_EQ(text, typed_json(copy, indent));
        EXPECT_TRUE(copy.restore_member_indexes());
        EXPECT_EQ(encode(message), encode(copy)) << text;
    }
}

TEST(TypedJson, BringsEveryMessageBack) {
    for (auto const& message : sample_messages()) expect_to_come_back(*message);
    auto const message = make_message(Message::TMT_REQUEST, "not \xFF UTF-8");
    Tm_array const texts =
        Tm_array::of("\x7F\x1F\"\\/\b\f\n\r\t", std::string("\0", 1), "\xC3\xA9\xF0\x9F\x98\x80\xEF\xBF\xBF",
                     "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80");
    Tm_struct names(nullptr);
    add(names, "$int8", 1, "\xFF", &texts, "twice", 2, "twice", 3, "", 4);
    Tm_array nested;
    for (int depth = 0; depth < 5; ++depth) {
        Tm_struct around(nullptr);
        add(around, "names", &names, "\"", &nested, depth % 2 == 0 ? "names" : "other", depth);
        nested.add_member(&around);
    }
    add(message->get_struct(meta), "a", &nested, "a", true);
    add(message->get_struct(body), "$", &names);
    expect_to_come_back(*message);
}

TEST(TypedJson, BringsEveryDoubleBack) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        auto const bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        Read const back = read(typed_json(Tm_double(number)));
        ASSERT_EQ("", back.error);
        double const same = static_cast<Tm_double const&>(*back.value).value();
        if (std::isnan(number)) {
            ASSERT_TRUE(std::isnan(same) && !std::signbit(same));
        } else {
            ASSERT_EQ(0, std::memcmp(&number, &same, sizeof number)) << number;
        }
    }
}

TEST(TypedJson, WritesTheseTexts) {
    EXPECT_EQ(R"({"request":"add","meta":{"a":1},"body":{}})", typed_json(*add_message()));
    EXPECT_EQ(R"({"response":true,"meta":{"a":1},"body":{}})", typed_json(*add_message(Message::TMT_RESPONSE)));
    auto const fault = add_message(Message::TMT_FAULT);
    auto const request = make_message(Message::TMT_REQUEST, "\xFF");
    add(request->get_struct(body), "inner", fault.get());
    EXPECT_EQ(R"({"request":{"$string":"/w=="},"meta":{},"body":{"inner":{"$message":{"fault":true,"meta":{"a":1},)"
              R"("body":{}}}}})",
              typed_json(*request));
    double const huge = std::numeric_limits<double>::infinity();
    Tm_array const numbers = Tm_array::of(1, static_cast<signed char>(-1), static_cast<unsigned char>(2),
                                          static_cast<short>(-3), static_cast<unsigned short>(4), 5U, -6L, 7UL, true,
                                          false, 1.0, -0.0, 0.1, 1e300, huge, -huge, std::nan(""));
    EXPECT_EQ(
        R"([1,{"$int8":-1},{"$uint8":2},{"$int16":-3},{"$uint16":4},{"$uint32":5},{"$int64":"-6"},{"$uint64":"7"},)"
        R"(true,false,1.0,-0.0,0.1,1e+300,{"$double":"Infinity"},{"$double":"-Infinity"},{"$double":"NaN"}])",
        typed_json(numbers));
    auto const bytes = binary_of("\xFB\xFF!");
    Tm_struct pairs(nullptr);
    add(pairs, "a", &bytes, "a", "\x01\x1F\x7F\b\f\n\r\t\"\\/", "\xC0", "\xC0", "$", Tm_array());
    EXPECT_EQ(R"({"$struct":[["a",{"$binary":"+/8h"}],["a","\u0001\u001f)"
              "\x7F"
              R"(\b\f\n\r\t\"\\/"],[{"$string":"wA=="},{"$string":"wA=="}],["$",[]]]})",
              typed_json(pairs));
}

TEST(TypedJson, IndentsWhatIsNoTag) {
    auto const message = make_message(Message::TMT_RESPONSE);
    Tm_struct pairs(nullptr);
    add(pairs, "$a", 1, "b,{", Tm_array::of(2L));
    add(message->get_struct(body), "pairs", &pairs, "none", Tm_array());
    EXPECT_EQ(R"({
  "response": true,
  "meta": {},
  "body": {
    "pairs": {"$struct": [
      ["$a", 1],
      ["b,{", [
        {"$int64": "2"}
      ]]
    ]},
    "none": []
  }
})",
              typed_json(*message, 2));
}

TEST(TypedJson, WritesRowsUntilItIsCleared) {
    Tm_typed_json_encoder encoder;
    Tm_struct pairs(nullptr);
    add(pairs, "a", 1, "a", 2);
    Tm_int32(1).accept(encoder);
    pairs.accept(encoder);
    EXPECT_EQ("1\n{\"$struct\":[[\"a\",1],[\"a\",2]]}", encoder.get_string());
    encoder.visit_struct_begin();
    encoder.visit_member_begin(3);
    encoder.visit_member_continue("$", 1);
    encoder.clear();
    Tm_array().accept(encoder);
    EXPECT_EQ("[]", encoder.get_string());
    // What cannot come next is refused.
    EXPECT_FALSE(encoder.visit_struct_end() || encoder.visit_method_end(true) || encoder.visit_member_begin(1) ||
                 encoder.visit_fault_begin() || encoder.visit_method_name_begin(1) || encoder.visit_array_end());
    EXPECT_TRUE(encoder.visit_method_begin(false));
    EXPECT_FALSE(encoder.visit_int32(1) || encoder.visit_string_begin(0) || encoder.visit_method_end(false));
}

TEST(TypedJson, ReadsWhatWasWrittenByHand) {
    expect_rows(
        rows("2147483647 -> 2147483647", "-2147483648 -> -2147483648", R"(2147483648 -> {"$int64":"2147483648"})",
             R"(-9223372036854775808 -> {"$int64":"-9223372036854775808"})",
             R"(18446744073709551615 -> {"$uint64":"18446744073709551615"})", "-0 -> 0", "-0.0 -> -0.0", "1e5 -> 1e+05",
             "1E0 -> 1.0", R"({"$int32": -5} -> -5)", R"({"$int64": 5} -> {"$int64":"5"})",
             R"({"$uint64": 18446744073709551615} -> {"$uint64":"18446744073709551615"})", R"({"$double": 5} -> 5.0)",
             R"({"$double": 1.5} -> 1.5)", R"({"$double": 18446744073709551616} -> 18446744073709551616.0)",
             R"({"$double": -0} -> -0.0)", R"({"$struct": []} -> {})", R"({"$struct": [["a", [ ]]]} -> {"a":[]})",
             R"({"\u0024int8": 1} -> {"$int8":1})", R"({"$binary": "\/\/79"} -> {"$binary":"//79"})",
             R"({"$string": "QQ=="} -> "A")", R"({"a": {"$string": ""}} -> {"a":""})",
             R"(" \ud83d\ude00\u00e9\/\u0000" -> " )"
             "\xF0\x9F\x98\x80\xC3\xA9"
             R"(/\u0000")",
             R"({"request": "a", "meta": 1} -> {"request":"a","meta":1})",
             R"([{"$message": {"body": {"$struct": [["x", 1]]}, "request": {"$string": "QQ=="}}}] -> )"
             R"([{"$message":{"request":"A","meta":{},"body":{"x":1}}}])"));
    expect_rows(rows(R"({"fault": true} -> {"fault":true,"meta":{},"body":{}})",
                     R"({"meta": {"a": 1}, "response": true} -> {"response":true,"meta":{"a":1},"body":{}})",
                     R"({"body": {"b": {"$message": {"body": {"c": 1}, "meta": {}, "request": ""}}}, "meta": {"m": 2},)"
                     R"( "request": "x.y"} -> {"request":"x.y","meta":{"m":2},"body":{"b":{"$message":)"
                     R"({"request":"","meta":{},"body":{"c":1}}}}})"),
                true);
}

TEST(TypedJson, RefusesTheseValues) {
    expect_rows(rows(
        "null -> 1:1 null is no value", "[1, null] -> 1:5 null is no value",
        "18446744073709551616 -> 1:1 18446744073709551616 does not fit int64_t or uint64_t",
        "-9223372036854775809 -> 1:1 -9223372036854775809 does not fit int64_t or uint64_t",
        "1e400 -> 1:1 1e400 does not fit double", R"([{"$int8": -129}] -> 1:12 -129 does not fit int8_t)",
        R"({"$uint8": 256} -> 1:12 256 does not fit uint8_t)", R"({"$uint16": -1} -> 1:13 -1 does not fit uint16_t)",
        R"({"$int32": 2147483648} -> 1:12 2147483648 does not fit int32_t)",
        R"({"$int64": "9223372036854775808"} -> 1:12 9223372036854775808 does not fit int64_t)",
        R"({"$uint64": "-1"} -> 1:13 -1 does not fit uint64_t)", R"({"$int8": "1"} -> 1:11 no integer for int8_t)",
        R"({"$int64": 1.0} -> 1:12 no integer for int64_t)", R"({"$int64": " 1"} -> 1:12 no integer for int64_t)",
        R"({"$int64": "01"} -> 1:12 no integer for int64_t)", R"({"$int64": ""} -> 1:12 no integer for int64_t)",
        R"({"$double": "1"} -> 1:13 no number, "NaN", "Infinity" or "-Infinity" for double)",
        R"({"$double": true} -> 1:13 no number, "NaN", "Infinity" or "-Infinity" for double)",
        R"({"a": 1, "b": {"a": 2}, "c": 3, "a": 4, "c": 5} -> 1:33 duplicate key "a")",
        R"({"a": 1, "\u0061": 2} -> 1:10 duplicate key "a")", R"({"$Int8": 1} -> 1:2 unknown tag "$Int8")",
        R"({"$int8": 1, "b": 2} -> 1:14 "b" beside the tag "$int8")",
        R"({"b": 1, "$int8": 2} -> 1:10 the tag "$int8" beside other keys)", R"({"$binary": "QQ"} -> 1:13 bad base64)",
        R"({"$binary": "QR=="} -> 1:13 bad base64)", R"({"$binary": "QQ==QQ=="} -> 1:13 bad base64)",
        R"({"$binary": "Q==="} -> 1:13 bad base64)", R"({"$binary": "===="} -> 1:13 bad base64)",
        R"({"$binary": "QUJ\n"} -> 1:13 bad base64)", R"({"$file": "QUJ-"} -> 1:11 bad base64)",
        R"({"$string": ["QQ=="]} -> 1:13 bad base64)", R"({"$struct": {}} -> 1:13 no list of members for $struct)",
        R"({"$struct": [1]} -> 1:14 a member of $struct is not [name, value])",
        R"({"$struct": [[]]} -> 1:14 a member of $struct is not [name, value])",
        R"({"$struct": [["a"]]} -> 1:14 a member of $struct is not [name, value])",
        R"({"$struct": [["a", 1, 2]]} -> 1:14 a member of $struct is not [name, value])",
        R"({"$struct": [[1, 2]]} -> 1:15 no string for a name)",
        R"({"$struct": [[{}, 2]]} -> 1:15 no string for a name)",
        R"({"$struct": [[{"$string": "QQ==", "a": 1}, 2]]} -> 1:35 "a" beside the tag "$string")",
        R"({"$message": []} -> 1:14 a message is no object)",
        "\xEF\xBB\xBF"
        "1 -> 1:1 byte order mark"));
    EXPECT_EQ("3:4 null is no value", decoded("[1,\r\n \n   null]"));
    EXPECT_EQ("1:2 syntax error: zero byte behind the value", decoded(std::string("1\0001", 3)));
    EXPECT_EQ("1:2 syntax error: zero byte behind the value", decoded(std::string("1\0", 2)));
}

TEST(TypedJson, RefusesTheseMessages) {
    expect_rows(
        rows("[] -> 1:1 a message is no object",
             R"( {"meta": {}} -> 1:2 a message has no "request", "response" or "fault")",
             R"({"response": true, "fault": true} -> 1:20 "fault" beside another kind of message)",
             R"({"fault": true, "fault": true} -> 1:17 duplicate key "fault")",
             R"({"fault": true, "meta": {}, "meta": {}} -> 1:29 duplicate key "meta")",
             R"({"response": false} -> 1:14 "response" is not true)", R"({"request": 1} -> 1:13 no string for a name)",
             R"({"request": "a", "header": {}} -> 1:18 unknown key "header" in a message)",
             R"({"$message": {"fault": true}} -> 1:2 unknown key "$message" in a message)",
             R"({"body": [], "request": "a"} -> 1:10 "body" is no struct)",
             R"({"body": {"$int8": 1}, "request": "a"} -> 1:10 "body" is no struct)",
             R"({"body": {"a": null}, "request": "a"} -> 1:16 null is no value)"),
        true);
    Tm_typed_json_decoder decoder;
    std::string const table = R"({"response": true, "meta": {"catalog": 1}})";
    EXPECT_THROW(decoder.decode(table), Tm_type_mismatch_exception);
    EXPECT_TRUE(decoder.get_value() == nullptr && !decoder.error().empty() && decoder.error_line() == 1);
    EXPECT_TRUE(decoder.decode(R"({"response": true})") && decoder.error().empty());
}

/// Where each of these texts stops being JSON. What the parser says is its own.
TEST(TypedJson, RefusesWhatIsNoJson) {
    for (std::string const row : {"1:1 ",
                                  "1:4    ",
                                  "1:4 [1,,2]",
                                  "1:4 [1 2]",
                                  "1:6 {\"a\" 1}",
                                  "1:8 {\"a\":1,}",
                                  "1:4 [1,]",
                                  "1:2 {a:1}",
                                  "1:1 \"\\ud800\"",
                                  "1:1 \"\\udc00\"",
                                  "1:1 \"\\ud800\\u0041\"",
                                  "1:1 \"a\n\"",
                                  "1:2 [\"\xFF\"]",
                                  "1:2 [\"\xED\xA0\x80\"]",
                                  "1:5 [1] x",
                                  "1:4 [1]]",
                                  "1:3 1 2",
                                  "1:2 01",
                                  "1:3 [1-2]",
                                  "1:2 [1.]",
                                  "1:2 [tru]",
                                  "1:2 [NaN]",
                                  "1:3 [1;2]",
                                  "1:5 [[1]",
                                  "1:1 //",
                                  "1:3 {}{}",
                                  "1:2 1,2",
                                  "1:3 [1",
                                  "1:6 {\"a\":",
                                  "1:2 [,1]",
                                  "1:2 ['a']"}) {
        std::size_t const blank = row.find(' ');
        std::string const error = decoded(row.substr(blank + 1));
        EXPECT_EQ(row.substr(0, blank + 1) + "syntax error", error.substr(0, blank + 13)) << row;
        EXPECT_EQ(std::string::npos, error.find("last read"));
    }
}

TEST(TypedJson, KeepsTheLimits) {
    auto const refused = [](Tm_limits const& limits, std::string const& text) {
        return read(text, false, limits).error;
    };
    Tm_limits limits;
    limits.max_depth = 3;
    EXPECT_EQ("", refused(limits, R"([[{"$struct":[["a",{"$int8":1}]]}]])"));
    EXPECT_EQ("1:4 nested deeper than 3 levels", refused(limits, "[[[[]]]]"));
    EXPECT_EQ("1:13 nested deeper than 3 levels", refused(limits, std::string(1000000, '[')));
    EXPECT_EQ("1:23 nested deeper than 3 levels",
              refused(limits, R"([[{"$message":{"meta":{"a":{}},"fault":true}}]])"));
    limits = {};
    limits.max_values = 3;
    EXPECT_EQ("", refused(limits, "[1,2]"));
    EXPECT_EQ("1:6 message with more than 3 values", refused(limits, "[1,2,3]"));
    std::string many = "[";
    for (int i = 0; i < 1000; ++i) many += "{},";
    EXPECT_EQ("message with more than 3 values", refused(limits, many).substr(6));
    limits = {};
    limits.max_memory = 1000;
    EXPECT_EQ("1:1 message takes more than 1000 bytes of memory", refused(limits, '"' + std::string(2000, 'x') + '"'));
    limits = {};
    limits.max_message_bytes = 5;
    EXPECT_EQ("", refused(limits, "[1,2]"));
    EXPECT_EQ("1:1 message longer than 5 bytes", refused(limits, "[1,2] "));
    limits = {};
    limits.max_files = 1;
    limits.max_file_bytes = 2;
    EXPECT_EQ("1:2 file longer than 2 bytes", refused(limits, R"([{"$file":"QUJD"}])"));
    EXPECT_EQ("message with more than 1 files", refused(limits, R"([{"$file":"QQ=="},{"$file":""}])").substr(5));
    remove_received_files();
    std::string const longest(65535, 'x');
    EXPECT_EQ("", refused({}, '"' + longest + '"'));
    EXPECT_EQ("1:1 String length 65536 out of range 0..65535", refused({}, '"' + longest + "x\""));
    EXPECT_EQ("", refused({}, R"({"$message":{"request":")" + longest + "\"}}"));
    EXPECT_EQ("1:24 unexpected method name begin in method call",
              refused({}, R"({"$message":{"request":")" + longest + "x\"}}"));
}

/// More levels than a stack has room for, and each struct needs another layout.
TEST(TypedJson, TakesDeepNestingInLinearTime) {
    int const depth = 200000;
    std::string text;
    Tm_typed_json_encoder encoder;
    for (int i = 0; i < depth; ++i) {
        encoder.visit_struct_begin();
        encoder.visit_member_begin(1);
        encoder.visit_member_continue("$", 1);
        text += R"({"$struct":[["$",)";
    }
    encoder.visit_bool(true);
    text += "true";
    for (int i = 0; i < depth; ++i) {
        encoder.visit_member_end();
        encoder.visit_struct_end();
        text += "]]}";
    }
    EXPECT_TRUE(text == encoder.get_string());
    Tm_limits limits;
    limits.max_depth = depth - 1;
    EXPECT_EQ("1:3399984 nested deeper than 199999 levels", read(text, false, limits).error);
}

TEST(TypedJson, CarriesFiles) {
    Scratch const scratch;
    for (std::size_t const size : {0U, 1U, 2U, 3U, 127U, 3072U, 3073U, 300000U}) {
        std::string const content = pattern(size);
        auto const message = make_message(Message::TMT_REQUEST, "files");
        message->add_member(body, "file", scratch.file("f", content), 0U);
        Tm_typed_json_decoder decoder;
        ASSERT_TRUE(decoder.decode(typed_json(*message))) << decoder.error();
        ASSERT_EQ(1U, decoder.received_files().size());
        EXPECT_EQ(content, content_of(decoder.received_files().front()));
        EXPECT_EQ(encode(*message), encode(*decoder.get_value()));
        tm_remove_received_files(decoder.received_files());
    }
    // A file that is read through its descriptor, and ends before its length.
    std::ofstream(scratch.path("big")).close();
    std::filesystem::resize_file(scratch.path("big"), 200UL << 20);
    Tm_file const file(scratch.path("big"), 0);
    std::filesystem::resize_file(scratch.path("big"), 1000);
    Tm_typed_json_encoder encoder;
    EXPECT_THROW(file.accept(encoder), Tm_file_read_exception);
}

}  // namespace
