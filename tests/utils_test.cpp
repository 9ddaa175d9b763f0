#include <cstdlib>

#include "support/support.h"

constexpr unsigned int top32 = std::numeric_limits<unsigned int>::max();
constexpr unsigned long top64 = std::numeric_limits<unsigned long>::max();

TEST(NumberText, WritesAndReadsTheLimits) {
    EXPECT_STREQ("4294967295", uint32_to_string(top32));
    EXPECT_STREQ("-9223372036854775808", int64_to_string(std::numeric_limits<long>::min()));
    EXPECT_STREQ("18446744073709551615", uint64_to_string(top64));
    EXPECT_STREQ("4294967295:18446744073709551615", uint96_to_string({top64, top32}));
    char const* const first = uint64_to_string(12);
    EXPECT_EQ(first, uint64_to_string(3));
    EXPECT_STREQ("3", first);

    for (auto const& [text, number] : {std::pair("none", 0U), {"4294967301", 5U}, {"-1", top32}}) {
        EXPECT_EQ(number, string_to_uint32(text));
    }
    EXPECT_EQ(std::numeric_limits<long>::max(), string_to_int64("99999999999999999999"));
    EXPECT_EQ(-12, string_to_int64(" -12x"));
    EXPECT_EQ(top64, string_to_uint64("99999999999999999999"));
    for (auto const& [text, pair] :
         {std::pair("1:2", "1:2"), {"12345", "0:0"}, {":7", "0:7"}, {"7:", "7:0"}, {"3:4:5", "3:4"}}) {
        EXPECT_STREQ(pair, uint96_to_string(string_to_uint96(text)));
    }
}

TEST(ByteOrder, NetworkOrderReversesOnThisHostOnly) {
    double value = 1.0;
    htond(value);
    EXPECT_EQ(0x3F, *reinterpret_cast<unsigned char const*>(&value));
    EXPECT_EQ(0, *(reinterpret_cast<unsigned char const*>(&value) + 7));
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
    EXPECT_THROWS("-5 not a valid enum value: for enum starting with red", tms_enum_to_string(-5, table));
    EXPECT_THROWS("Red not a valid enum name: an example is red", tms_string_to_enum("Red", table));
    EXPECT_THROWS("0 not a valid enum value", tms_enum_to_string(0, empty));
    EXPECT_THROWS("a not a valid enum name", tms_string_to_enum("a", empty));
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
    tm_binary_cstruct copies[2] = {};
    tms_binary_copy(copies[0], &items[0]);
    tms_binary_copy(copies[1], &source);
    for (tm_binary_cstruct const& copy : copies) {
        EXPECT_TRUE(Tm_binary(copy.data, copy.size) == source);
        EXPECT_NE(bytes, copy.data);
        std::free(copy.data);
    }
}
