#include <cmath>
#include <cstdint>
#include <new>

#include "support/support.h"

namespace {

TEST(TypeCode, NamesEndAtStruct) {
    Names names;
    for (int code = -1; code < 18; ++code) names.push_back(Tm_value::tmv_to_string(static_cast<TMV>(code)));
    EXPECT_EQ(rows("unknown", "int8_t", "uint8_t", "int16_t", "uint16_t", "int32_t", "uint32_t", "int64_t", "uint64_t",
                   "double", "bool", "string", "date", "binary", "file", "array", "struct", "unknown", "unknown"),
              names);
    EXPECT_STREQ("unknown", Message::tmt_to_string(static_cast<Message::TMT>(3)));
    EXPECT_STREQ("", Tm_exception().what());
}

template <class Plain>
class IntegerTest : public testing::Test {};
using Integers =
    testing::Types<signed char, unsigned char, short, unsigned short, int, unsigned int, long, unsigned long>;
TYPED_TEST_SUITE(IntegerTest, Integers, );

/// How many of the eight accessors answer something else than 0.
int answering_accessors(Tm_int const& value) {
    return (value.value_int8() != 0) + (value.value_uint8() != 0) + (value.value_int16() != 0) +
           (value.value_uint16() != 0) + (value.value_int32() != 0) + (value.value_uint32() != 0) +
           (value.value_int64() != 0) + (value.value_uint64() != 0);
}

TYPED_TEST(IntegerTest, KeepsItsWidth) {
    using Limits = std::numeric_limits<TypeParam>;
    for (TypeParam const plain : {Limits::min(), TypeParam(1), Limits::max()}) {
        std::unique_ptr<Tm_value> const value(Tm_int::create(plain));
        ASSERT_EQ(Tm_plain<TypeParam>::code, value->get_value_type());
        EXPECT_EQ(plain, static_cast<Tm_int_of<TypeParam> const&>(*value).value());
        EXPECT_EQ(plain == 0 ? 0 : 1, answering_accessors(static_cast<Tm_int const&>(*value)));
        EXPECT_NE(std::string::npos, events_of(*value).at(0).find("(" + std::to_string(plain) + ")"));
        EXPECT_TRUE(*value == *std::unique_ptr<Tm_value>(value->clone()));
    }
    EXPECT_FALSE(Tm_int_of<TypeParam>(1) == Tm_int_of<TypeParam>(2));
}

/// An integer of a user's own, which is read through the accessor of its type.
struct Own_int : Tm_int {
    Own_int* clone() const override { return new Own_int; }
    bool equals(Tm_value const&) const override { throw Tm_exception("equals was called"); }
    TMV get_value_type() const override { return TMV_INT32; }
    bool accept(Tm_visitor&) const override { return true; }
    int value_int32() const override { return Tm_int::value_int32() + 42; }
};

TEST(Scalars, CompareByTypeFirst) {
    Own_int const own;
    EXPECT_EQ(1, answering_accessors(own));
    EXPECT_FALSE(own == Tm_int64(42));
    EXPECT_TRUE(Tm_int32(42) == own);
    EXPECT_EQ(42, Tm_array::of(&own).get_member_int32(0));
    EXPECT_FALSE(Tm_int32(5) == Tm_int64(5));
    EXPECT_FALSE(Tm_int64(7).equals(Tm_uint64(7)));
    EXPECT_TRUE(Tm_int8(1) != Tm_int16(1));
    Tm_double const nan(std::nan(""));
    EXPECT_FALSE(nan == *std::unique_ptr<Tm_value>(nan.clone()));
    EXPECT_TRUE(Tm_double(0.0) == Tm_double(-0.0));
    EXPECT_FALSE(Tm_bool(true) == Tm_bool(false));
}

/// A user's own date value.
struct Date_value : Tm_date {
    using Tm_date::Tm_date;
    Date_value* clone() const override { return new Date_value(*this); }
    bool equals(Tm_value const&) const override { return true; }
    TMV get_value_type() const override { return TMV_DATE; }
    bool accept(Tm_visitor& visitor) const override { return visitor.visit_int32(get_year()); }
    std::vector<int> fields() const {
        return {get_year(), get_month(), get_day(), get_hour(), get_minutes(), get_seconds()};
    }
};

TEST(Date, SettersKeepTheirRanges) {
    using Fields = std::vector<int>;
    Date_value date(1999, 2, 31, 23, 59, 77);
    auto const set = [&](Fields const& to) {
        date.set_year(to[0]);
        date.set_month(to[1]);
        date.set_day(to[2]);
        date.set_hour(to[3]);
        date.set_minutes(to[4]);
        date.set_seconds(to[5]);
        return date.fields();
    };
    EXPECT_EQ((Fields{2001, 1, 1, 0, 0, 1}), Date_value().fields());
    EXPECT_EQ((Fields{1999, 2, 31, 23, 59, 0}), date.fields());
    Fields const lowest = {1, 1, 1, 0, 0, 0}, highest = {9999, 12, 31, 23, 59, 59};
    EXPECT_EQ(lowest, set(lowest));
    EXPECT_EQ(lowest, set({0, 0, 0, -1, -1, -1}));
    EXPECT_EQ(highest, set(highest));
    EXPECT_EQ(highest, set({0, 13, 32, 24, 60, 60}));
    Tm_struct const dated{{"date", date}};
    EXPECT_NE(nullptr, dated.get_member_date("date"));
}

struct alignas(64) Aligned_date : Date_value {
    Aligned_date* clone() const override { return new Aligned_date(*this); }
};

template <class Value>
void expect_every_form_of_new(Value const& example) {
    alignas(Value) unsigned char room[sizeof(Value)];
    auto* const placed = new (room) Value(example);
    EXPECT_TRUE(*placed == example);
    placed->~Value();
    std::unique_ptr<Tm_value> const value(new (std::nothrow) Value(example));
    EXPECT_TRUE(*value == example);
}

struct alignas(64) Aligned_struct : Tm_struct {
    explicit Aligned_struct(bool is_made = true) : Tm_struct(nullptr) {
        if (!is_made) throw Tm_exception("not made");
    }
};

TEST(Values, AreMadeByEveryFormOfNew) {
    std::vector<std::unique_ptr<Tm_value>> aligned;
    for (int i = 0; i < 8; ++i) {
        aligned.emplace_back(Aligned_date().clone());
        aligned.emplace_back(new Aligned_struct);
    }
    for (auto const& value : aligned) EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(value.get()) % 64);
    struct Failing : Tm_struct {
        Failing() : Tm_struct(nullptr) { throw Tm_exception("not made"); }
    };
    EXPECT_THROWS("not made", delete new (std::nothrow) Failing);
    EXPECT_THROWS("not made", delete new Aligned_struct(false));
    auto const expect_for_each = [](auto const&... example) { (expect_every_form_of_new(example), ...); };
    expect_for_each(Tm_int32(7), Tm_bool(true), Tm_double(1.5), Tm_string("text"), Tm_binary(nullptr, 0),
                    Tm_file("/dev/null", 0), Tm_array(), Tm_struct(nullptr), Message());
}

TEST(String, ChecksItsLengthBeforeTheCatalogue) {
    Tm_catalog<std::string> catalog;
    Tm_string const longest(std::string(65535, 'x'), &catalog);
    EXPECT_THROWS("String length 70000 out of range 0..65535", Tm_string(std::string(70000, 'x'), &catalog));
    EXPECT_EQ(1U, catalog.size());
    EXPECT_TRUE(Tm_string("abc", &catalog) == Tm_string("abc", &catalog));
    EXPECT_EQ(2U, catalog.size());
    EXPECT_EQ(&catalog.find("abc")->first, &Tm_string::validate_string_length("abc", &catalog));
    EXPECT_FALSE(Tm_string(std::string("a\0b", 3)) == Tm_string(std::string("a\0c", 3)));
}

TEST(Binary, SharesItsBytesAmongCopies) {
    unsigned char bytes[] = {1, 2, 3};
    Tm_binary first(bytes, 3);
    std::unique_ptr<Tm_binary> const clone(first.clone());
    Tm_binary assigned;
    assigned = first;
    EXPECT_EQ(first.get_buffer(), clone->get_buffer());

    unsigned char more[] = {9, 8, 7, 6};
    first = tm_binary_cstruct{4, more};
    for (Tm_binary const* const one : {&first, clone.get(), &assigned}) EXPECT_TRUE(*one == Tm_binary(more, 4));
    assigned = *&assigned;
    assigned = tm_binary_cstruct{2, const_cast<unsigned char*>(assigned.get_buffer()) + 1};
    EXPECT_TRUE(first == Tm_binary(more + 1, 2));
    assigned = tm_binary_cstruct{0, nullptr};
    EXPECT_EQ(nullptr, first.get_buffer());
    EXPECT_TRUE(first == Tm_binary(nullptr, 0));
    EXPECT_FALSE(Tm_string("") == first);
}

TEST(Catalogue, KeepsItsEntriesInPlaceAndNeverRestarts) {
    using Catalogue = Tm_catalog<std::string>;
    Catalogue catalog;
    std::vector<Catalogue::entry const*> entries;
    auto const name = [](unsigned int i) { return std::string(i % 40, 'n') + std::to_string(i); };
    for (unsigned int i = 0; i < 5000; ++i) entries.push_back(catalog.add(name(i)));
    Catalogue const copy(catalog);
    for (unsigned int i = 0; i < 5000; ++i) {
        for (auto const* const found : {catalog.find(name(i)), catalog.add(name(i))}) ASSERT_EQ(entries[i], found);
        ASSERT_EQ(Catalogue::entry(name(i), i), *entries[i]);
        ASSERT_EQ(i, copy.find(name(i))->second);
        ASSERT_NE(entries[i], copy.find(name(i)));
    }
    EXPECT_EQ(nullptr, catalog.find("absent"));
    Catalogue other;
    other.swap(catalog);
    EXPECT_EQ(entries[17], other.find(name(17)));
    EXPECT_EQ(0U, catalog.next_index());
    other.clear();
    EXPECT_EQ(0U, other.size());
    EXPECT_EQ(nullptr, other.find(name(17)));
    EXPECT_EQ(5000U, other.add("after")->second);
    EXPECT_EQ(5001U, other.add("again")->second);
}

}  // namespace
