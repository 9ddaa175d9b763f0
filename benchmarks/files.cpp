/// Compares the time to send and receive a file with the time to copy it. Does both in turn in each
/// round, and prints the smallest times of all rounds:
///
///     files [MIB [ROUNDS]]
///
/// The sent files and the copies are in the folder for temporary files, the received files in /tmp.
#include <fcntl.h>
#include <sys/resource.h>
#include <tmsg/tmsg.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <vector>

namespace {

constexpr std::size_t step = 1 << 17;

void check(bool is_good, char const* text) {
    if (is_good) return;
    std::fprintf(stderr, "files: %s\n", text);
    std::exit(1);
}

void make(std::string const& path, std::size_t mib) {
    std::ofstream file(path, std::ios::binary);
    std::string block(1 << 20, '\0');
    for (std::size_t i = 0; i < mib; ++i) {
        for (std::size_t at = 0; at < block.size(); ++at) block[at] = static_cast<char>(at * 7 + i);
        file << block;
    }
    check(file.good(), "the file cannot be made");
}

/// Copies the file with the system calls and steps of a simple copying program.
void copy(std::string const& path) {
    std::string const target = path + ".copy";
    int const from = ::open(path.c_str(), O_RDONLY);
    int const to = ::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<char> bytes(step);
    ssize_t size = 0;
    while ((size = ::read(from, bytes.data(), bytes.size())) > 0) {
        check(::write(to, bytes.data(), static_cast<std::size_t>(size)) == size, "no room");
    }
    ::close(from);
    ::close(to);
    std::filesystem::remove(target);
}

void deliver(std::string const& path, int chunk_size) {
    Message message;
    message.add_member(Message::TMG_BODY, "file", path, 0U);
    bool has_arrived = false;
    Tm_chunk_receiver receiver(
        [&](std::unique_ptr<Message> received, int, Tm_header const&) {
            has_arrived = true;
            auto const& file = *received->get_member_file(Message::TMG_BODY, "file");
            std::filesystem::remove(file.path());
        },
        {});
    Tm_chunk_sender(chunk_size).send(message, 1, 0, [&](auto... chunk) {
        receiver.receive(1, chunk...);
        return true;
    });
    check(has_arrived, "the message did not arrive");
}

struct Times {
    double wall = 1e9;
    double processor = 1e9;

    template <class Work>
    void measure(Work work) {
        auto const begin = std::chrono::steady_clock::now();
        std::clock_t const begun = std::clock();
        work();
        double const ticks = static_cast<double>(std::clock() - begun);
        std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - begin;
        wall = std::min(wall, taken.count());
        processor = std::min(processor, ticks / CLOCKS_PER_SEC);
    }
    void print(std::string const& name, Times const& base) const {
        std::printf("%-20s %8.3f %8.2f %10.3f %8.2f\n", name.c_str(), wall, wall / base.wall,
                    processor, processor / base.processor);
    }
};

long peak_kib() {
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
    int const mib = argc > 1 ? std::atoi(argv[1]) : 256;
    int const rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    check(mib > 0 && mib < 2048 && rounds > 0, "usage: files [MIB [ROUNDS]], MIB below 2048");
    auto const path =
        std::filesystem::temp_directory_path() / ("tmsg_files_" + std::to_string(::getpid()));
    make(path, static_cast<std::size_t>(mib));

    std::vector<int> const chunk_sizes = {4096, 65536, 1048575};
    Times copying;
    std::vector<Times> delivering(chunk_sizes.size());
    for (int round = 0; round < rounds; ++round) {
        copying.measure([&] { copy(path); });
        for (std::size_t i = 0; i < chunk_sizes.size(); ++i) {
            delivering[i].measure([&] { deliver(path, chunk_sizes[i]); });
        }
    }
    std::printf("%-20s %8s %8s %10s %8s\n", "", "seconds", "ratio", "processor", "ratio");
    copying.print("copied", copying);
    for (std::size_t i = 0; i < chunk_sizes.size(); ++i) {
        delivering[i].print("chunks of " + std::to_string(chunk_sizes[i]), copying);
    }
    std::printf("peak of resident memory %ld KiB\n", peak_kib());
    std::filesystem::remove(path);
    return 0;
}
