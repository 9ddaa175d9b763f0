#include "support/text.h"

namespace {

std::string xml(Tm_value const& value, int chunk_size, unsigned long max_text = tm_no_text_limit) {
    Tm_xml_file_size_encoder encoder(chunk_size, max_text);
    std::string text;
    while (!value.accept(encoder)) {
        do {
            EXPECT_GE(encoder.fill(), encoder.chunk_size());
            text.append(encoder.data(), static_cast<std::size_t>(chunk_size));
        } while (!encoder.continue_fill());
    }
    return text.append(encoder.data(), static_cast<std::size_t>(encoder.fill()));
}

TEST(Xml, WritesMessagesAndEveryKind) {
    EXPECT_EQ(
        "<methodCall><methodName>add</methodName><value><struct><member><name>a</name>"
        "<value><i4>1</i4></value></member>\n</struct></value>\n<value><struct></struct></value>\n</methodCall>",
        xml(*add_message(), 1000));
    EXPECT_EQ(
        "<methodResponse><fault><value><struct></struct></value>\n<value><struct></struct></value>\n"
        "</fault></methodResponse>",
        xml(*make_message(Message::TMT_FAULT), 1000));
    Scratch const scratch;
    Tm_array value = array_of(true, false, Tm_int8(-1).value(), Tm_uint8(255).value(), Tm_int16(-2).value(),
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
    EXPECT_EQ(expected + "</data></array></value>\n", xml(value, 10000));
}

/// The expected text comes from one piece, so that every way of resuming is compared with none.
TEST(Xml, PiecesOfEverySizeJoinToTheOnePieceText) {
    auto samples = sample_messages();
    Scratch const scratch;
    samples.front()->add_member(body, "file", scratch.file("f", pattern(1000)), 0U);
    for (auto const& message : samples) {
        std::string const whole = xml(*message, 1 << 20);
        for (int size = 1; size <= 300; ++size) ASSERT_EQ(whole, xml(*message, size)) << size;
    }
}

TEST(Xml, StopsAtTheEdgeOfAPiece) {
    auto const message = add_message();
    Tm_xml_file_size_encoder encoder(16);
    EXPECT_FALSE(message->accept(encoder));
    EXPECT_EQ("<methodCall><methodName>", std::string(encoder.data(), static_cast<std::size_t>(encoder.fill())));
    EXPECT_TRUE(encoder.continue_fill());
    EXPECT_EQ(8, encoder.fill());
    EXPECT_FALSE(message->accept(encoder));
    EXPECT_EQ("hodName>add</methodName>", std::string(encoder.data(), static_cast<std::size_t>(encoder.fill())));
    encoder.begin_fill();
    EXPECT_TRUE(Tm_bool(true).accept(encoder) && encoder.fill() == 35 && encoder.chunk_size() == 16);
    EXPECT_FALSE(encoder.visit_bool(true) || encoder.continue_fill());
    EXPECT_TRUE(encoder.continue_fill() && encoder.fill() == 3);
    EXPECT_TRUE(encoder.visit_bool(true) && encoder.visit_string_continue(std::string(999, 'x').data(), 999));
    EXPECT_EQ(1002, encoder.fill()) << "one skipped, one larger than any piece of the library";
    encoder.begin_fill();
    EXPECT_TRUE(encoder.visit_method_begin(false) && !encoder.visit_bool(true)) << "16 bytes";
    EXPECT_TRUE(encoder.continue_fill() && encoder.fill() == 0);
    EXPECT_TRUE(encoder.visit_method_begin(false) && encoder.visit_string_continue(std::string(32, 'x').data(), 32));
    EXPECT_TRUE(!encoder.continue_fill() && encoder.fill() == 16) << "one more full piece";
    EXPECT_THROWS("chunk size 0 out of range 1..2147483647", Tm_xml_file_size_encoder(0));
}

TEST(Xml, RefusesTextBeyondItsLimit) {
    auto const message = add_message();
    std::string const whole = xml(*message, 1000);
    for (int size = 1; size <= 200; ++size) {
        ASSERT_EQ(whole, xml(*message, size, whole.size())) << size;
        for (std::size_t const limit : {whole.size() - 1, whole.size() / 2, std::size_t{0}}) {
            ASSERT_EQ("text longer than " + std::to_string(limit) + " bytes",
                      text_thrown_by([&] { xml(*message, size, limit); }))
                << size;
        }
    }
    Tm_xml_file_size_encoder encoder(1000, 40);
    EXPECT_TRUE(Tm_bool(true).accept(encoder) && encoder.fill() == 35);
    EXPECT_THROWS("text longer than 40 bytes", Tm_bool(true).accept(encoder));
    encoder.begin_fill();
    EXPECT_TRUE(Tm_bool(true).accept(encoder) && encoder.fill() == 35) << "each message has the limit for itself";
    Tm_xml_file_size_encoder tight(1000, 34);
    EXPECT_THROWS("text longer than 34 bytes", Tm_bool(true).accept(tight));
}

}  // namespace
