/// Runs a fuzz target over files and folders of inputs, without the fuzzer.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "target.h"

namespace {

void run(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<char> const bytes(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    run_every_check();
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        if (std::filesystem::is_regular_file(argv[i])) {
            run(argv[i]);
            ++count;
        }
        if (!std::filesystem::is_directory(argv[i])) continue;
        for (auto const& entry : std::filesystem::directory_iterator(argv[i])) {
            run(entry.path());
            ++count;
        }
    }
    std::cout << count << " inputs\n";
    return count == 0 ? 1 : 0;
}
