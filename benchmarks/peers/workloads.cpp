#include "workloads.h"

#include <cstdio>
#include <utility>

namespace peers {

namespace {

/// The largest 64-bit value. Many libraries hold integers as doubles, which cannot hold all greater
/// values exactly.
constexpr std::uint64_t largest_exact = (std::uint64_t{1} << 53) - 1;

/// The random numbers of splitmix64.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }

    std::uint64_t between(std::uint64_t low, std::uint64_t high) {
        return low + next() % (high - low + 1);
    }

    double real(double low, double high) {
        return low + (high - low) * (static_cast<double>(next() >> 11) * 0x1.0p-53);
    }

    bool coin() { return (next() & 1) != 0; }

    std::string text(std::size_t shortest, std::size_t longest) {
        static constexpr std::string_view letters =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789  ";
        std::string result(between(shortest, longest), ' ');
        for (char& c : result) c = letters[next() % letters.size()];
        return result;
    }

private:
    std::uint64_t state_;
};

void make_records(Random& random, Data& data) {
    std::vector<std::string> cities(50);
    for (auto& city : cities) city = random.text(5, 30);
    for (std::size_t i = 0; i < Data::record_count; ++i) {
        // A braced list is evaluated from left to right.
        data.records.push_back({static_cast<std::int64_t>(random.between(0, largest_exact)),
                                static_cast<std::int32_t>(random.between(1, 99'999)),
                                random.real(0.01, 999.0), random.real(0.1, 50.0), random.coin(),
                                random.coin(), random.text(5, 30),
                                cities[random.next() % cities.size()]});
    }
}

void make_numbers(Random& random, Data& data) {
    for (std::size_t i = 0; i < Data::number_count; ++i) {
        switch (i % 3) {
            case 0:
                data.numbers.emplace_back(static_cast<std::int32_t>(random.next() >> 32));
                break;
            case 1:
                data.numbers.emplace_back(static_cast<std::int64_t>(random.next()) >> 11);
                break;
            default:
                data.numbers.emplace_back(random.real(-1e6, 1e6));
        }
    }
}

/// Each name ends with its position in four hexadecimal digits.
void make_members(Random& random, Data& data) {
    for (std::size_t i = 0; i < Data::member_count; ++i) {
        char tail[8];
        std::snprintf(tail, sizeof tail, "_%04x", static_cast<unsigned int>(i & 0xffff));
        std::string name = random.text(3, 19) + tail;
        for (char& c : name) c = c == ' ' ? '_' : c;
        data.members.push_back(std::move(name));
    }
    data.shuffled_members = data.members;
    for (std::size_t i = data.shuffled_members.size(); i > 1; --i)
        std::swap(data.shuffled_members[i - 1], data.shuffled_members[random.next() % i]);
}

Data generate() {
    Data data;
    Random random(20240229);
    make_records(random, data);
    make_numbers(random, data);
    for (std::size_t i = 0; i < Data::string_count; ++i)
        data.strings.push_back(random.text(20, 200));
    data.blob.resize(Data::blob_size);
    for (auto& byte : data.blob) byte = static_cast<unsigned char>(random.next());
    make_members(random, data);
    return data;
}

}  // namespace

char const* label(Kind kind) {
    constexpr std::array labels{"W1", "W2", "W3", "W4", "W5", "W6", "W7"};
    return labels[static_cast<std::size_t>(kind)];
}

std::string_view request_name(Kind kind) {
    constexpr std::array<std::string_view, 7> names{
        "inventory.update", "inventory.list", "series.store", "text.index",
        "blob.put",         "tree.store",     "table.set"};
    return names[static_cast<std::size_t>(kind)];
}

Data const& the_data() {
    static Data const data = generate();
    return data;
}

}  // namespace peers
