/// The requests of the demo of a cluster. The number of a request decides what is in it. The answer
/// tells lengths and checksums, so that a wrong answer or the answer to another request is noticed.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "../files.h"
#include "tmsg/tmsg.h"

/// Counts bytes and makes their checksum.
struct Digest {
    unsigned long bytes = 0;
    unsigned long crc = 0;

    void add(void const* data, std::size_t size) {
        bytes += size;
        crc = ::crc32_z(crc, static_cast<unsigned char const*>(data), size);
    }
};
inline bool operator==(Digest const& a, Digest const& b) {
    return a.bytes == b.bytes && a.crc == b.crc;
}
TM_FIELDS(Digest, bytes, crc)

struct Receipt {
    unsigned int number = 0;
    Digest numbers;
    Digest texts;
    Digest blob;
    Digest file;
    std::string worker;
    Tm_binary inverted;  ///< the blob with all bits inverted, so that some answers are large, too
};
TM_FIELDS(Receipt, number, numbers, texts, blob, file, worker, inverted)

inline std::vector<unsigned char> inverted(unsigned char const* data, std::size_t size) {
    std::vector<unsigned char> bytes(size);
    std::transform(data, data + size, bytes.begin(),
                   [](unsigned char byte) { return static_cast<unsigned char>(~byte); });
    return bytes;
}

inline bool is_same(Tm_binary const& bytes, std::vector<unsigned char> const& expected) {
    return std::equal(bytes.get_buffer(), bytes.get_buffer() + bytes.get_buffer_size(),
                      expected.begin(), expected.end());
}

/// What is sent. Most of it is numbers, texts, a blob or a file, in turns.
struct Parcel {
    static constexpr unsigned int smallest = 8;
    static constexpr unsigned int largest = 8U << 20U;

    /// `number` is below `count`. Half of the parcels have at most 256 bytes, and the last one in
    /// a shuffled order has the most.
    Parcel(unsigned int its_number, unsigned int count) : number(its_number) {
        std::size_t const size = size_of(number, count);
        std::vector<std::uint64_t> words(size / sizeof(std::uint64_t));
        std::uint64_t state = number + 1;
        for (std::uint64_t& word : words) word = next(state);
        std::string_view const bytes(reinterpret_cast<char const*>(words.data()), size);
        if (number % 4 == 0) numbers.assign(words.begin(), words.end());
        if (number % 4 == 1) cut_into_texts(bytes, 1 + next(state) % 5000);
        if (number % 4 == 2) blob.assign(bytes.begin(), bytes.end());
        if (number % 4 == 3) file = bytes;
    }

    /// Writes the file to the path if there is one. Nobody may change it before the answer came.
    Message request(std::string const& path) const {
        Message made = Message::request("parcel.receive");
        Tm_struct& body = made.get_struct(Message::TMG_BODY);
        body.add_member("number", number);
        body.add_member("numbers", numbers);
        body.add_member("texts", texts);
        body.add_member("blob", blob.data(), static_cast<unsigned int>(blob.size()));
        if (!file.empty()) {
            std::ofstream(path, std::ios::binary) << file;
            body.add_file("file", path);
        }
        return made;
    }

    bool is_receipt(Receipt const& receipt) const {
        Digest expected[4];
        expected[0].add(numbers.data(), numbers.size() * sizeof numbers[0]);
        for (std::string const& text : texts) expected[1].add(text.data(), text.size() + 1);
        expected[2].add(blob.data(), blob.size());
        expected[3].add(file.data(), file.size());
        return receipt.number == number && receipt.numbers == expected[0] &&
               receipt.texts == expected[1] && receipt.blob == expected[2] &&
               receipt.file == expected[3] &&
               is_same(receipt.inverted, inverted(blob.data(), blob.size()));
    }

    unsigned int number;
    std::vector<long> numbers;
    std::vector<std::string> texts;
    std::vector<unsigned char> blob;
    std::string file;

private:
    static std::size_t size_of(unsigned int number, unsigned int count) {
        double const rank = count < 2 ? 1 : (number * 769 % count) / (count - 1.0);
        double const doublings = std::log2(largest / smallest) * rank * rank;
        return static_cast<std::size_t>(smallest * std::exp2(doublings)) / smallest * smallest;
    }
    static std::uint64_t next(std::uint64_t& state) {
        state ^= state << 13U;
        state ^= state >> 7U;
        state ^= state << 17U;
        return state;
    }
    void cut_into_texts(std::string_view bytes, std::size_t length) {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(length, bytes.size()))) {
            texts.emplace_back(bytes.substr(0, length));
        }
    }
};

/// What a worker does with a parcel.
inline Receipt receive_parcel(Message const& request, std::string worker) {
    Tm_struct const& body = request.get_const_struct(Message::TMG_BODY);
    Receipt receipt;
    receipt.worker = std::move(worker);
    receipt.number = body.get_member_uint32("number");
    for (Tm_value const& value : tm_elements(*body.get_member_array("numbers"))) {
        long const number = tm_number<long>(value);
        receipt.numbers.add(&number, sizeof number);
    }
    for (Tm_value const& value : tm_elements(*body.get_member_array("texts"))) {
        std::string_view const text = static_cast<Tm_string const&>(value).value();
        receipt.texts.add(text.data(), text.size() + 1);
    }
    Tm_binary const& blob = *body.get_member_binary("blob");
    receipt.blob.add(blob.get_buffer(), blob.get_buffer_size());
    receipt.inverted = Tm_binary(inverted(blob.get_buffer(), blob.get_buffer_size()));
    if (body.has_member("file")) {
        Tm_file const& file = *body.get_member_file("file");
        receipt.file = {file.size(), crc_of(file)};
    }
    return receipt;
}
