#include "support/support.h"

namespace {

TEST(Xml, WritesMessagesAndEveryKind) {
    EXPECT_EQ(
        "<methodCall><methodName>add</methodName><value><struct><member><name>a</name>"
        "<value><i4>1</i4></value></member>\n</struct></value>\n<value><struct></struct></value>\n</methodCall>",
        xml_of(*add_message()));
    EXPECT_EQ(
        "<methodResponse><fault><value><struct></struct></value>\n<value><struct></struct></value>\n"
        "</fault></methodResponse>",
        xml_of(*make_message(Message::TMT_FAULT)));
    Scratch const scratch;
    Tm_array value = Tm_array::of(true, false, Tm_int8(-1).value(), Tm_uint8(255).value(), Tm_int16(-2).value(),
                                  Tm_uint16(65535).value(), -3, 4294967295U, -1L, 2UL, 2.5, "a<b", "");
    value.add_member(std::make_unique<Tm_binary>(binary_of(std::string("\0&", 2))).get());
    value.add_member(scratch.file("f", "123"), 0U);
    std::string expected = "<value><array><data>";
    for (std::string const& item :
         rows("boolean>1", "boolean>0", "i1>-1", "u1>255", "i2>-2", "u2>65535", "i4>-3", "u4>4294967295",
              "i8>18446744073709551615", "u8>2", "double>2.5", "string>a<b")) {
        expected += "<value><" + item + "</" + item.substr(0, item.find('>')) + "></value>";
    }
    expected += std::string("<value><string><value><base64>\0&", 32) + "</base64></value><value><file>3</file></value>";
    EXPECT_EQ(expected + "</data></array></value>\n", xml_of(value));
}

/// The expected text comes from one piece, so that every way of resuming is compared with none.
TEST(Xml, PiecesOfEverySizeJoinToTheOnePieceText) {
    auto samples = sample_messages();
    Scratch const scratch;
    samples.front()->add_member(body, "file", scratch.file("f", pattern(1000)), 0U);
    for (auto const& message : samples) {
        std::string const whole = xml_of(*message);
        for (int size = 1; size <= 300; ++size) ASSERT_EQ(whole, xml_of(*message, size)) << size;
    }
}

TEST(Xml, StopsAtTheEdgeOfAPiece) {
    auto const message = add_message();
    Tm_xml_file_size_encoder encoder(16);
    auto const text = [&] { return std::string(encoder.data(), static_cast<std::size_t>(encoder.fill())); };
    // Whether there is room for an event, and how much is filled then.
    auto const expect = [&](bool expected, int fill, bool has_room) {
        EXPECT_EQ(std::pair(expected, fill), std::pair(has_room, encoder.fill()));
    };
    EXPECT_FALSE(message->accept(encoder));
    EXPECT_EQ("<methodCall><methodName>", text());
    expect(true, 8, encoder.continue_fill());
    EXPECT_FALSE(message->accept(encoder));
    EXPECT_EQ("hodName>add</methodName>", text());
    encoder.begin_fill();
    expect(true, 35, Tm_bool(true).accept(encoder));
    expect(false, 35, encoder.visit_bool(true));
    expect(false, 19, encoder.continue_fill());
    expect(true, 3, encoder.continue_fill());
    expect(true, 3, encoder.visit_bool(true));
    expect(true, 1002, encoder.visit_string_continue(std::string(999, 'x').data(), 999));
    encoder.begin_fill();
    expect(true, 16, encoder.visit_method_begin(false));
    expect(false, 16, encoder.visit_bool(true));
    expect(true, 0, encoder.continue_fill());
    expect(true, 0, encoder.visit_method_begin(false));
    expect(true, 32, encoder.visit_string_continue(std::string(32, 'x').data(), 32));
    expect(false, 16, encoder.continue_fill());
    EXPECT_THROWS("chunk size 0 out of range 1..2147483647", Tm_xml_file_size_encoder(0));
}

TEST(Xml, RefusesTextBeyondItsLimit) {
    auto const message = add_message();
    std::string const whole = xml_of(*message);
    for (int size = 1; size <= 200; ++size) {
        ASSERT_EQ(whole, xml_of(*message, size, whole.size())) << size;
        for (std::size_t const limit : {whole.size() - 1, whole.size() / 2, std::size_t{0}}) {
            ASSERT_EQ("text longer than " + std::to_string(limit) + " bytes",
                      text_thrown_by([&] { xml_of(*message, size, limit); }))
                << size;
        }
    }
    // Each message has the limit for itself.
    Tm_xml_file_size_encoder pieces(16, whole.size());
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(tm_encode_pieces(*message, pieces, [](auto...) { return true; }));
    }
    Tm_xml_file_size_encoder encoder(1000, 40), tight(1000, 34);
    for (int round = 0; round < 2; ++round) {
        encoder.begin_fill();
        EXPECT_TRUE(Tm_bool(true).accept(encoder));
        EXPECT_EQ(35, encoder.fill());
    }
    EXPECT_THROWS("text longer than 40 bytes", Tm_bool(true).accept(encoder));
    EXPECT_THROWS("text longer than 34 bytes", Tm_bool(true).accept(tight));
}

}  // namespace
