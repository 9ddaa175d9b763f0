#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include <cstdlib>
#include <cstring>
#include <limits>

#include "support/throws.h"

namespace {

TEST(NumberText, WritesAndReadsTheLimits) {
    EXPECT_STREQ("4294967295", uint32_to_string(std::numeric_limits<unsigned int>::max()));
    EXPECT_STREQ("-9223372036854775808", int64_to_string(std::numeric_limits<long>::min()));
    EXPECT_STREQ("18446744073709551615",
                 uint64_to_string(std::numeric_limits<unsigned long>::max()));
    EXPECT_STREQ("0", int64_to_string(0));
    char const* const first = uint64_to_string(12);
    EXPECT_EQ(first, uint64_to_string(3));
    EXPECT_STREQ("3", first);

    EXPECT_EQ(0U, string_to_uint32("none"));
    EXPECT_EQ(5U, string_to_uint32("4294967301"));
    EXPECT_EQ(4294967295U, string_to_uint32("-1"));
    EXPECT_EQ(std::numeric_limits<long>::max(), string_to_int64("99999999999999999999"));
    EXPECT_EQ(-12, string_to_int64(" -12x"));
    EXPECT_EQ(std::numeric_limits<unsigned long>::max(), string_to_uint64("99999999999999999999"));
}

TEST(NumberText, SplitsNinetySixBitsAtTheColon) {
    EXPECT_STREQ("1:2", uint96_to_string({2, 1}));
    EXPECT_STREQ("4294967295:18446744073709551615",
                 uint96_to_string({std::numeric_limits<std::uint64_t>::max(),
                                   std::numeric_limits<std::uint32_t>::max()}));
    struct Case {
        char const* text;
        unsigned int high;
        unsigned long low;
    };
    for (Case const& c : {Case{"1:2", 1, 2}, Case{"12345", 0, 0}, Case{":7", 0, 7},
                          Case{"7:", 7, 0}, Case{"3:4:5", 3, 4}}) {
        uint96_t const number = string_to_uint96(c.text);
        EXPECT_EQ(c.high, number.high) << c.text;
        EXPECT_EQ(c.low, number.low) << c.text;
    }
}

TEST(ByteOrder, NetworkOrderReversesOnThisHostOnly) {
    double value = 1.0;
    htond(value);
    unsigned char bytes[8];
    std::memcpy(bytes, &value, 8);
    EXPECT_EQ(0x3F, bytes[0]);
    EXPECT_EQ(0xF0, bytes[1]);
    EXPECT_EQ(0, bytes[7]);
    ntohd(value);
    EXPECT_EQ(1.0, value);

    big_endian_cache = 1;
    htond(value);
    EXPECT_EQ(1.0, value);
    big_endian_cache = 0xFFFFFFFF;
    EXPECT_FALSE(is_big_endian());
    EXPECT_EQ(0U, big_endian_cache.load());
}

TEST(Enums, FindTheFirstMatch) {
    tm_enum_map table[] = {{1, "red"}, {2, "green"}, {2, "lime"}, {0, nullptr}};
    tm_enum_map empty[] = {{0, nullptr}};
    EXPECT_STREQ("green", tms_enum_to_string(2, table));
    EXPECT_EQ(2, tms_string_to_enum("lime", table));
    EXPECT_EQ("5 not a valid enum value: for enum starting with red",
              text_thrown_by([&] { tms_enum_to_string(5, table); }));
    EXPECT_EQ("Red not a valid enum name: an example is red",
              text_thrown_by([&] { tms_string_to_enum("Red", table); }));
    EXPECT_EQ("0 not a valid enum value", text_thrown_by([&] { tms_enum_to_string(0, empty); }));
    EXPECT_EQ("a not a valid enum name", text_thrown_by([&] { tms_string_to_enum("a", empty); }));
}

TEST(ByteStrings, SumTheirSpaceAndCopy) {
    char two[] = "ab";
    char none[] = "";
    char* strings[] = {two, none};
    unsigned char bytes[] = {1, 2, 3};
    tm_binary_cstruct const items[] = {{3, bytes}, {0, nullptr}};
    EXPECT_EQ(20U, tms_string_space_needed({"ab", ""}));
    EXPECT_EQ(20U, tms_string_space_needed(2, strings));
    EXPECT_EQ(35U, tms_binary_space_needed({Tm_binary(bytes, 3), Tm_binary()}));
    EXPECT_EQ(35U, tms_binary_space_needed(2, items));

    Tm_binary const source(bytes, 3);
    tm_binary_cstruct from_struct = {};
    tm_binary_cstruct from_value = {};
    tms_binary_copy(from_struct, &items[0]);
    tms_binary_copy(from_value, &source);
    for (tm_binary_cstruct const& copy : {from_struct, from_value}) {
        ASSERT_EQ(3U, copy.size);
        EXPECT_EQ(0, std::memcmp(bytes, copy.data, 3));
        EXPECT_NE(bytes, copy.data);
        std::free(copy.data);
    }
}

}  // namespace
