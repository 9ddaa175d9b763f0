/// Memory that runs out at every point of every operation: std::bad_alloc reaches the caller, nothing
/// leaks, and what should be as before is so.
#include <cstdlib>
#include <functional>
#include <new>

#include "support/text.h"

namespace {

long allowed = -1;  ///< allocations until one fails; negative: all succeed
long live = 0;

void* allocate(std::size_t size) {
    if (allowed == 0) throw std::bad_alloc();
    if (allowed > 0) --allowed;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    ++live;
    return memory;
}

void* allocate_or_null(std::size_t size) noexcept {
    try {
        return allocate(size);
    } catch (std::bad_alloc const&) { return nullptr; }
}

void release(void* memory) noexcept {
    if (memory != nullptr) --live;
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return allocate_or_null(size); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return allocate_or_null(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace {

/// Runs the scenario with the first, second, ... allocation failing until it ends without a failure.
/// It is given what to surround the operation under test with.
void fail_at_every_allocation(std::function<void(std::function<void(std::function<void()>)>)> const& scenario) {
    bool has_failed = true;
    for (long n = 0; has_failed; ++n) {
        ASSERT_LT(n, 100000);
        // What the first time keeps for ever, the second one does not need again.
        long after[2] = {};
        for (long& live_after : after) {
            scenario([&](std::function<void()> const& operation) {
                has_failed = false;
                allowed = n;
                try {
                    operation();
                } catch (std::bad_alloc const&) { has_failed = true; }
                allowed = -1;
            });
            live_after = live;
        }
        ASSERT_EQ(after[0], after[1]) << "leaked when allocation " << n << " failed";
    }
}

std::unique_ptr<Message> sample() {
    auto message = indexed_request();
    auto const inner = nested_struct();
    auto const bytes = binary_of(pattern(300));
    add(message->get_struct(meta), "a name that is longer than fifteen bytes", &inner, "bytes", &bytes);
    return message;
}

TEST(Allocation, FailingWhileBuildingLeavesTheContainerAsItWas) {
    auto const inner = nested_struct();
    fail_at_every_allocation([&](auto const& attempt) {
        Message message;
        message.add_member(body, "first", 1);
        Message const before(message);
        bool done = false;
        attempt([&] {
            message.add_member(body, "a second name, long enough for the heap", &inner);
            done = true;
        });
        EXPECT_TRUE(done || message == before);
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_array array;
        bool done = false;
        attempt([&] {
            array.add_member_and_own(new Tm_struct(inner));
            done = true;
        });
        EXPECT_EQ(done ? 1 : 0, array.get_member_count());
    });
}

TEST(Allocation, FailingWhileCopyingAndAssigning) {
    auto const message = sample();
    fail_at_every_allocation([&](auto const& attempt) { attempt([&] { Message const copy(*message); }); });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_struct target(nullptr);
        target.add_member("kept", 1);
        Tm_struct const before(target);
        bool done = false;
        attempt([&] {
            target = message->get_const_struct(meta);
            done = true;
        });
        EXPECT_TRUE(target == (done ? message->get_const_struct(meta) : before));
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Message left, right;
        left.add_member(body, "a", 1);
        attempt([&] {
            left.swap(right);
            auto const content = right.take_content();
        });
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Message indexed(*message);
        bool done = false;
        attempt([&] { done = indexed.index_member_names(); });
        EXPECT_TRUE(done || indexed == *message);
    });
}

TEST(Allocation, FailingWhileEncodingAndDecoding) {
    auto const message = sample();
    Bytes const wire = encode(*message);
    std::string const text =
        R"(request {name "a b" struct {} struct {"a \"name\"" {array {string "a\nb" double +1}}}})";
    fail_at_every_allocation([&](auto const& attempt) { attempt([&] { encode_chunks(*message, 10); }); });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_bin_decoder decoder(4096);
        attempt([&] { feed(decoder, wire, 100); });
        decoder.init();
        feed(decoder, wire, 100);
        EXPECT_TRUE(*decoder.message() == *message) << decoder.error();
    });
    fail_at_every_allocation([&](auto const& attempt) { attempt([&] { text_of<Tm_json_encoder>(*message); }); });
    fail_at_every_allocation([&](auto const& attempt) { attempt([&] { text_of<Tm_tcl_encoder>(*message); }); });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_tcl_decoder decoder;
        attempt([&] { decoder.decode(text); });
        decoder.decode(text);
        EXPECT_EQ("", decoder.error());
    });
    fail_at_every_allocation([&](auto const& attempt) { attempt([&] { Message::from_string(text); }); });
}

TEST(Allocation, FailingWhileReassembling) {
    auto const message = sample();
    auto const chunks = chunks_of(*message, 1, 200);
    fail_at_every_allocation([&](auto const& attempt) {
        int finished = 0;
        Tm_chunk_receiver receiver(
            [&](std::unique_ptr<Message> got, int, Tm_header const&) { finished += *got == *message; },
            [](int, unsigned int, std::string const&) {});
        attempt([&] {
            for (Bytes const& chunk : chunks) receiver.receive(1, chunk.data(), chunk.size());
        });
        receiver.forget(1);
        finished = 0;
        for (Bytes const& chunk : chunks) receiver.receive(1, chunk.data(), chunk.size());
        EXPECT_EQ(1, finished);
    });
}

}  // namespace
