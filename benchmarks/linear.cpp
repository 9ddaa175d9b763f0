/// Measures time against size. Each line has twice the input of the line above it. The ratio of
/// their times is near 2 when time is linear in the bytes. It is so for all lines but XML in small
/// pieces. The program takes the options of Google Benchmark.
#include <benchmark/benchmark.h>
#include <tmsg/tmsg.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "shapes.h"

namespace {

using Shape = std::string (*)(int);
using Reading = void (*)(std::string const&);

void check(std::string const& error) {
    if (error.empty()) return;
    std::fprintf(stderr, "linear: %s\n", error.c_str());
    std::exit(1);
}

void feed(Tm_bin_decoder_base& decoder, std::string const& input, std::size_t piece) {
    auto const* const data = reinterpret_cast<unsigned char const*>(input.data());
    for (std::size_t at = 0; at < input.size(); at += piece) {
        std::size_t const size = std::min(piece, input.size() - at);
        decoder.add_to_buffer(data + at, static_cast<long>(size));
        decoder.decode();
    }
    decoder.finalize();
    check(decoder.error());
}

template <std::size_t piece>
void decode(std::string const& input) {
    Tm_bin_decoder decoder(piece);
    feed(decoder, input, piece);
}

void dump(std::string const& input) {
    FILE* const nowhere = std::fopen("/dev/null", "w");
    {
        Tm_bin_decoder_to_text decoder(4096, nowhere);
        feed(decoder, input, 4096);
    }
    std::fclose(nowhere);
}

/// Encodes the message in pieces of the encoder's size.
template <class Encoder>
void write(Message const& message, Encoder& encoder) {
    while (!message.accept(encoder)) {
        while (!encoder.continue_fill()) {
        }
    }
}

/// Copies, compares and destroys a decoded message, and encodes it in every form.
void walk(std::string const& input) {
    Tm_bin_decoder decoder(4096);
    feed(decoder, input, 4096);
    Message const copy(*decoder.message());
    if (!(copy == *decoder.message())) check("the copy differs");
    Tm_bin_encoder binary(1000);
    write(copy, binary);
    Tm_json_encoder json;
    copy.accept(json);
    Tm_tcl_encoder list;
    copy.accept(list);
    Tm_xml_file_size_encoder xml(1 << 22);
    write(copy, xml);
    Message forwarded(copy);
    forwarded.index_member_names();
}

/// Encodes a decoded message as XML. Each piece walks the message again.
void write_xml_pieces(std::string const& input) {
    Tm_bin_decoder decoder(4096);
    feed(decoder, input, 4096);
    Tm_xml_file_size_encoder xml(4096);
    write(*decoder.message(), xml);
}

/// Receives the input, and ignores messages and errors.
template <std::size_t piece>
void receive(std::string const& input) {
    Tm_chunk_receiver receiver({}, {});
    auto const* const data = reinterpret_cast<unsigned char const*>(input.data());
    for (std::size_t at = 0; at < input.size(); at += piece) {
        receiver.receive(1, data + at, std::min(piece, input.size() - at));
    }
}

void read_list(std::string const& input) {
    Tm_tcl_decoder decoder;
    decoder.decode(input);
    benchmark::DoNotOptimize(decoder.error().size());
}

/// Prints bytes, time per byte and the ratio to the line before.
class Ratio_reporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(Context const&) override {
        std::printf("%-40s %12s %12s %8s\n", "input", "bytes", "ns/byte", "ratio");
        return true;
    }

    void ReportRuns(std::vector<Run> const& runs) override {
        for (Run const& run : runs) {
            std::string const& name = run.run_name.function_name;
            double const bytes = run.counters.at("bytes");
            double const time = run.GetAdjustedCPUTime();
            std::printf("%-40s %12.0f %12.2f", name.c_str(), bytes, time / bytes);
            if (name == last_name_)
                std::printf(" %8.2f", time / last_time_ * last_bytes_ / bytes * 2);
            std::printf("\n");
            last_name_ = name;
            last_time_ = time;
            last_bytes_ = bytes;
        }
        std::fflush(stdout);
    }

private:
    std::string last_name_;
    double last_time_ = 0;
    double last_bytes_ = 0;
};

void add(char const* name, Shape shape, Reading reading, int smallest, int largest) {
    auto const measure = [shape, reading](benchmark::State& state) {
        std::string const input = shape(static_cast<int>(state.range(0)));
        for (auto _ : state) reading(input);
        state.counters["bytes"] = static_cast<double>(input.size());
    };
    benchmark::RegisterBenchmark(name, measure)->RangeMultiplier(2)->Range(smallest, largest);
}

void add_all() {
    constexpr int few = 1 << 12;
    constexpr int many = 1 << 15;
    add("members", members, decode<4096>, few, many);
    add("members, by single bytes", members, decode<1>, few, many);
    add("one name again and again", one_name, decode<4096>, few, many);
    add("long names", long_names, decode<4096>, 16, 128);
    add("names by index", names_by_index, decode<4096>, few, many);
    add("different structs by index", structs_by_index, decode<4096>, few, many);
    add("empty arrays", empty_arrays, decode<4096>, few, many);
    add("empty structs", empty_structs, decode<4096>, few, many);
    add("empty messages", empty_messages, decode<4096>, few, many);
    add("nested arrays", nested_arrays, decode<4096>, 64, 512);
    add("nested structs", nested_structs, decode<4096>, 64, 256);
    add("nested messages", nested_messages, decode<4096>, 64, 256);
    add("long strings", long_strings, decode<4096>, 16, 128);
    add("long strings, by single bytes", long_strings, decode<1>, 16, 128);
    add("first chunks", first_chunks, receive<4096>, few, many);
    add("stray chunks", stray_chunks, receive<4096>, few, many);
    add("one-byte chunks", one_byte_chunks, receive<4096>, few, many);
    add("one-byte chunks, by single bytes", one_byte_chunks, receive<1>, few, many);
    add("members, walked", members, walk, few, many);
    add("one name, walked", one_name, walk, few, many);
    add("names by index, walked", names_by_index, walk, few, many);
    add("nested messages, walked", nested_messages, walk, 64, 256);
    add("members, as XML in pieces of 4 KiB", members, write_xml_pieces, 1 << 10, 1 << 13);
    add("empty structs, dumped", empty_structs, dump, few, many);
    add("list text: members", list_members, read_list, few, many);
    add("list text: escapes", list_escapes, read_list, few, many);
    add("list text: nested arrays", list_arrays, read_list, 64, 512);
    add("list text: open quotes", list_open_quotes, read_list, few, many);
}

}  // namespace

int main(int argc, char** argv) {
    add_all();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    Ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
