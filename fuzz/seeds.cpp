/// Writes the first corpora into a folder: the messages of the tests, in every form that the
/// library reads.
#include <filesystem>
#include <fstream>

#include "support/support.h"
#include "support/text.h"

namespace {

void write(std::filesystem::path const& folder, std::size_t number, std::string const& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / ("seed_" + std::to_string(number)), std::ios::binary) << bytes;
}

std::string as_string(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

/// Returns an input for the target "chunks". It has each chunk of the message twice, as bytes of
/// one connection and as a chunk with a number. A good message comes between the two.
std::string storm_of(Message const& message, unsigned int number) {
    std::string storm(1, static_cast<char>(number));
    for (Bytes const& chunk : chunks_of(message, number, 100)) {
        storm += static_cast<char>(number % 3);
        storm += static_cast<char>(chunk.size());
        storm += as_string(chunk);
        storm += "\x05\x30";
        storm += "\x03";
        storm += static_cast<char>((chunk[1] >> 7 & 1) | (chunk[1] >> 5 & 2) | 8);
        storm += static_cast<char>(chunk.size() - sizeof(TM_HEADER));
        storm += as_string(chunk).substr(sizeof(TM_HEADER));
    }
    return storm;
}

}  // namespace

int main(int, char** argv) {
    std::filesystem::path const root(argv[1]);
    std::size_t number = 0;
    auto samples = sample_messages();
    Scratch const scratch;
    samples.push_back(make_message(Message::TMT_RESPONSE));
    samples.back()->add_member(meta, "file", scratch.file("f", "content"), 0U);
    samples.push_back(make_message(Message::TMT_RESPONSE));
    add(samples.back()->get_struct(body), "least", std::numeric_limits<long>::min(), "other", -5L);
    for (auto const& message : samples) {
        std::string const wire = as_string(encode(*message));
        write(root / "decode", number, wire);
        write(root / "split", number, "\x05\x20" + wire);
        write(root / "roundtrip", number, "\x10" + wire);
        write(root / "chunks", number, storm_of(*message, static_cast<unsigned int>(number)));
        write(root / "list_text", number, tm_to_text(*message));
        write(root / "api", number, wire.substr(0, 100));
        write(root / "changes", number, wire.substr(0, 100));
        ++number;
    }
    write(root / "list_text", number,
          R"(response {struct {a {binary 3 "\x01b\\"} f {file 2 "ab"}} struct {}} bool true)");
    // This program adds members, looks them up by name, clears the struct, and does all that again.
    std::string const add = {0, 0, 0, 0, 1};
    std::string const add_others = {0, 0, 0, 0, 5};
    std::string const look_up = {0, 0, 5, 0, 1};
    std::string const clear = {0, 0, 4, 0};
    std::string const program =
        "@" + add + look_up + look_up + clear + add_others + look_up + add + look_up;
    write(root / "api", number, program);
}
