/// The seven workloads with which every library is measured, as plain typed data. Functions pass
/// them to a library (writing) and take them back out of one (reading).
///
/// Writing calls a struct writer, which the adapter of a library supplies:
///   struct writer:  add(name, value)   add_struct(name, members, fill)
///                   add_array(name, elements, fill)
///   array writer:   add(value)         add_struct(members, fill)
/// `value` is any of the eight integers, a double, a bool, a std::string_view or a BytesView.
/// `fill` is called once with the writer of the new struct or array. The counts are exact, and a
/// writer may ignore them.
///
/// Reading calls a struct reader and passes every value to a total:
///   struct reader:  get(name) -> element
///   array reader:   each(f), which calls f(element) in order
///   element:        as<T>()   structure() -> struct reader   array() -> array reader
///                   bytes(f), which calls f(BytesView)
/// A zero byte follows each name that is passed to a library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace peers {

struct BytesView {
    unsigned char const* data;
    std::size_t size;
};

enum class Kind { small_request, records, numbers, strings, blob, deep, wide };

inline constexpr std::array all_kinds = {Kind::small_request, Kind::records, Kind::numbers,
                                         Kind::strings,       Kind::blob,    Kind::deep,
                                         Kind::wide};

struct Record {
    std::int64_t id;
    std::int32_t customer;
    double price;
    double weight;
    bool active;
    bool shipped;
    std::string name;
    std::string city;
};

using Number = std::variant<std::int32_t, std::int64_t, double>;

struct Data {
    static constexpr std::size_t record_count = 1000;
    static constexpr std::size_t number_count = 100'000;
    static constexpr std::size_t string_count = 10'000;
    static constexpr std::size_t blob_size = std::size_t{16} << 20;
    static constexpr int depth = 200;
    static constexpr std::size_t member_count = 10'000;

    std::vector<Record> records;
    std::vector<Number> numbers;
    std::vector<std::string> strings;
    std::vector<unsigned char> blob;
    std::vector<std::string> members;  // distinct names, in member order
    std::vector<std::string> shuffled_members;

    BytesView blob_view() const { return {blob.data(), blob.size()}; }
};

/// Returns "W1" to "W7".
char const* label(Kind kind);

std::string_view request_name(Kind kind);

/// Returns the data, which is made from a fixed seed, so that it is the same on every machine.
Data const& the_data();

// Writing

template <class Struct>
void write_small_request(Struct& body) {
    body.add("item_id", std::int64_t{4'811'223'345'110});
    body.add("warehouse", std::int32_t{-70'112});
    body.add("bin", std::int16_t{-1'204});
    body.add("shelf", std::int8_t{-7});
    body.add("revision", std::uint8_t{201});
    body.add("batch", std::uint16_t{50'021});
    body.add("quantity", std::uint32_t{3'000'000'017});
    body.add("serial", std::uint64_t{8'111'222'333'444'555});
    body.add("unit_price", 129.9375);
    body.add("in_stock", true);
    body.add("sku", std::string_view("SKU-00421-B7"));
    body.add("operator", std::string_view("j.hernandez@store04"));
}

template <class Struct>
void write_record(Record const& record, Struct& target) {
    target.add("id", record.id);
    target.add("customer", record.customer);
    target.add("price", record.price);
    target.add("weight", record.weight);
    target.add("active", record.active);
    target.add("shipped", record.shipped);
    target.add("name", std::string_view(record.name));
    target.add("city", std::string_view(record.city));
}

/// Level n holds its number. Each level but the last also holds the next level.
template <class Struct>
void write_level(int level, Struct& target) {
    target.add("level", std::int32_t{level});
    if (level + 1 == Data::depth) return;
    target.add_struct("child", level + 2 < Data::depth ? 2 : 1,
                      [&](auto& child) { write_level(level + 1, child); });
}

template <class Struct>
void write_blob(Data const& data, Struct& body) {
    body.add("offset", std::uint64_t{1} << 40);
    body.add("length", static_cast<std::uint32_t>(data.blob.size()));
    body.add("part", std::uint16_t{17});
    body.add("ratio", 0.4375);
    body.add("last", true);
    body.add("content", data.blob_view());
}

template <class Struct>
void write_lists(Kind kind, Data const& data, Struct& body) {
    if (kind == Kind::records) {
        body.add_array("records", data.records.size(), [&](auto& list) {
            for (auto const& record : data.records)
                list.add_struct(8, [&](auto& target) { write_record(record, target); });
        });
    } else if (kind == Kind::numbers) {
        body.add_array("values", data.numbers.size(), [&](auto& list) {
            for (auto const& number : data.numbers)
                std::visit([&](auto value) { list.add(value); }, number);
        });
    } else {
        body.add_array("strings", data.strings.size(), [&](auto& list) {
            for (auto const& text : data.strings) list.add(std::string_view(text));
        });
    }
}

inline std::size_t body_size(Kind kind) {
    constexpr std::array<std::size_t, 7> sizes{12, 1, 1, 1, 6, 2, Data::member_count};
    return sizes[static_cast<std::size_t>(kind)];
}

template <class Struct>
void write_body(Kind kind, Data const& data, Struct& body) {
    switch (kind) {
        case Kind::small_request:
            return write_small_request(body);
        case Kind::blob:
            return write_blob(data, body);
        case Kind::deep:
            return write_level(0, body);
        case Kind::wide:
            for (std::size_t i = 0; i < data.members.size(); ++i)
                body.add(data.members[i], static_cast<std::int32_t>(i));
            return;
        default:
            return write_lists(kind, data, body);
    }
}

/// A library without a message of its own uses a struct of three members as the message.
inline constexpr std::size_t message_size = 3;

template <class Struct>
void write_message(Kind kind, Data const& data, Struct& root) {
    root.add("name", request_name(kind));
    root.add_struct("meta", 0, [](auto&) {});
    root.add_struct("body", body_size(kind), [&](auto& body) { write_body(kind, data, body); });
}

// Reading

template <class Struct, class Total>
void read_small_request(Struct const& body, Total& total) {
    total.add(body.get("item_id").template as<std::int64_t>());
    total.add(body.get("warehouse").template as<std::int32_t>());
    total.add(body.get("bin").template as<std::int16_t>());
    total.add(body.get("shelf").template as<std::int8_t>());
    total.add(body.get("revision").template as<std::uint8_t>());
    total.add(body.get("batch").template as<std::uint16_t>());
    total.add(body.get("quantity").template as<std::uint32_t>());
    total.add(body.get("serial").template as<std::uint64_t>());
    total.add(body.get("unit_price").template as<double>());
    total.add(body.get("in_stock").template as<bool>());
    total.add(body.get("sku").template as<std::string_view>());
    total.add(body.get("operator").template as<std::string_view>());
}

template <class Struct, class Total>
void read_record(Struct const& record, Total& total) {
    total.add(record.get("id").template as<std::int64_t>());
    total.add(record.get("customer").template as<std::int32_t>());
    total.add(record.get("price").template as<double>());
    total.add(record.get("weight").template as<double>());
    total.add(record.get("active").template as<bool>());
    total.add(record.get("shipped").template as<bool>());
    total.add(record.get("name").template as<std::string_view>());
    total.add(record.get("city").template as<std::string_view>());
}

template <class Struct, class Total>
void read_level(int level, Struct const& source, Total& total) {
    total.add(source.get("level").template as<std::int32_t>());
    if (level + 1 < Data::depth) read_level(level + 1, source.get("child").structure(), total);
}

template <class Struct, class Total>
void read_blob(Struct const& body, Total& total) {
    total.add(body.get("offset").template as<std::uint64_t>());
    total.add(body.get("length").template as<std::uint32_t>());
    total.add(body.get("part").template as<std::uint16_t>());
    total.add(body.get("ratio").template as<double>());
    total.add(body.get("last").template as<bool>());
    body.get("content").bytes([&](BytesView bytes) { total.add(bytes); });
}

/// Each number is read as the type that it was written with.
template <class Array, class Total>
void read_numbers(Data const& data, Array const& values, Total& total) {
    auto expected = data.numbers.begin();
    values.each([&](auto const& element) {
        std::visit([&](auto number) { total.add(element.template as<decltype(number)>()); },
                   *expected++);
    });
}

template <class Struct, class Total>
void look_up(std::vector<std::string> const& names, Struct const& body, Total& total) {
    for (auto const& name : names) total.add(body.get(name).template as<std::int32_t>());
}

template <class Struct, class Total>
void read_body(Kind kind, Data const& data, Struct const& body, Total& total) {
    switch (kind) {
        case Kind::small_request:
            return read_small_request(body, total);
        case Kind::records:
            return body.get("records").array().each(
                [&](auto const& element) { read_record(element.structure(), total); });
        case Kind::numbers:
            return read_numbers(data, body.get("values").array(), total);
        case Kind::strings:
            return body.get("strings").array().each(
                [&](auto const& element) { total.add(element.template as<std::string_view>()); });
        case Kind::blob:
            return read_blob(body, total);
        case Kind::deep:
            return read_level(0, body, total);
        case Kind::wide:
            return look_up(data.members, body, total);
    }
}

/// A total that depends on every value and costs little. It ignores the fraction of doubles, so
/// that it is the same for a text form that changes the last digits.
class Sum {
public:
    void add(bool value) { total_ += value ? 3 : 5; }
    void add(double value) {
        total_ += static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    }
    void add(std::string_view text) {
        total_ += text.size();
        if (text.empty()) return;
        total_ += static_cast<unsigned char>(text.front()) * 31u;
        total_ += static_cast<unsigned char>(text.back());
    }
    void add(BytesView bytes) {
        for (std::size_t i = 0; i < bytes.size; i += 4096) total_ += bytes.data[i] * i;
        total_ += bytes.size;
    }
    template <class T>
    std::enable_if_t<std::is_integral_v<T>> add(T value) {
        total_ += static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    }
    std::uint64_t total() const { return total_; }

private:
    std::uint64_t total_ = 0;
};

}  // namespace peers
