#include <cmath>

#include "support/support.h"
#include "support/text.h"

namespace {

Message sample_tree() {
    Message message = Message::request("a.b");
    message.add_member(meta, "id", 7);
    message.add_member(body, "server", Tm_struct{{"ports", Tm_array{80, 81, 82}}, {"", "empty"}, {"a.b", 1}});
    message.add_member(body, "q\"\\\n", true);
    return message;
}

template <class Operation>
std::string path_of_failure(Operation operation) {
    try {
        operation();
    } catch (Tm_exception const& failure) { return failure.path(); }
    return "no exception";
}

}  // namespace

TEST(Tree, LoopsSkipEmptySlots) {
    static char const* const names[] = {"x", "y"};
    Tm_prenamed_struct fixed(names, 2);
    fixed.add_member(1, 5);
    Names seen;
    for (auto const& [name, value] : tm_members(fixed)) seen.push_back(std::string(name) + tm_to_text(value));
    EXPECT_EQ((Names{"yint32_t 5 "}), seen);
    int sum = 0;
    Tm_array const array{1, 2, 3};
    for (Tm_value const& value : tm_elements(array)) sum += tm_number<int>(value);
    EXPECT_EQ(6, sum);
}

TEST(Tree, VisitCallsTheOverloadOfTheType) {
    auto const kind = [](Tm_value const& value) {
        return tm_visit(
            value, [](int) { return "int"; }, [](unsigned char) { return "uchar"; }, [](bool) { return "bool"; },
            [](std::string_view) { return "text"; }, [](Tm_array const&) { return "array"; },
            [](Tm_struct const&) { return "struct"; }, [](Message const&) { return "message"; },
            [](Tm_binary const&) { return "binary"; }, [](auto const&) { return "other"; });
    };
    Tm_array values{1,  static_cast<unsigned char>(1), true, "x", Tm_array(), Tm_struct(), Message(), binary_of("b"),
                    1.5};
    Names kinds;
    for (Tm_value const& value : tm_elements(values)) kinds.push_back(kind(value));
    EXPECT_EQ((Names{"int", "uchar", "bool", "text", "array", "struct", "message", "binary", "other"}), kinds);
}

TEST(Tree, VisitDoesNotCopyASingleFunction) {
    auto counter = [calls = std::make_unique<int>(0)](auto const&) { return ++*calls; };
    EXPECT_EQ(1, tm_visit(Tm_bool(true), counter));
    EXPECT_EQ(2, tm_visit(Tm_array(), counter));
}

TEST(Tree, WalkGivesPathsThatLeadBack) {
    Message const message = sample_tree();
    Names paths;
    EXPECT_TRUE(tm_walk(message, [&](std::string_view path, Tm_value const& value) {
        paths.emplace_back(path);
        EXPECT_EQ(&value, tm_at(message, path)) << path;
        return true;
    }));
    EXPECT_EQ((Names{"", "meta", "meta.id", "body", "body.server", "body.server.ports", "body.server.ports[0]",
                     "body.server.ports[1]", "body.server.ports[2]", "body.server[\"\"]", "body.server[\"a.b\"]",
                     "body[\"q\\\"\\\\\\x0A\"]"}),
              paths);
    int left = 3;
    EXPECT_FALSE(tm_walk(message, [&](std::string_view, Tm_value const&) { return --left > 0; }));
    EXPECT_EQ(0, left);
}

TEST(Tree, AtRefusesOtherPaths) {
    Message const message = sample_tree();
    for (char const* const path : {".",
                                   ".body",
                                   "body.",
                                   "body..server",
                                   "body server",
                                   "body.server.ports[3]",
                                   "body.server.ports[-1]",
                                   "body.server.ports[]",
                                   "body.server.ports[0",
                                   "body.server.ports[0]x",
                                   "body.server.ports.0",
                                   "body[0]",
                                   "body[\"server\"",
                                   "body[\"server]",
                                   "body[\"\\q\"]",
                                   "body[\"\\x0\"]",
                                   "head",
                                   "body.server.ports[99999999999]",
                                   "body.server]",
                                   "body.\"server\""}) {
        EXPECT_EQ(nullptr, tm_at(message, path)) << path;
    }
    Tm_struct const twice{{"n", 1}, {"n", 2}};
    for (int i = 0; i < 2; ++i) EXPECT_EQ(twice.get_value(0), tm_at(twice, "n"));
}

TEST(Tree, ExceptionsKnowThePlace) {
    Message const message = sample_tree();
    EXPECT_EQ("body.count", path_of_failure([&] { message.get_member_int32(body, "count"); }));
    EXPECT_EQ("meta.id", path_of_failure([&] { message.get_member_string(meta, 0); }));
    Tm_struct const& server = *message.get_member_struct(body, "server");
    EXPECT_EQ("[\"a.b\"]", path_of_failure([&] { server.get_member_text("a.b"); }));
    EXPECT_EQ("[2]", path_of_failure([&] { server.get_member_array("ports")->get_member_bool(2); }));
    EXPECT_EQ("[2]", path_of_failure([&] { Tm_array{1, 2, 300}.get_number<signed char>(2); }));
    EXPECT_EQ("", path_of_failure([&] { server.get_member_int32(99); }));
    EXPECT_EQ("ports", path_of_failure([&] { server.get_member_value(TMV_INT32, 0); }));
    EXPECT_EQ("[0]", path_of_failure([&] { server.get_member_array("ports")->get_member_value(TMV_BOOL, 0); }));
    Message changed = message;
    EXPECT_EQ("body.server", path_of_failure([&] { changed.edit_array(body, "server"); }));
    EXPECT_EQ("body.count", path_of_failure([&] { changed.edit_struct(body, "count"); }));
    changed.set_msg_type(Message::TMT_FAULT);
    changed.set_member(body, "faultCode", "x");
    EXPECT_EQ("body.faultCode", path_of_failure([&] { changed.get_fault_code(); }));
    changed.set_member(body, "faultString", 1);
    EXPECT_EQ("body.faultString", path_of_failure([&] { changed.get_fault_string(); }));
    EXPECT_EQ("body.faultString", path_of_failure([&] { changed.set_fault_code(1); }));
    EXPECT_EQ("a.b not found in struct", std::string(Tm_name_not_found_exception("a.b").what()));
}

namespace fields {

enum class Kind : unsigned char { a = 1, b = 2 };

struct Line {
    std::string article;
    int count = 0;
};
TM_FIELDS(Line, article, count)

struct Order {
    long number = 0;
    std::vector<Line> lines;
    std::optional<double> discount;
    std::optional<int> days = 5;
    Kind kind = Kind::a;
    std::vector<Kind> kinds;
    std::vector<unsigned char> raw;
    std::vector<std::vector<int>> matrix;
    Tm_struct more;
    bool is_urgent = false;
};
TM_FIELDS(Order, number, lines, discount, days, kind, kinds, raw, matrix, more, is_urgent)

enum class Switch : bool { off, on };

struct Narrow {
    float number = 0;
    Switch position = Switch::off;
};
TM_FIELDS(Narrow, number, position)

struct Many {
    int a1 = 1, a2 = 2, a3 = 3, a4 = 4, a5 = 5, a6 = 6, a7 = 7, a8 = 8, b1 = 1, b2 = 2, b3 = 3, b4 = 4, b5 = 5, b6 = 6,
        b7 = 7, b8 = 8, c1 = 1, c2 = 2, c3 = 3, c4 = 4, c5 = 5, c6 = 6, c7 = 7, c8 = 8, d1 = 1, d2 = 2, d3 = 3, d4 = 4,
        d5 = 5, d6 = 6, d7 = 7, d8 = 8;
};
TM_FIELDS(Many, a1, a2, a3, a4, a5, a6, a7, a8, b1, b2, b3, b4, b5, b6, b7, b8, c1, c2, c3, c4, c5, c6, c7, c8, d1, d2,
          d3, d4, d5, d6, d7, d8)

}  // namespace fields

TEST(Fields, ComeBack) {
    fields::Order order;
    order.number = 7;
    order.lines = {{"bolt", 3}, {"nut", 4}};
    order.days.reset();
    order.kind = fields::Kind::b;
    order.kinds = {fields::Kind::b, fields::Kind::a};
    order.raw = {1, 2};
    order.matrix = {{1}, {}};
    order.more = {{"k", 1}};
    Tm_struct const sent = tm_to_struct(order);
    EXPECT_EQ(
        "struct {\"number\" {int64_t 7 } \"lines\" {array {struct {\"article\" {string \"bolt\" } \"count\" {int32_t 3 "
        "} } struct {\"article\" {string \"nut\" } \"count\" {int32_t 4 } } } } \"kind\" {uint8_t 2 } \"kinds\" {array "
        "{uint8_t 2 uint8_t 1 } } \"raw\" {binary \"2 bytes\" \"01 02 \" } \"matrix\" {array {array {int32_t 1 } array "
        "{} } } \"more\" {struct {\"k\" {int32_t 1 } } } \"is_urgent\" {bool false } } ",
        tm_to_text(sent));
    auto const received = tm_from_struct<fields::Order>(sent);
    EXPECT_TRUE(tm_to_struct(received).find("days") != nullptr) << "an absent optional keeps its initial value";
    EXPECT_EQ(4, received.lines[1].count);
    EXPECT_EQ(order.kinds, received.kinds);
    EXPECT_EQ(8, tm_from_struct<fields::Many>(tm_to_struct(fields::Many())).d8);
}

TEST(Fields, OfNarrowTypesRefuseWhatTheyCannotHold) {
    Tm_struct sent = tm_to_struct(fields::Narrow{1.5F, fields::Switch::on});
    EXPECT_EQ(fields::Switch::on, tm_from_struct<fields::Narrow>(sent).position);
    sent.set_member("number", HUGE_VAL);
    EXPECT_EQ(HUGE_VALF, tm_from_struct<fields::Narrow>(sent).number);
    sent.set_member("number", 1e39);
    EXPECT_THROW(tm_from_struct<fields::Narrow>(sent), Tm_out_of_range_exception);
}

TEST(Fields, SayWhereOneIsWrong) {
    fields::Order order;
    order.lines.resize(3);
    Tm_struct sent = tm_to_struct(order);
    Tm_struct& line = *sent.edit_array("lines")->edit_struct(2);
    auto const read = [&] { tm_from_struct<fields::Order>(sent); };
    line.set_member("count", 5.0);
    EXPECT_EQ("no exception", path_of_failure(read));
    line.set_member("count", "x");
    EXPECT_THROWS("lines[2].count: value of type string accessed as type int32_t", read());
    line.set_member("count", 1L << 40);
    EXPECT_THROWS("lines[2].count: number 1099511627776 out of range of int32_t", read());
    line.set_member("count", 1.0000001);
    EXPECT_THROWS("lines[2].count: number 1.0000001 out of range of int32_t", read());
    line.set_member("count", 1e300);
    EXPECT_THROWS("lines[2].count: number 1e+300 out of range of int32_t", read());
    line.remove_member("count");
    EXPECT_THROWS("lines[2].count: count not found in struct", read());
    EXPECT_EQ("lines[2].count", path_of_failure(read));
}

TEST(Fields, DecodersSayWhereTheyAre) {
    Message message = sample_tree();
    std::string bytes;
    tm_encode_into(bytes, message);
    Tm_bin_decoder decoder(4096);
    Names places;
    for (char const byte : bytes) {
        decoder.feed(reinterpret_cast<unsigned char const*>(&byte), 1);
        std::string const place = decoder.item_path();
        if (places.empty() || places.back() != place) places.push_back(place);
    }
    Names const expected{
        "", "meta", "meta.id", "meta", "", "body", "body.server", "body.server.ports", "body.server.ports[0]"};
    EXPECT_EQ(expected, Names(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(expected.size())));
    EXPECT_EQ("", places.back());
}
