#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <cstring>

#include "support/bytes.h"

namespace {

std::string hex(TM_HEADER const& record) {
    return to_hex(Bytes(record.bytes, record.bytes + sizeof record.bytes));
}

TEST(Header, SettersChangeTheirOwnBitsOnly) {
    struct Case {
        void (*set)(Tm_header&);
        char const* from_zeros;
        char const* from_ones;
    };
    Case const cases[] = {
        {[](Tm_header& h) { h.set_first_chunk(true); }, "00 80 00 00 00 00 00 00", nullptr},
        {[](Tm_header& h) { h.set_last_chunk(true); }, "00 40 00 00 00 00 00 00", nullptr},
        {[](Tm_header& h) { h.set_discard_eligible(true); }, "00 10 00 00 00 00 00 00", nullptr},
        {[](Tm_header& h) { h.set_response_new(true); }, "00 00 00 00 00 80 00 00", nullptr},
        {[](Tm_header& h) { h.set_first_chunk(false); }, nullptr, "FF 7F FF FF FF FF FF FF"},
        {[](Tm_header& h) { h.set_last_chunk(false); }, nullptr, "FF BF FF FF FF FF FF FF"},
        {[](Tm_header& h) { h.set_discard_eligible(false); }, nullptr, "FF EF FF FF FF FF FF FF"},
        {[](Tm_header& h) { h.set_response_new(false); }, nullptr, "FF FF FF FF FF 7F FF FF"},
        {[](Tm_header& h) { h.set_length(0x12345); }, "00 01 23 45 00 00 00 00",
         "FF F1 23 45 FF FF FF FF"},
        {[](Tm_header& h) { h.set_length(0x1FFFFF); }, "00 0F FF FF 00 00 00 00", nullptr},
        {[](Tm_header& h) { h.set_seq_no(0x123456); }, "00 00 00 00 00 12 34 56",
         "FF FF FF FF FF 92 34 56"},
        {[](Tm_header& h) { h.set_seq_no(0xFFFFFF); }, "00 00 00 00 00 7F FF FF", nullptr},
        {[](Tm_header& h) { h.set_tmport(0xAB); }, "00 00 00 00 AB 00 00 00",
         "FF FF FF FF AB FF FF FF"},
    };
    std::string const zeros = "00 00 00 00 00 00 00 00";
    std::string const ones = "FF FF FF FF FF FF FF FF";
    for (Case const& c : cases) {
        Tm_header header;
        c.set(header);
        EXPECT_EQ(c.from_zeros == nullptr ? zeros : c.from_zeros, hex(header.record()));
        TM_HEADER all;
        std::memset(all.bytes, 0xFF, sizeof all.bytes);
        header = all;
        c.set(header);
        if (c.from_ones != nullptr || c.from_zeros != nullptr) {
            std::string const expected = c.from_ones != nullptr ? c.from_ones : ones;
            EXPECT_EQ(expected, hex(header.record()));
        }
    }
}

TEST(Header, GettersReadWhatSettersWrote) {
    Tm_header header;
    header.set_length(0x12345);
    header.set_seq_no(0x7FFFFF);
    header.set_tmport(200);
    header.set_last_chunk(true);
    header.set_response_new(true);
    EXPECT_EQ(0x12345U, header.get_length());
    EXPECT_EQ(0x7FFFFFU, header.get_seq_no());
    EXPECT_EQ(200, header.get_tmport());
    EXPECT_TRUE(header.get_last_chunk());
    EXPECT_TRUE(header.get_response_new());
    EXPECT_FALSE(header.get_first_chunk());
    EXPECT_FALSE(header.get_discard_eligible());
    Tm_header other;
    other.swap(header);
    EXPECT_EQ(0U, header.get_length());
    EXPECT_EQ(0x12345U, other.get_length());

    testing::internal::CaptureStdout();
    other.show("test");
    EXPECT_EQ(
        "called from test\n"
        "Tm_header::show - length=74565, last_chunk=1, tmport=200, size=8, seq=8388607\n",
        testing::internal::GetCapturedStdout());
}

TEST(Header, ExtendedFormCarriesVersionAndSignature) {
    Tm_header_2 extended;
    auto const bytes = [](TM_HEADER_2 const& record) {
        auto const* const at = reinterpret_cast<unsigned char const*>(&record);
        return to_hex(Bytes(at, at + sizeof record));
    };
    std::string const signature = " 4B 56 4F 43 00 00 00 00 00 00 00 00 00 00 00 00";
    EXPECT_EQ("02 00 00 00 00 00 00 00" + signature, bytes(extended.record()));
    EXPECT_EQ(24U, extended.get_size());
    Tm_header plain;
    plain.set_tmport(7);
    TM_HEADER_2 const copy = (extended = plain);
    EXPECT_EQ("00 00 00 00 07 00 00 00" + signature, bytes(copy));
    EXPECT_EQ(bytes(copy), bytes(extended.record()));
    Tm_header back;
    back = copy;
    EXPECT_EQ(7, back.get_tmport());
    EXPECT_EQ(bytes(TM_HEADER_2{}), bytes(extended = TM_HEADER_2{}));
}

}  // namespace
