/// Memory that runs out at every point of every operation: std::bad_alloc reaches the caller, nothing
/// leaks, and what should be as before is so. And memory that strangers may make a receiver hold.
#include <malloc.h>

#include <cstdlib>
#include <functional>
#include <new>

#include "support/text.h"

namespace {

long allowed = -1;  ///< allocations until one fails; negative: all succeed
long live = 0;
std::size_t live_bytes = 0;

void* allocate(std::size_t size) {
    if (allowed == 0) throw std::bad_alloc();
    if (allowed > 0) --allowed;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    ++live;
    live_bytes += ::malloc_usable_size(memory);
    return memory;
}

void* allocate_or_null(std::size_t size) noexcept {
    try {
        return allocate(size);
    } catch (std::bad_alloc const&) { return nullptr; }
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    --live;
    live_bytes -= ::malloc_usable_size(memory);
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
        has_failed = false;
        // The process keeps memory of the first times, which the last time uses again.
        long after[3] = {};
        for (long& live_after : after) {
            scenario([&](std::function<void()> const& operation) {
                allowed = n;
                try {
                    operation();
                } catch (std::bad_alloc const&) { has_failed = true; }
                allowed = -1;
            });
            live_after = live;
        }
        ASSERT_EQ(after[1], after[2]) << "leaked when allocation " << n << " failed";
    }
}

std::unique_ptr<Message> sample() {
    auto message = indexed_request();
    auto const inner = nested_struct();
    auto const bytes = binary_of(pattern(300));
    Tm_array deep;
    for (int depth = 0; depth < 20; ++depth) deep = array_of(&deep);
    add(message->get_struct(meta), "a name that is longer than fifteen bytes", &inner, "bytes", &bytes, "deep", &deep);
    return message;
}

/// Each kind of member, added to a struct that has one; a value given away is freed by a failure.
TEST(Allocation, FailingWhileBuildingLeavesTheContainerAsItWas) {
    Scratch const scratch;
    std::string const path = scratch.file("f", "content");
    std::string const name = "a second name, long enough for the heap";
    auto const inner = nested_struct();
    auto const bytes = binary_of(pattern(300));
    std::function<void(Message&)> const additions[] = {
        [&](Message& message) { message.add_member(body, name, 1); },
        [&](Message& message) { message.add_member(body, name, pattern(300)); },
        [&](Message& message) { message.add_member(body, name, &bytes); },
        [&](Message& message) { message.add_member(body, name, path, 0U); },
        [&](Message& message) { message.add_member(body, name, &inner); },
        [&](Message& message) { message.add_member_and_own(body, name, new Tm_struct(inner)); },
        [&](Message& message) { message.set_fault_string("a text that is long enough for the heap"); },
    };
    // As many members as a struct has room for at first.
    auto const make_eight = [] {
        auto message = make_message(Message::TMT_FAULT);
        message->set_use_send_member_string(true);
        for (int i = 0; i < 8; ++i) message->add_member(body, "first", i);
        return message;
    };
    auto const expected = make_eight();
    expected->add_member(body, "other", 1);
    for (auto const& addition : additions) {
        fail_at_every_allocation([&](auto const& attempt) {
            auto const message = make_eight();
            bool done = false;
            attempt([&] {
                addition(*message);
                done = true;
            });
            if (done) return;
            EXPECT_TRUE(*message == *make_eight());
            message->add_member(body, "other", 1);
            // Names and indexes are in step.
            message->create_send_member_string_meta();
            Decoded const decoded = decode(encode(*message));
            EXPECT_EQ("", decoded.error);
            EXPECT_TRUE(decoded.message->get_const_struct(body) == expected->get_const_struct(body));
        });
    }
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
    Scratch const scratch;
    auto const message = sample();
    message->add_member(body, "file", scratch.file("f", "content"), 0U);
    message->index_member_names();
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
        Tm_array target = every_length();
        Tm_array const source = every_scalar();
        bool done = false;
        attempt([&] {
            target = source;
            done = true;
        });
        int const copied = target.get_member_count();
        EXPECT_TRUE(done ? target == source : copied < source.get_member_count());
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Message left, right;
        left.add_member(body, "a name that is long enough for the heap", 1);
        Message const before(left);
        std::unique_ptr<Message> content;
        attempt([&] {
            left.swap(right);
            content = right.take_content();
        });
        EXPECT_TRUE((content != nullptr ? *content : right) == before);
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Message left, right;
        left.add_member(body, "a name that is long enough for the heap", 1);
        bool done = false;
        attempt([&] {
            left.get_struct(body).swap(right.get_struct(body));
            done = true;
        });
        EXPECT_EQ(done ? 1 : 0, right.get_member_count(body));
        EXPECT_EQ(done ? 0 : 1, left.get_member_count(body));
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
    auto const ignore = [](unsigned char const*, std::size_t) { return true; };
    fail_at_every_allocation([&](auto const& attempt) { attempt([&] { encode_chunks(*message, 10); }); });
    fail_at_every_allocation([&](auto const& attempt) {
        attempt([&] { Tm_chunk_sender(10).send(*message, 1, 2, ignore, Tm_chunk_sender::Names::by_index); });
    });
    fail_at_every_allocation([&](auto const& attempt) {
        attempt([&] {
            Tm_xml_file_size_encoder xml(300);
            for (bool whole = false; !whole; xml.continue_fill()) whole = message->accept(xml);
        });
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_bin_decoder decoder(4096);
        attempt([&] { feed(decoder, wire, 100); });
        attempt([&] { decoder.init(); });
        decoder.init();
        feed(decoder, wire, 100);
        EXPECT_TRUE(*decoder.message() == *message) << decoder.error();
    });
    Bytes const hostile = from_hex("02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 86 85 84 04 05 07 00 09");
    std::string const hostile_text = "request {name a struct {catalog {int32_t 1}} struct {}}";
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_bin_decoder decoder(4096);
        attempt([&] {
            try {
                feed(decoder, hostile);
            } catch (std::out_of_range const&) {}
        });
        EXPECT_EQ(2, decoder.state());
        EXPECT_NE("", decoder.error());
    });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_tcl_decoder decoder;
        attempt([&] {
            try {
                decoder.decode(hostile_text);
            } catch (Tm_type_mismatch_exception const&) {}
        });
        EXPECT_NE("", decoder.error());
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

/// Just before the tables of names become larger, and a name that is there already. The names are so
/// long that the process keeps none.
TEST(Allocation, FailingWhileANameIsAdded) {
    for (auto const& [count, repeated] : {std::pair(8, -1), {16, -1}, {32, -1}, {32, 5}}) {
        fail_at_every_allocation([count = count, repeated = repeated](auto const& attempt) {
            Names const names = numbered(std::string(5000, 'n'), count);
            std::string const name = repeated < 0 ? "one more" : names.at(5);
            Tm_catalog<std::string> catalog;
            for (std::string const& known : names) catalog.add(known);
            Tm_struct value = of_ints(names);
            EXPECT_EQ(count - 1, value.get_number(names.back().c_str()));
            bool is_added = false, is_member = false;
            attempt([&] {
                catalog.add(name);
                is_added = true;
                value.add_member(name, 1);
                is_member = true;
            });
            EXPECT_EQ(is_added || repeated >= 0, catalog.find(name) != nullptr);
            EXPECT_EQ(repeated < 0 ? count : repeated, static_cast<int>(catalog.add(name)->second));
            EXPECT_EQ(is_member ? count : repeated, value.get_member_index(name.c_str()));
            if (!is_member) value.add_member(name, 1);
            value.get_number(names.back().c_str());
            EXPECT_EQ(count, value.get_number(name.c_str()));
        });
    }
}

/// The event that failed is passed again.
TEST(Allocation, FailingWhileCreating) {
    using Event = void (*)(Tm_creator&);
    std::vector<Event> events = {
        [](Tm_creator& c) { c.visit_array_begin(); },   [](Tm_creator& c) { c.visit_struct_begin(); },
        [](Tm_creator& c) { c.visit_member_begin(1); }, [](Tm_creator& c) { c.visit_member_continue("m", 1); },
        [](Tm_creator& c) { c.visit_int32(7); },        [](Tm_creator& c) { c.visit_member_end(); },
        [](Tm_creator& c) { c.visit_struct_end(); },
    };
    // So many that the array gives room back in the end; it need not.
    events.insert(events.end(), 16, [](Tm_creator& c) { c.visit_int32(8); });
    events.push_back([](Tm_creator& c) { c.visit_array_end(); });
    fail_at_every_allocation([&](auto const& attempt) {
        Tm_array target;
        Tm_creator creator(&target);
        std::size_t next = 0;
        auto const go_on = [&] {
            for (; next < events.size(); ++next) events[next](creator);
        };
        attempt(go_on);
        go_on();
        EXPECT_EQ("", creator.error());
        ASSERT_EQ(1, target.get_member_count());
        EXPECT_EQ(7, target.get_member_array(0)->get_member_struct(0)->get_member_int32("m"));
        EXPECT_EQ(8, target.get_member_array(0)->get_member_int32(16));
    });
}

/// A message with a file arrives or std::bad_alloc says why not; the next one is not its concern.
TEST(Allocation, FailingWhileReassembling) {
    Scratch const scratch;
    auto const message = sample();
    message->add_member(meta, "file", scratch.file("f", "content"), 0U);
    Message const next;
    fail_at_every_allocation([&](auto const& attempt) {
        int finished = 0;
        Names errors;
        Tm_chunk_receiver receiver(
            [&](std::unique_ptr<Message> got, int, Tm_header const&) { finished += got->get_member_count(meta) > 0; },
            [&](int, unsigned int, std::string const& text) { errors.push_back(text); });
        for (Bytes const& chunk : chunks_of(next, 7, 200)) receiver.receive(1, chunk.data(), chunk.size());
        bool has_failed = true;
        attempt([&] {
            for (Bytes const& chunk : chunks_of(*message, 1, 200)) receiver.receive(1, chunk.data(), chunk.size());
            has_failed = false;
        });
        EXPECT_EQ(has_failed ? 0 : 1, finished);
        EXPECT_EQ(has_failed ? 0 : 1, remove_received_files());
        EXPECT_EQ(Names(), errors);
        for (Bytes const& chunk : chunks_of(*message, 2, 200)) receiver.receive(1, chunk.data(), chunk.size());
        EXPECT_EQ(has_failed ? 1 : 2, finished);
        remove_received_files();
    });
}

TEST(Allocation, FailingWhileIdleMessagesAreDropped) {
    Bytes const begun = from_hex("00 80 00 10 00 00 00 01 02 04 05 07 00 01 66 15 00 00 00 01 78 85 84 04");
    Tm_limits limits;
    limits.max_held_bytes = 16;
    fail_at_every_allocation([&](auto const& attempt) {
        int dropped = 0, refused = 0;
        auto const count = [&](int, unsigned int, std::string const& text) {
            ++(text.find("message dropped") == 0 ? dropped : refused);
        };
        Tm_chunk_receiver receiver({}, count, limits);
        for (int const originator : {1, 2}) receiver.receive(originator, begun.data(), begun.size());
        for (int round = 0; round < 19; ++round) receiver.collect_garbage();
        attempt([&] { receiver.collect_garbage(); });
        receiver.collect_garbage();
        EXPECT_EQ(2, dropped);
        EXPECT_EQ(0, remove_received_files());
        receiver.receive(1, begun.data(), begun.size());
        EXPECT_EQ(0, refused) << "there is room again";
    });
}

/// Many structs with one long name that came once: neither receiving nor copying repeats it.
TEST(Allocation, OfNamesByIndexIsThatOfTheirTable) {
    std::string const name(60000, 'n');
    Tm_struct item(nullptr);
    add(item, name, 1);
    Tm_array list;
    for (int i = 0; i < 500; ++i) list.add_member(&item);
    Message inner, outer;
    for (int i = 0; i < 2000; ++i) inner.add_member(body, "n" + std::to_string(i), 1);
    inner.add_member(body, "list", &list);
    ASSERT_TRUE(inner.index_member_names());
    outer.add_member(body, "inner", &inner);
    for (Message const* const sent : {&inner, &outer}) {
        Bytes const wire = encode(*sent);
        std::size_t const before = live_bytes;
        Decoded const decoded = decode(wire, 4000);
        EXPECT_EQ("", decoded.error);
        Message const copy(*decoded.message);
        EXPECT_TRUE(copy == *sent);
        EXPECT_LT(live_bytes - before, 30 * wire.size());
    }
}

TEST(Allocation, OfACopyIsThatOfItsOwnNamesWhereTheseAreShort) {
    std::size_t const before = live_bytes;
    auto message = std::make_unique<Message>();
    for (int i = 0; i < 5000; ++i) message->add_member(body, "n" + std::to_string(i), 1);
    auto* const inner = new Tm_struct(message->shared_names());
    inner->add_member("short", 1);
    message->add_member_and_own(body, "inner", inner);
    Tm_struct const copy(*inner);
    message.reset();
    EXPECT_LT(live_bytes - before, 10000U);
}

/// Chunks that begin messages and do not end them, and some that go on: what is held depends on the
/// limits alone, and the connection's end frees it.
TEST(Allocation, OfAStormIsBounded) {
    Tm_limits limits;
    limits.max_unfinished = 10;
    limits.max_held_bytes = 10000;
    Tm_chunk_receiver receiver({}, {}, limits);
    Bytes payload = from_hex("02 04 05 07 00 01 61 0A 7F FF FF FF");
    payload.resize(300, 'x');
    Tm_header header;
    header.set_length(static_cast<unsigned int>(payload.size()));
    std::size_t after[2] = {};
    for (std::size_t& live_after : after) {
        std::size_t const before = live_bytes;
        for (unsigned int i = 0; i < 20000; ++i) {
            header.set_first_chunk(i % 3 != 0);
            header.set_seq_no(i % 7 == 0 ? i : i % 50);
            receiver.receive(1, header.record().bytes, sizeof(TM_HEADER));
            receiver.receive(1, payload.data(), payload.size());
            EXPECT_LT(live_bytes, before + 100000 + 2 * limits.max_held_bytes);
        }
        receiver.forget(1);
        live_after = live_bytes;
    }
    EXPECT_EQ(after[0], after[1]);
}

using Add_item = std::function<void(Tm_array&, int)>;

/// The bytes that are live for a decoded message with a list of so many items, for each byte of its
/// encoding, which comes in pieces of that size, or for 0 in chunks. What the process keeps of the
/// first time, it has the second time.
double live_per_byte(int count, Add_item const& add_item, std::size_t piece = 1U << 30) {
    Tm_array list;
    for (int i = 0; i < count; ++i) add_item(list, i);
    Message sent;
    sent.add_member(body, "list", &list);
    Bytes const wire = encode_chunks(sent, 1 << 23).front();
    std::size_t live_after = 0;
    for (int time = 0; time < 2; ++time) {
        std::size_t const before = live_bytes;
        Tm_bin_decoder decoder(4096);
        for (std::size_t at = 0; piece > 0 && at < wire.size(); at += piece) {
            decoder.feed(wire.data() + at, std::min(piece, wire.size() - at));
        }
        std::unique_ptr<Message> const message = piece > 0 ? nullptr : deliver(sent, 16000);
        live_after = live_bytes - before;
        EXPECT_TRUE((piece > 0 ? *decoder.message() : *message) == sent);
    }
    return static_cast<double>(live_after) / static_cast<double>(wire.size());
}

TEST(Allocation, OfDecodedValuesIsAFewTimesTheirBytes) {
    auto const expect = [](double most, int count, Add_item const& add_item) {
        for (std::size_t const piece : {1U << 30, 4096U, 0U}) {
            EXPECT_LE(live_per_byte(count, add_item, piece), most) << count << " in pieces of " << piece;
        }
    };
    expect(4, 1000, [](Tm_array& records, int i) {
        Tm_struct item(nullptr);
        auto const text = [&](int factor) { return std::string(static_cast<std::size_t>(5 + i * factor % 26), 'x'); };
        add(item, "id", long{i}, "customer", i * 7, "price", i * 0.5, "weight", i * 0.25, "active", true, "shipped",
            false, "name", text(7), "city", text(11));
        records.add_member(&item);
    });
    expect(4, 100000, [](Tm_array& numbers, int i) {
        if (i % 3 == 0) numbers.add_member(i);
        if (i % 3 == 1) numbers.add_member(long{i});
        if (i % 3 == 2) numbers.add_member(i * 0.5);
    });
    expect(4, 100000, [](Tm_array& integers, int i) { integers.add_member(i); });
    expect(1.5, 10000, [](Tm_array& texts, int) { texts.add_member(std::string(100, 'x')); });
    Tm_struct const empty(nullptr);
    expect(50, 100000, [&](Tm_array& structs, int) { structs.add_member(&empty); });
}

/// Names that all differ share nothing. They still take no more memory than a few times that of
/// equal ones.
TEST(Allocation, OfDifferentNamesIsAFewTimesThatOfEqualOnes) {
    for (int const members : {1, 3, 20}) {
        auto const measured = [&](int step) {
            return live_per_byte(1000, [=](Tm_array& list, int i) {
                Tm_struct const item = of_ints(numbered("n" + std::to_string(1000 + i * step), members));
                list.add_member(&item);
            });
        };
        EXPECT_LT(measured(1), 4 * measured(0)) << members;
    }
}

/// Small structs after large ones do not take the memory of large ones.
TEST(Allocation, OfSmallStructsIsNotThatOfLargeOnesBefore) {
    Tm_struct long_text(nullptr), no_text(nullptr);
    add(long_text, "n0", std::string(1000, 'x'));
    add(no_text, "n0", "");
    auto const expect = [](Tm_struct const& large, Tm_struct const& small) {
        Tm_struct nested(nullptr);
        add(nested, "n0", &small);
        for (Tm_struct const* const item : {&small, static_cast<Tm_struct const*>(&nested)}) {
            auto const measured = [&](int first, int each) {
                auto const is_large = [=](int i) { return i >= first && i % each == 0; };
                return live_per_byte(5000, [&](Tm_array& l, int i) { l.add_member(is_large(i) ? &large : item); });
            };
            double const alone = measured(5000, 1);
            EXPECT_LT(measured(0, 5000), 1.3 * alone) << "before";
            EXPECT_LT(measured(4999, 4999), 1.3 * alone) << "after";
            EXPECT_LT(measured(0, 100), 1.3 * alone) << "among";
            EXPECT_LT(measured(0, 2), alone) << "in turn";
        }
    };
    expect(of_ints(numbered("n", 200)), of_ints({"n0"}));
    expect(long_text, no_text);
}

/// False under valgrind and the sanitizers, whose allocators do not tell the size of a block.
bool tells_what_blocks_take() {
    std::unique_ptr<char> const block(new char);
    return ::malloc_usable_size(block.get()) > 1;
}

/// The memory of an unfinished message, as a decoder counts it for the limit.
TEST(Allocation, IsCountedWithinATenth) {
    auto const expect = [](char const* what, std::string const& item, int count, bool is_list = true) {
        Bytes wire = from_hex("02 04 84 04 05 07 00 01 61 ");
        if (is_list) wire.push_back(0x06);
        for (int i = 0; i < count; ++i) {
            Bytes bytes = from_hex(item);
            auto const number = std::search_n(bytes.begin(), bytes.end(), 5, 0xFF);
            std::string const digits = std::to_string(10000 + i % 10000);
            if (number != bytes.end()) std::copy(digits.begin(), digits.end(), number);
            wire.insert(wire.end(), bytes.begin(), bytes.end());
        }
        for (int time = 0; time < 2; ++time) {
            Tm_bin_decoder decoder(4096);
            long const blocks_before = live;
            std::size_t const before = live_bytes;
            for (std::size_t at = 0; at < wire.size(); at += 4096) {
                decoder.feed(wire.data() + at, std::min<std::size_t>(4096, wire.size() - at));
            }
            EXPECT_EQ("", decoder.error());
            if (time == 0) continue;  // frees what the process kept of others before
            auto const truth =
                static_cast<double>(live_bytes - before) + 8.0 * static_cast<double>(live - blocks_before);
            EXPECT_NEAR(1.0, static_cast<double>(decoder.memory()) / truth, tells_what_blocks_take() ? 0.1 : 0.2)
                << what;
        }
    };
    expect("integers", "11 00 00 00 01 ", 30000);
    expect("strings", "08 00 05 61 61 61 61 61 ", 20000);
    expect("arrays", "06 0C 01 86 ", 20000);
    expect("open arrays", "06 ", 900);
    expect("empty structs", "04 84 ", 20000);
    expect("structs", "04 05 07 00 01 78 0C 01 85 05 07 00 01 79 08 00 02 61 62 85 84 ", 10000);
    expect("different structs", "04 05 07 00 05 FF FF FF FF FF 0C 01 85 84 ", 10000);
    expect("open structs", "04 05 07 00 01 78 ", 900);
    expect("messages", "02 04 84 04 84 82 ", 10000);
    expect("byte strings", "0A 00 00 00 05 61 61 61 61 61 ", 10000);
    expect("members", "0C 01 85 05 07 00 05 FF FF FF FF FF ", 10000, false);
}

TEST(Allocation, OfAnUnfinishedMessageIsSmall) {
    Bytes const payload = from_hex("02 04 05 07 00 01 66 0C 01 85 84 04");
    Tm_header header;
    header.set_first_chunk(true);
    header.set_length(static_cast<unsigned int>(payload.size()));
    Receiver receiver;
    std::size_t before = 0;
    for (unsigned int i = 0; i <= 1000; ++i) {
        header.set_seq_no(i);
        receiver.receive(1, header.record().bytes, sizeof(TM_HEADER));
        receiver.take(1, payload);
        if (i == 0) before = live_bytes;
    }
    EXPECT_LT(live_bytes - before, 1000U * 1536);
    EXPECT_EQ(Names(), receiver.errors);
}

/// Structs of ever other names, of which the process keeps those of the latest ones. The last test,
/// for what it leaves the process goes while others measure.
TEST(Allocation, OfKeptNamesIsBounded) {
    std::size_t const before = live_bytes;
    for (int i = 0; i < 4000; ++i) of_ints(numbered(std::to_string(i) + std::string(1000, 'n'), 20));
    EXPECT_LT(live_bytes, before + (9U << 20));
}

}  // namespace
