/// Memory that runs out at every point of every operation: std::bad_alloc reaches the caller, nothing
/// leaks, and what should be as before is so. And memory that strangers may make a receiver hold.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>

#include "support/support.h"

namespace {

long allowed = -1;        ///< allocations until one fails; negative: all succeed
bool fails_once = false;  ///< those behind it succeed
bool has_failed = false;
long live = 0;
std::size_t live_bytes = 0;

/// Stands in front of each block.
struct alignas(16) Head {
    std::size_t size;
};

/// The bytes that malloc gives to a block of this size when it has room to choose.
std::size_t usable(std::size_t size) { return std::max<std::size_t>(24, (size + 7) / 16 * 16 + 8); }

void* allocate(std::size_t size) {
    if (allowed == 0) {
        has_failed = true;
        if (fails_once) allowed = -1;
        throw std::bad_alloc();
    }
    if (allowed > 0) --allowed;
    auto* const head = static_cast<Head*>(std::malloc(sizeof(Head) + size));
    if (head == nullptr) throw std::bad_alloc();
    head->size = usable(size);
    ++live;
    live_bytes += head->size;
    return head + 1;
}

void* allocate_or_null(std::size_t size) noexcept {
    try {
        return allocate(size);
    } catch (std::bad_alloc const&) { return nullptr; }
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    Head* const head = static_cast<Head*>(memory) - 1;
    --live;
    live_bytes -= head->size;
    std::free(head);
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

/// Tries an operation. Returns false when its memory ran out.
using Attempt = std::function<bool(std::function<void()> const&)>;

struct Case {
    char const* name;
    std::function<void(Attempt const&)> run;
};

/// Makes an object, tries the operation on it, and has `check(object, done)` expect the invariant.
template <class Make, class Try, class Check>
Case row(char const* name, Make make, Try operation, Check check) {
    return {name, [=](Attempt const& attempt) {
                auto object = make();
                check(object, attempt([&] { operation(object); }));
            }};
}

/// An operation that leaves nothing behind.
template <class Try>
Case row(char const* name, Try operation) {
    return {name, [=](Attempt const& attempt) { attempt(operation); }};
}

/// Runs the operation. Returns false when the allocation behind `n` others has failed it.
bool attempt_with(long n, std::function<void()> const& operation) {
    bool is_done = true;
    allowed = n;
    try {
        operation();
    } catch (std::bad_alloc const&) { is_done = false; }
    allowed = -1;
    return is_done;
}

/// Runs each case with its first, second, ... allocation failing until none fails: that one alone, and
/// all behind it.
void expect_each_allocation_may_fail(std::vector<Case> const& cases) {
    // Under valgrind both ways would take minutes.
    std::size_t const step = std::getenv("FAIL_ALONE_ONLY") == nullptr ? 1 : 2;
    for (std::size_t i = 0; i < 2 * cases.size(); i += step) {
        SCOPED_TRACE(cases[i / 2].name);
        fails_once = i % 2 == 0;
        has_failed = true;
        for (long n = 0; has_failed; ++n) {
            ASSERT_LT(n, 100000);
            has_failed = false;
            // The process keeps memory of the first times, which the last time uses again.
            long after[3] = {};
            for (long& live_after : after) {
                cases[i / 2].run([n](std::function<void()> const& operation) { return attempt_with(n, operation); });
                live_after = live;
            }
            ASSERT_EQ(after[1], after[2]) << "leaked when allocation " << n << " failed";
        }
    }
}

char const long_name[] = "a name that is longer than fifteen bytes";

std::unique_ptr<Message> sample() {
    auto message = indexed_request();
    auto const inner = nested_struct();
    auto const bytes = binary_of(pattern(300));
    Tm_array deep;
    for (int depth = 0; depth < 20; ++depth) deep = Tm_array::of(&deep);
    add(message->get_struct(meta), long_name, &inner, "bytes", &bytes, "deep", &deep);
    return message;
}

/// Each kind of member, added to a struct that has one; a value given away is freed by a failure.
TEST(Allocation, FailingWhileBuildingLeavesTheContainerAsItWas) {
    Scratch const scratch;
    auto const inner = nested_struct();
    auto const bytes = binary_of(pattern(300));
    // As many members as a struct has room for at first.
    auto const make = [] {
        auto message = make_message(Message::TMT_FAULT);
        message->set_use_send_member_string(true);
        for (int i = 0; i < 8; ++i) message->add_member(body, "first", i);
        return message;
    };
    auto const check = [=](auto const& message, bool done) {
        if (done) return;
        auto const expected = make();
        EXPECT_TRUE(*message == *expected);
        for (Message* const changed : {message.get(), expected.get()}) changed->add_member(body, "other", 1);
        // Names and indexes are in step.
        message->create_send_member_string_meta();
        Decoded const decoded = decode(encode(*message));
        EXPECT_EQ("", decoded.error);
        EXPECT_TRUE(decoded.message->get_const_struct(body) == expected->get_const_struct(body));
    };
    auto const adding = [&](char const* what, auto... datum) {
        return row(
            what, make, [=](auto const& message) { message->add_member(body, long_name, datum...); }, check);
    };
    expect_each_allocation_may_fail({
        adding("integer", 1),
        adding("string", pattern(300)),
        adding("bytes", &bytes),
        adding("file", scratch.file("f", "content"), 0U),
        adding("struct", &inner),
        row(
            "own struct", make, [&](auto& m) { m->add_member_and_own(body, long_name, new Tm_struct(inner)); }, check),
        row(
            "fault string", make, [](auto& m) { m->set_fault_string(long_name); }, check),
        row(
            "own struct in an array", [] { return Tm_array(); },
            [&](Tm_array& array) { array.add_member_and_own(new Tm_struct(inner)); },
            [](Tm_array& array, bool done) { EXPECT_EQ(done ? 1 : 0, array.get_member_count()); }),
    });
}

TEST(Allocation, FailingWhileCopyingAndAssigning) {
    Scratch const scratch;
    auto const message = sample();
    message->add_member(body, "file", scratch.file("f", "content"), 0U);
    message->index_member_names();
    Tm_struct const& source = message->get_const_struct(meta);
    Tm_struct const kept = Tm_struct{{"kept", 1}};
    Tm_catalog<std::string> index;
    Tm_struct indexed(nullptr);
    indexed.add_member(long_name, long_name, &index);
    struct Pair {
        Pair() { left.add_member(body, long_name, 1); }
        Message left, right;
        std::unique_ptr<Message> content;
    };
    auto const pair = [] { return std::make_unique<Pair>(); };
    expect_each_allocation_may_fail({
        row("copied", [&] { Message const copy(*message); }),
        row(
            "struct assigned", [&] { return Tm_struct(kept); }, [&](Tm_struct& target) { target = source; },
            [&](Tm_struct& target, bool done) { EXPECT_TRUE(target == (done ? source : kept)); }),
        row(
            "array assigned", every_length, [source = every_scalar()](Tm_array& target) { target = source; },
            [](Tm_array& target, bool done) {
                EXPECT_EQ(done, target == every_scalar());
                EXPECT_EQ(done, target.get_member_count() == every_scalar().get_member_count());
            }),
        row(
            "message swapped and taken", pair,
            [](auto& two) {
                two->left.swap(two->right);
                two->content = two->right.take_content();
            },
            [](auto& two, bool) {
                EXPECT_TRUE((two->content != nullptr ? *two->content : two->right) == Pair().left);
            }),
        row(
            "body swapped", pair, [](auto& two) { two->left.get_struct(body).swap(two->right.get_struct(body)); },
            [](auto& two, bool done) {
                EXPECT_TRUE((done ? two->right : two->left) == Pair().left);
                EXPECT_TRUE((done ? two->left : two->right) == Message());
            }),
        row(
            "indexed", [&] { return std::make_unique<Message>(*message); },
            [](auto& one) { one->index_member_names(); },
            [&](auto& one, bool done) { EXPECT_TRUE(done || *one == *message); }),
        row(
            "clone swapped",
            [&] { return std::pair(std::unique_ptr<Tm_struct>(indexed.clone()), std::make_unique<Tm_struct>(kept)); },
            [](auto& two) { two.second->swap(*two.first); },
            [&](auto& two, bool done) {
                EXPECT_EQ(events_of(indexed, true), events_of(done ? *two.second : *two.first, true));
                EXPECT_EQ(events_of(kept, true), events_of(done ? *two.first : *two.second, true));
            }),
        row(
            "indexed for the first time", every_kind_request, [](auto& one) { one->index_member_names(); },
            [](auto& one, bool done) { EXPECT_TRUE(done || *one == *every_kind_request()); }),
    });
}

TEST(Allocation, FailingWhileEncodingAndDecoding) {
    auto const message = sample();
    Bytes const wire = encode(*message);
    Bytes const hostile = from_hex("02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 86 85 84 04 05 07 00 09");
    std::string const text =
        R"(request {name "a b" struct {} struct {"a \"name\"" {array {string "a\nb" double +1}}}})";
    std::string const json = text_of<Tm_typed_json_encoder>(*message);
    std::string const bad_text = "request {name a struct {catalog {int32_t 1}} struct {}}";
    auto const ignore = [](unsigned char const*, std::size_t) { return true; };
    auto const new_decoder = [] { return std::make_unique<Tm_bin_decoder>(4096); };
    auto const new_text_decoder = [] { return std::make_unique<Tm_tcl_decoder>(); };
    auto const check_failed = [](auto const& decoder, bool) { EXPECT_NE("", decoder->error()); };
    expect_each_allocation_may_fail({
        row("encoded", [&] { encode_chunks(*message, 10); }),
        row("sent", [&] { Tm_chunk_sender(10).send(*message, 1, 2, ignore, Tm_chunk_sender::Names::by_index); }),
        row("XML", [&] { xml_of(*message, 300); }),
        row("JSON", [&] { tm_to_json(*message); }),
        row("list text", [&] { tm_to_text(*message); }),
        row("read from text", [&] { Message::from_string(text); }),
        row("typed JSON", [&] { text_of<Tm_typed_json_encoder>(*message, 1); }),
        row(
            "typed JSON decoded", [] { return std::make_unique<Tm_typed_json_decoder>(); },
            [&](auto const& decoder) { decoder->decode(json); },
            [&](auto const& decoder, bool done) {
                EXPECT_TRUE(done == decoder->error().empty() && done == (decoder->get_value() != nullptr));
                EXPECT_TRUE(decoder->decode(json) && *decoder->get_value() == *message);
            }),
        row(
            "decoded", new_decoder,
            [&](auto const& decoder) {
                feed(*decoder, wire, 100);
                decoder->init();
            },
            [&](auto const& decoder, bool) {
                decoder->init();
                feed(*decoder, wire, 100);
                EXPECT_TRUE(*decoder->message() == *message) << decoder->error();
            }),
        row(
            "bad input", new_decoder, [&](auto const& decoder) { tm_feed(*decoder, hostile.data(), hostile.size()); },
            check_failed),
        row(
            "bad text", new_text_decoder,
            [&](auto const& decoder) { text_thrown_by([&] { decoder->decode(bad_text); }); }, check_failed),
        row(
            "text decoded", new_text_decoder, [&](auto const& decoder) { decoder->decode(text); },
            [&](auto const& decoder, bool) {
                decoder->decode(text);
                EXPECT_EQ("", decoder->error());
            }),
    });
}

/// Just before the tables of names become larger, and a name that is there already. The names are so
/// long that the process keeps none.
TEST(Allocation, FailingWhileANameIsAdded) {
    auto const adding = [](int count, int repeated) {
        return [=](Attempt const& attempt) {
            Names const names = numbered(std::string(5000, 'n'), count);
            std::string const name = repeated < 0 ? "one more" : names.at(5);
            Tm_catalog<std::string> catalog;
            for (std::string const& known : names) catalog.add(known);
            Tm_struct value = of_ints(names);
            EXPECT_EQ(count - 1, value.get_number(names.back().c_str()));
            bool const is_added = attempt([&] { catalog.add(name); });
            EXPECT_EQ(is_added || repeated >= 0, catalog.find(name) != nullptr);
            EXPECT_EQ(repeated < 0 ? count : repeated, static_cast<int>(catalog.add(name)->second));
            bool const is_member = attempt([&] { value.add_member(name, 1); });
            EXPECT_EQ(is_member ? count : repeated, value.get_member_index(name.c_str()));
            if (!is_member) value.add_member(name, 1);
            value.get_number(names.back().c_str());
            EXPECT_EQ(count, value.get_number(name.c_str()));
        };
    };
    expect_each_allocation_may_fail(
        {{"9th", adding(8, -1)}, {"17th", adding(16, -1)}, {"33rd", adding(32, -1)}, {"again", adding(32, 5)}});
}

/// The event that failed is passed again.
TEST(Allocation, FailingWhileCreating) {
    using Event = void (*)(Tm_creator&);
    std::vector<Event> events = {
        [](Tm_creator& c) { c.visit_array_begin(); },   [](Tm_creator& c) { c.visit_struct_begin(); },
        [](Tm_creator& c) { c.visit_member_begin(1); }, [](Tm_creator& c) { c.visit_member_continue("m", 1); },
        [](Tm_creator& c) { c.visit_int32(7); },        [](Tm_creator& c) { c.visit_member_end(); },
        [](Tm_creator& c) { c.visit_struct_end(); },    [](Tm_creator& c) { c.visit_string_begin(60); },
    };
    events.insert(events.end(), 2,
                  [](Tm_creator& c) { c.visit_string_continue(std::string_view(long_name).data(), 30); });
    // So many that the array gives room back in the end; it need not.
    events.insert(events.end(), 16, [](Tm_creator& c) { c.visit_int32(8); });
    events.push_back([](Tm_creator& c) { c.visit_array_end(); });
    Tm_struct const first = Tm_struct{{"m", 7}};
    std::string const half(long_name, 30);
    Tm_array list = Tm_array::of(&first, half + half);
    for (int i = 0; i < 16; ++i) list.add_member(8);
    Tm_array const expected = Tm_array::of(&list);
    auto const creating = [&](Attempt const& attempt) {
        Tm_array target;
        Tm_creator creator(&target);
        std::size_t next = 0;
        auto const go_on = [&] {
            for (; next < events.size(); ++next) events[next](creator);
        };
        attempt(go_on);
        go_on();
        EXPECT_EQ("", creator.error());
        EXPECT_TRUE(target == expected);
    };
    expect_each_allocation_may_fail({{"events", creating}});
}

/// A message with a file arrives or std::bad_alloc says why not; the next one is not its concern.
TEST(Allocation, FailingWhileReassembling) {
    Scratch const scratch;
    auto const message = sample();
    message->add_member(meta, "file", scratch.file("f", "content"), 0U);
    Bytes const begun = from_hex("00 80 00 10 00 00 00 01 02 04 05 07 00 01 66 15 00 00 00 01 78 85 84 04");
    Tm_limits limits;
    limits.max_held_bytes = 16;
    auto const reassembled = [&](Attempt const& attempt) {
        int finished = 0;
        Names errors;
        Tm_chunk_receiver receiver(
            [&](std::unique_ptr<Message> got, int, Tm_header const&) { finished += got->get_member_count(meta) > 0; },
            [&](int, unsigned int, std::string const& error) { errors.push_back(error); });
        auto const receive = [&](Bytes const& chunk) { receiver.receive(1, chunk.data(), chunk.size()); };
        for (Bytes const& chunk : chunks_of(Message(), 7, 200)) receive(chunk);
        auto const chunks = chunks_of(*message, 1, 200);
        std::size_t next = 0;
        bool const done = attempt([&] {
            while (next < chunks.size()) receive(chunks[next++]);
        });
        // The rest of a message that failed is ignored, where there is memory again.
        while (next < chunks.size()) receive(chunks[next++]);
        EXPECT_EQ(done ? 1 : 0, finished);
        EXPECT_EQ(done ? 1 : 0, remove_received_files());
        if (done || fails_once) { EXPECT_EQ(Names(), errors); }
        for (Bytes const& chunk : chunks_of(*message, 2, 200)) receive(chunk);
        EXPECT_EQ(done ? 2 : 1, finished);
        remove_received_files();
    };
    auto const idle = [&](Attempt const& attempt) {
        int dropped = 0, refused = 0;
        auto const count = [&](int, unsigned int, std::string const& error) {
            ++(error.find("message dropped") == 0 ? dropped : refused);
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
    };
    auto const ended = [&](Attempt const& attempt) {
        int errors = 0;
        Tm_chunk_receiver receiver({}, [&](int, unsigned int, std::string const&) { ++errors; });
        receiver.receive(1, begun.data(), begun.size());
        receiver.receive(1, begun.data(), 3);
        EXPECT_EQ(attempt([&] { receiver.finish(1); }) ? 2 : 0, errors);
        receiver.finish(1);
        EXPECT_EQ(2, errors);
        EXPECT_EQ(0, remove_received_files());
    };
    expect_each_allocation_may_fail(
        {{"reassembled", reassembled}, {"idle ones dropped", idle}, {"stream ended", ended}});
}

TEST(Allocation, FailingWhileCallsStartAndAreAnswered) {
    auto const started = [](Attempt const& attempt) {
        Tm_caller caller;
        caller.start({}, [](auto&&) {});
        bool const done = attempt([&] { caller.start({}, [](auto&&) {}); });
        EXPECT_EQ(done ? 2U : 1U, caller.waiting());
        EXPECT_EQ(done ? 3U : 2U, caller.start({}, [](auto&&) {}));
        caller.expire({});
        EXPECT_EQ(0U, caller.waiting());
    };
    Tm_service service;
    service.on("known", [](Message const& request) { return Message::request(request.get_request_name()); });
    auto const answered = [&](Attempt const& attempt) {
        for (char const* const name : {"known", "unknown"}) {
            Message const request = Message::request(name);
            attempt([&] { service.answer(request); });
        }
    };
    expect_each_allocation_may_fail({{"started", started}, {"answered", answered}});
}

/// Of a message whose wire indexes are wrong, so that a copy is sent.
TEST(Allocation, FailingWhileACorrectedCopyIsSent) {
    auto const message = sample();
    message->add_member(body, "not indexed", 1);
    std::string const bytes = "before" + tm_to_bytes(*message);
    std::string const chunks = tm_to_chunks(*message, 1, 100);
    auto const appended = [&](Attempt const& attempt) {
        std::string out = "before";
        bool const done = attempt([&] { tm_append_bytes(out, *message); });
        EXPECT_EQ(done ? bytes : "before", out);
    };
    auto const cut = [&](Attempt const& attempt) {
        std::string out;
        bool const done = attempt([&] { out = tm_to_chunks(*message, 1, 100); });
        EXPECT_EQ(done ? chunks : "", out);
    };
    expect_each_allocation_may_fail({{"appended", appended}, {"cut", cut}});
}

TEST(Allocation, OfAClearedContainerIsUsedAgain) {
    Tm_array array;
    Tm_struct value(nullptr);
    std::size_t const before = live_bytes;
    for (int round = 0; round < 1000; ++round) {
        array.add_member(std::string(1000, 'x'));
        value.add_member("text", std::string(1000, 'x'));
        array.clear();
        value.clear();
    }
    EXPECT_LT(live_bytes, before + 10000);
}

/// Many structs with one long name that came once: neither receiving nor copying repeats it.
/// A stack, a queue, and a member that comes and goes.
TEST(Allocation, OfTextsEndsSoonAfterTheyWereRemoved) {
    std::string const text(100, 'x');
    Tm_array stack{"bottom"};
    Tm_array queue{text, text};
    Tm_struct members{{"k", "v"}};
    std::size_t const before = live_bytes;
    for (int i = 0; i < 10000; ++i) {
        stack.add_member(text);
        stack.add_member(text);
        stack.take_value(2);
        stack.set_value(1, i);
        stack.remove_values(1);
        queue.add_member(text);
        queue.take_value(0);
        members.set_member("text", text);
        members.remove_member("text");
    }
    EXPECT_LT(live_bytes, before + (2U << 16));
    EXPECT_EQ((Tm_array{text, text}), queue);
    EXPECT_EQ("bottom", stack.get_member_text(0));
}

TEST(Allocation, OfNamesByIndexIsThatOfTheirTable) {
    Tm_struct const item = Tm_struct{{std::string(60000, 'n'), 1}};
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
        Message const copy(*decoded.message);
        EXPECT_TRUE(copy == *sent) << decoded.error;
        EXPECT_LT(live_bytes - before, 8 * wire.size());
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
    std::size_t after[2] = {};
    for (std::size_t& live_after : after) {
        std::size_t const before = live_bytes;
        for (unsigned int i = 0; i < 20000; ++i) {
            Bytes const bytes = chunk(i % 3 != 0, false, i % 7 == 0 ? i : i % 50, payload);
            receiver.receive(1, bytes.data(), bytes.size());
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
    Tm_struct const empty(nullptr), forty = of_ints(numbered("", 40));
    auto const add_record = [](Tm_array& records, int i) {
        auto const text = [&](int factor) { return std::string(static_cast<std::size_t>(5 + i * factor % 26), 'x'); };
        Tm_struct const item =
            Tm_struct{{"id", long{i}},  {"customer", i * 7}, {"price", i * 0.5}, {"weight", i * 0.25},
                      {"active", true}, {"shipped", false},  {"name", text(7)},  {"city", text(11)}};
        records.add_member(&item);
    };
    auto const add_number = [](Tm_array& numbers, int i) {
        if (i % 3 == 0) numbers.add_member(i);
        if (i % 3 == 1) numbers.add_member(long{i});
        if (i % 3 == 2) numbers.add_member(i * 0.5);
    };
    struct Row {
        double most;
        int count;
        Add_item add_item;
    };
    auto const add_int = [](Tm_array& integers, int i) { integers.add_member(i); };
    auto const add_text = [](Tm_array& texts, int) { texts.add_member(std::string(100, 'x')); };
    auto const add_empty = [&](Tm_array& structs, int) { structs.add_member(&empty); };
    auto const add_large = [&](Tm_array& structs, int) { structs.add_member(&forty); };
    std::vector<Row> const table = {{4, 1000, add_record},  {4, 100000, add_number}, {4, 100000, add_int},
                                    {1.5, 10000, add_text}, {50, 100000, add_empty}, {3.2, 1000, add_large}};
    for (Row const& row : table) {
        for (std::size_t const piece : {1U << 30, 4096U, 0U}) {
            EXPECT_LE(live_per_byte(row.count, row.add_item, piece), row.most)
                << row.count << " in pieces of " << piece;
        }
    }
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
    auto const expect = [](Tm_struct const& large, Tm_struct const& small) {
        Tm_struct const nested = Tm_struct{{"n0", &small}};
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
    expect(Tm_struct{{"n0", std::string(1000, 'x')}}, Tm_struct{{"n0", ""}});
}

/// The memory of an unfinished message, as a decoder counts it for the limit.
TEST(Allocation, IsCountedWithinATenth) {
    struct Row {
        std::string what;
        std::string item;  ///< FF FF FF FF FF stands for five digits that differ
        int count;
        std::string start = "02 04 84 04 05 07 00 01 61 06 ";
        std::string end = "";
    };
    std::string thirty;
    for (int i = 0; i < 30; ++i) thirty += "05 07 00 01 61 0C 01 85 ";
    std::string const table = "02 04 05 07 00 07 63 61 74 61 6C 6F 67 06 ";
    for (Row const& row : {
             Row{"files", "15 00 00 00 02 61 62", 200},
             {"integers", "11 00 00 00 01", 30000},
             {"strings", "08 00 05 61 61 61 61 61", 20000},
             {"arrays", "06 0C 01 86", 20000},
             {"open arrays", "06", 900},
             {"empty structs", "04 84", 20000},
             {"structs", "04 05 07 00 01 78 0C 01 85 05 07 00 01 79 08 00 02 61 62 85 84", 10000},
             {"different structs", "04 05 07 00 05 FF FF FF FF FF 0C 01 85 84", 10000},
             {"open structs", "04 05 07 00 01 78", 900},
             {"messages", "02 04 84 04 84 82", 10000},
             {"large messages", "02 04 " + thirty + "84 04 84 82", 2000},
             {"trimmed arrays", "06 0C 01 0C 01 0C 01 0C 01 0C 01 0C 01 0C 01 0C 01 0C 01 86", 5000},
             {"named messages", "00 01 00 64 61 2E " + to_hex(Bytes(98, 'x')) + " 04 84 04 84 80", 3000},
             {"open messages", "02 04 84 04 05 07 00 01 61", 490, "02 04 84 04 05 07 00 01 61"},
             {"byte strings", "0A 00 00 00 05 61 61 61 61 61", 10000},
             {"long byte strings", "0A 00 00 27 10 " + to_hex(Bytes(10000, 'x')), 100},
             {"members", "0C 01 85 05 07 00 05 FF FF FF FF FF", 10000, "02 04 84 04 05 07 00 01 61"},
             {"names in a table", "08 00 05 FF FF FF FF FF", 10000, table, "86 85 84 04"},
         }) {
        Bytes wire = from_hex(row.start);
        Bytes const item = from_hex(row.item), end = from_hex(row.end);
        auto const number = std::search_n(item.begin(), item.end(), 5, 0xFF) - item.begin();
        for (int i = 0; i < row.count; ++i) {
            wire.insert(wire.end(), item.begin(), item.end());
            std::string const digits = std::to_string(10000 + i % 10000);
            bool const differs = number < static_cast<std::ptrdiff_t>(item.size());
            if (differs)
                std::copy(digits.begin(), digits.end(), wire.end() - static_cast<std::ptrdiff_t>(item.size()) + number);
        }
        wire.insert(wire.end(), end.begin(), end.end());
        for (bool const is_measured : {false, true}) {  // the first time frees what the process kept of others
            Tm_bin_decoder decoder(4096);
            long const blocks_before = live;
            std::size_t const before = live_bytes;
            for (std::size_t at = 0; at < wire.size(); at += 4096) {
                decoder.feed(wire.data() + at, std::min<std::size_t>(4096, wire.size() - at));
            }
            EXPECT_EQ("", decoder.error());
            EXPECT_TRUE(tm_remove_received_files(decoder.received_files()));
            double const truth =
                static_cast<double>(live_bytes - before) + 8.0 * static_cast<double>(live - blocks_before);
            if (!is_measured) continue;
            EXPECT_NEAR(1.0, static_cast<double>(decoder.memory()) / truth, 0.1) << row.what;
        }
    }
}

TEST(Allocation, OfAnUnfinishedMessageIsSmall) {
    Bytes const payload = from_hex("02 04 05 07 00 01 66 0C 01 85 84 04");
    Receiver receiver;
    std::size_t before = 0;
    for (unsigned int i = 0; i <= 1000; ++i) {
        receiver.take(1, chunk(true, false, i, payload));
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
