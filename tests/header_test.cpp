#include <cstring>

#include "support/support.h"

namespace {

template <class Record>
std::string hex(Record const& record) {
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&record);
    return to_hex(Bytes(bytes, bytes + sizeof record));
}

/// Each flag is set where all bits are 0 and unset where all are 1; numbers are cut to their width.
TEST(Header, SettersChangeTheirOwnBitsOnly) {
    auto const expect = [](void (*set)(Tm_header&, bool on), char const* from_zeros, char const* from_ones) {
        for (bool const on : {true, false}) {
            TM_HEADER record;
            std::memset(record.bytes, on ? 0 : 0xFF, sizeof record.bytes);
            Tm_header header;
            header = record;
            for (int time = 0; time < 2; ++time) set(header, on);
            EXPECT_EQ(on ? from_zeros : from_ones, hex(header.record()));
        }
    };
    expect([](auto& h, bool on) { h.set_first_chunk(on); }, "00 80 00 00 00 00 00 00", "FF 7F FF FF FF FF FF FF");
    expect([](auto& h, bool on) { h.set_last_chunk(on); }, "00 40 00 00 00 00 00 00", "FF BF FF FF FF FF FF FF");
    expect([](auto& h, bool on) { h.set_discard_eligible(on); }, "00 10 00 00 00 00 00 00", "FF EF FF FF FF FF FF FF");
    expect([](auto& h, bool on) { h.set_response_new(on); }, "00 00 00 00 00 80 00 00", "FF FF FF FF FF 7F FF FF");
    expect([](auto& h, bool) { h.set_length(0x12345); }, "00 01 23 45 00 00 00 00", "FF F1 23 45 FF FF FF FF");
    expect([](auto& h, bool) { h.set_length(0x1FFFFF); }, "00 0F FF FF 00 00 00 00", "FF FF FF FF FF FF FF FF");
    expect([](auto& h, bool) { h.set_seq_no(0x123456); }, "00 00 00 00 00 12 34 56", "FF FF FF FF FF 92 34 56");
    expect([](auto& h, bool) { h.set_seq_no(0xFFFFFF); }, "00 00 00 00 00 7F FF FF", "FF FF FF FF FF FF FF FF");
    expect([](auto& h, bool) { h.set_tmport(0xAB); }, "00 00 00 00 AB 00 00 00", "FF FF FF FF AB FF FF FF");
}

TEST(Header, ShowsWhatWasSet) {
    Tm_header set, header;
    set.set_length(0x12345);
    set.set_seq_no(0x7FFFFF);
    set.set_tmport(200);
    set.set_last_chunk(true);
    header.swap(set);
    EXPECT_EQ(0U, set.get_length());
    testing::internal::CaptureStdout();
    header.show("test");
    EXPECT_EQ("called from test\nTm_header::show - length=74565, last_chunk=1, tmport=200, size=8, seq=8388607\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ((std::vector<bool>{false, true, false, false}),
              (std::vector<bool>{header.get_first_chunk(), header.get_last_chunk(), header.get_discard_eligible(),
                                 header.get_response_new()}));
}

TEST(Header, ExtendedFormCarriesVersionAndSignature) {
    Tm_header_2 extended;
    std::string const signature = " 4B 56 4F 43 00 00 00 00 00 00 00 00 00 00 00 00";
    EXPECT_EQ("02 00 00 00 00 00 00 00" + signature, hex(extended.record()));
    EXPECT_EQ(24U, extended.get_size());
    Tm_header plain;
    plain.set_tmport(7);
    TM_HEADER_2 const copy = (extended = plain);
    EXPECT_EQ("00 00 00 00 07 00 00 00" + signature, hex(copy));
    EXPECT_EQ(hex(copy), hex(extended.record()));
    Tm_header back;
    back = copy;
    EXPECT_EQ(7U, back.get_tmport());
    EXPECT_EQ(hex(TM_HEADER_2{}), hex(extended = TM_HEADER_2{}));
}

}  // namespace
