/// A process loads and unloads a plug-in that uses the library, very often.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <sstream>
#include <string>
#include <thread>

namespace {

std::string mappings() {
    std::ostringstream text;
    text << std::ifstream("/proc/self/maps").rdbuf();
    return text.str();
}

bool is_loaded() { return mappings().find("/libtmsg.so") != std::string::npos; }

/// In this thread and in another one, which outlives the library.
void load_use_and_unload() {
    void* const plug_in = ::dlopen(PLUG_IN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, plug_in) << ::dlerror();
    ASSERT_TRUE(is_loaded());
    auto const use = reinterpret_cast<bool (*)()>(::dlsym(plug_in, "use_library"));
    ASSERT_NE(nullptr, use);
    std::promise<bool> used;
    std::promise<void> unloaded;
    std::thread thread([&] {
        used.set_value(use());
        unloaded.get_future().wait();
    });
    EXPECT_TRUE(used.get_future().get() && use());
    EXPECT_EQ(0, ::dlclose(plug_in));
    EXPECT_FALSE(is_loaded());
    unloaded.set_value();
    thread.join();
}

struct Usage {
    std::size_t allocated = ::mallinfo2().uordblks;
    long mapped = 0;

    Usage() {
        std::string const text = mappings();
        mapped = std::count(text.begin(), text.end(), '\n');
    }
};

}  // namespace

TEST(Library, LeavesNothingBehindWhenItIsUnloaded) {
    ASSERT_FALSE(is_loaded());
    for (int round = 0; round < 20 && !HasFailure(); ++round) load_use_and_unload();
    Usage const early;
    constexpr int rounds = 1000;
    for (int round = 0; round < rounds && !HasFailure(); ++round) load_use_and_unload();
    Usage const late;
    EXPECT_LE(late.allocated, early.allocated + 16 * rounds) << "less than any block in each round";
#ifndef __SANITIZE_ADDRESS__  // which maps more as it goes on
    EXPECT_LE(late.mapped, early.mapped + 2);
#endif
}
