#include "support/support.h"

namespace {

std::string const whole = "02 04 84 04 84 82";

/// All chunks but the last are full, and joined they are the whole encoding.
TEST(Sender, FillsHeadersAndChunks) {
    for (auto const& message : sample_messages()) {
        Bytes const encoded = encode_chunks(*message, 1 << 20).front();
        std::vector<std::size_t> sizes = {1000, encoded.size(), 1048575};
        for (std::size_t size = 1; size <= 300; ++size) sizes.push_back(size);
        for (std::size_t const size : sizes) {
            std::vector<Bytes> expected;
            for (std::size_t at = 0; at < encoded.size(); at += size) {
                auto const from = encoded.begin() + static_cast<std::ptrdiff_t>(at);
                std::size_t const left = encoded.size() - at;
                Bytes const payload(from, from + static_cast<std::ptrdiff_t>(std::min(size, left)));
                expected.push_back(chunk(at == 0, left <= size, 0x123456, payload));
            }
            ASSERT_EQ(expected, chunks_of(*message, 0x123456, static_cast<int>(size))) << size;
        }
    }
}

TEST(Sender, StopsWhenTheSinkSaysSoAndServesTheNextMessage) {
    Tm_chunk_sender sender(10);
    int calls = 0;
    EXPECT_FALSE(sender.send(*every_kind_request(), 1, 0, [&](auto...) { return ++calls < 3; }));
    EXPECT_EQ(3, calls);
    Receiver receiver;
    auto const message = indexed_request();
    auto const sink = [&](auto... bytes) { return receiver.receive(1, bytes...), true; };
    EXPECT_TRUE(sender.send(*message, 2, 0, sink));
    EXPECT_TRUE(*receiver.messages.at({1, 2}) == *message);
}

TEST(Sender, RefusesWhatTheWireCannotCarryBeforeTheFirstChunk) {
    std::string const too_long(65536, 'n');
    std::string const longest = too_long.substr(1);
    auto const send = [](Message const& message) {
        Tm_chunk_sender(10).send(message, 1, 0, [](auto...) -> bool { throw Tm_exception("a chunk was sent"); });
    };
    // The name of a method, and those of members at any place, in structs of other classes, too.
    Tm_struct const inner = Tm_struct{{too_long, 1}};
    Tm_array const array = Tm_array::of("before", &inner);
    Message nested, outer;
    nested.add_member(meta, "array", &array);
    outer.add_member(body, "message", &nested);
    char const* const names[] = {"short", too_long.c_str(), nullptr};
    char const* const short_names[] = {"a", "b", nullptr};
    Tm_prenamed_struct first(short_names, 2), last(short_names, 2), prenamed(names, 2);
    for (Tm_prenamed_struct* const one : {&first, &last, &prenamed}) {
        for (int const i : {0, 1}) one->add_member(i, true);
    }
    first.add_member(0, &inner);
    last.add_member(1, &inner);
    struct Long_named : Tm_struct {
        Long_named() : Tm_struct(of_ints({"stored"})) {}
        Long_named* clone() const override { return new Long_named; }
        char const* get_member_name(int) const override { return name_.c_str(); }
        unsigned int get_member_name_length(int) const override { return 65536; }
        std::string name_ = std::string(65536, 'n');
    } const long_named;
    std::vector<std::unique_ptr<Message>> refused;
    refused.push_back(make_message(Message::TMT_REQUEST, too_long));
    for (Message* const one : {&nested, &outer}) refused.emplace_back(one->clone());
    for (Tm_struct const* const one : std::initializer_list<Tm_struct const*>{&first, &last, &prenamed, &long_named}) {
        refused.push_back(make_message(Message::TMT_RESPONSE));
        refused.back()->add_member(body, "prenamed", one);
    }
    for (auto const& one : refused) EXPECT_THROWS("String length 65536 out of range 0..65535", send(*one));
    // The name of a response stays at home.
    EXPECT_EQ(1U, chunks_of(*make_message(Message::TMT_RESPONSE, too_long), 1, 100).size());

    auto const fitting = make_message(Message::TMT_REQUEST, longest);
    fitting->add_member(body, longest, 1);
    EXPECT_TRUE(*deliver(*fitting, 1024) == *fitting);
    EXPECT_THROWS("chunk size 0 out of range 1..1048575", Tm_chunk_sender(0));
    EXPECT_THROWS("chunk size 1048576 out of range 1..1048575", Tm_chunk_sender(1048576));
}

TEST(Sender, SendsNamesByIndexWhenAsked) {
    auto const message = every_kind_request();
    Message expected(*message);
    expected.index_member_names();
    EXPECT_TRUE(*deliver(*message, 100, Tm_chunk_sender::Names::by_index) == expected);
    EXPECT_FALSE(message->get_use_send_member_string());
}

TEST(Source, GivesTheChunksOfTheSender) {
    Scratch const scratch;
    std::string const path = scratch.file("large", "");
    std::filesystem::resize_file(path, 12000000);
    auto samples = sample_messages();
    samples.push_back(make_message(Message::TMT_RESPONSE));
    samples.back()->add_member(body, "file", path, 0U);
    for (auto const& message : samples) {
        std::size_t const whole_size = tm_encoded_size(*message);
        auto const size = static_cast<int>(std::min<std::size_t>(whole_size, 1048574));
        std::vector<int> sizes = {size - 1, size, size + 1, 1048575};
        for (int i = 1; i < 300 && whole_size < 100000; ++i) sizes.push_back(i);
        for (int const chunk_size : sizes) {
            Bytes joined;
            unsigned char const* chunk = nullptr;
            std::size_t count = 0;
            Tm_chunk_source source(*message, 0x123456, 3, chunk_size);
            while (source.next(chunk, count)) joined.insert(joined.end(), chunk, chunk + count);
            EXPECT_FALSE(source.next(chunk, count));
            Bytes expected;
            for (Bytes const& bytes : chunks_of(*message, 0x123456, chunk_size)) {
                expected.insert(expected.end(), bytes.begin(), bytes.end());
            }
            ASSERT_TRUE(expected == joined) << chunk_size;
        }
    }
    Receiver receiver;
    std::string const chunks = tm_to_chunks(*samples[0], 9, 10);
    receiver.take(1, Bytes(chunks.begin(), chunks.end()));
    EXPECT_TRUE(*receiver.messages.at({1, 9}) == *samples[0]);
    EXPECT_EQ(0U, receiver.messages.at({1, 9})->header.get_tmport());
}

TEST(Source, RefusesWhatTheSenderRefusesAndEndsAfterAnError) {
    EXPECT_THROWS("chunk size 0 out of range 1..1048575", Tm_chunk_source(Message(), 1, 0, 0));
    EXPECT_THROWS("String length 65536 out of range 0..65535",
                  Tm_chunk_source(Message::request(std::string(65536, 'n')), 1, 0, 10));
    Scratch const scratch;
    Message cut;
    auto const path = add_cut_file(scratch, [&](auto const& made) { cut.add_file(body, "file", made); });
    Tm_chunk_source source(cut, 1, 0, 100000);
    unsigned char const* chunk = nullptr;
    std::size_t size = 0;
    for (int i = 0; i < 9; ++i) EXPECT_TRUE(source.next(chunk, size));
    EXPECT_THROWS("failed to read from " + path, source.next(chunk, size));
    EXPECT_FALSE(source.next(chunk, size));
}

TEST(Receiver, ReportsWhatFailsAndLeavesTheRestAlone) {
    std::string const incomplete = "1/5 decoder expecting more data after end of buffer";
    std::string const unknown_tag = "1/5 unknown tag found: 09h at byte 1";
    std::string const stray = "1/5 chunk continues no known message";
    std::vector<std::pair<std::vector<Bytes>, Names>> const cases = {
        {{chunk(true, true, 5, "02 04 84 04 84")}, {incomplete}},
        {{chunk(true, true, 5, "")}, {incomplete}},
        {{chunk(true, true, 5, "02 09")}, {unknown_tag}},
        {{chunk(true, false, 5, "02 09"), chunk(false, false, 5, "09"), chunk(false, true, 5, "82")}, {unknown_tag}},
        {{chunk(true, false, 5, "02 09"), chunk(true, true, 5, whole), chunk(false, true, 5, "")},
         {unknown_tag, stray}},
        {{chunk(true, false, 5, "02 09"), chunk(false, true, 5, ""), chunk(false, true, 5, "")}, {unknown_tag, stray}},
        {{chunk(false, false, 5, "82"), chunk(false, true, 5, "")}, {stray, stray}},
        {{chunk(true, false, 5, "02 04"), chunk(true, true, 5, whole)}, {incomplete}},
        {{chunk(true, false, 5, whole), chunk(true, true, 5, whole)}, {"1/5 message without a last chunk"}},
        {{chunk(true, true, 5, "02 04 05 07 00 07 63 61 74 61 6C 6F 67 0C 01 85 84 04 84 82")},
         {"1/5 value of type bool accessed as type array"}}};
    for (auto const& [chunks, errors] : cases) {
        for (auto const take : {&Receiver::take, &Receiver::take_bytewise}) {
            Receiver receiver;
            (receiver.*take)(1, chunk(true, false, 99, "02 04 84"));
            for (Bytes const& bytes : chunks) (receiver.*take)(1, bytes);
            (receiver.*take)(1, chunk(false, true, 99, "04 84 82"));
            EXPECT_EQ(errors, receiver.errors);
            EXPECT_EQ(1U, receiver.messages.count({1, 99}));
        }
    }
}

TEST(Receiver, DropsIdleMessagesAndForgetsConnections) {
    Receiver receiver;
    for (int const originator : {1, 2, 3}) receiver.take(originator, chunk(true, false, 5, "02"));
    receiver.take(3, {0x00, 0xC0, 0x00});
    receiver.forget(3);
    for (int round = 0; round < 19; ++round) receiver.collect_garbage();
    EXPECT_EQ(Names(), receiver.errors);
    receiver.take(2, chunk(false, false, 5, "04"));
    receiver.collect_garbage();
    receiver.take(1, chunk(false, true, 5, "82"));
    EXPECT_EQ(
        (Names{"1/5 message dropped: no data since 20 collections of garbage", "1/5 chunk continues no known message"}),
        receiver.errors);
    receiver.take(2, chunk(false, true, 5, "84 04 84 82"));
    receiver.take(3, chunk(true, true, 5, whole));
    EXPECT_EQ(2U, receiver.messages.size());
}

TEST(Receiver, ReportsWhatTheEndOfAStreamLeavesUnfinished) {
    std::string const file = "02 04 84 04 05 07 00 01 66 15 00 00 00 01 78 ";
    Receiver receiver;
    receiver.take(1, chunk(true, false, 9, file));
    receiver.take(1, chunk(true, false, 7, whole));
    receiver.take(1, chunk(true, false, 8, "02 09"));
    receiver.take(1, {0x00, 0x80, 0x00});
    receiver.take(2, chunk(true, false, 7, "02 04 84"));
    receiver.finish(1);
    receiver.finish(1);
    receiver.finish(3);
    EXPECT_EQ(
        rows("1/8 unknown tag found: 09h at byte 1", "1/7 message without a last chunk",
             "1/9 decoder expecting more data after end of buffer", "1/0 stream ends within the header of a chunk"),
        receiver.errors);
    EXPECT_EQ(0, remove_received_files());
    receiver.take(1, chunk(false, true, 9, "82"));
    EXPECT_EQ("1/9 chunk continues no known message", receiver.errors.back()) << "the connection is new";
    receiver.take(2, chunk(false, true, 7, "04 84 82"));
    EXPECT_EQ(1U, receiver.messages.size()) << "others go on";
    // A chunk of which the end is missing.
    Bytes cut = chunk(true, true, 7, whole);
    cut.pop_back();
    receiver.take(1, cut);
    receiver.finish(1);
    EXPECT_EQ("1/7 decoder expecting more data after end of buffer", receiver.errors.back());
}

/// Its further chunks are ignored while they keep coming, and are unknown after that.
TEST(Receiver, RemembersAFailedMessageLikeAnUnfinishedOne) {
    Receiver receiver;
    receiver.take(1, chunk(true, false, 5, "02 09"));
    for (int const rounds : {19, 19, 20}) {
        EXPECT_EQ(1U, receiver.errors.size());
        for (int round = 0; round < rounds; ++round) receiver.collect_garbage();
        receiver.take(1, chunk(false, false, 5, "00"));
    }
    EXPECT_EQ((Names{"1/5 unknown tag found: 09h at byte 1", "1/5 chunk continues no known message"}), receiver.errors);
    receiver.take(1, chunk(true, false, 6, "02 09"));
    receiver.take(1, chunk(true, false, 6, "02 04 84"));
    receiver.take(1, chunk(false, true, 6, "04 84 82"));
    EXPECT_EQ(1U, receiver.messages.size()) << "a new message of that number is no longer ignored";
}

/// Complete files of messages that fail, are replaced, age, or whose connection goes.
TEST(Receiver, RemovesTheFilesOfWhatItDrops) {
    std::string const file = "02 04 84 04 05 07 00 01 66 06 04 05 07 00 01 67 15 00 00 00 01 78 ";
    Receiver receiver;
    receiver.take(1, chunk(true, false, 1, file + "09"));
    receiver.take(1, chunk(true, true, 2, file));
    receiver.take(1, chunk(true, false, 3, file));
    receiver.take(1, chunk(true, false, 3, "02"));
    receiver.take(1, chunk(true, false, 4, file));
    for (int round = 0; round < 20; ++round) receiver.collect_garbage();
    receiver.take(1, chunk(true, false, 5, file));
    receiver.forget(1);
    EXPECT_EQ(5U, receiver.errors.size());
    EXPECT_EQ(0, remove_received_files());
    receiver.take(1, chunk(true, true, 6, file + "85 84 86 85 84 82"));
    EXPECT_EQ(1, remove_received_files());
}

/// The limit on held bytes counts all but the contents of files, for any cut of the input. Here a
/// piece of a file of 1,000 bytes waits in memory until it is whole.
TEST(Receiver, DoesNotCountFilesAsHeld) {
    Scratch const scratch;
    Message message;
    message.add_member(body, "file", scratch.file("f", pattern(1000)), 0U);
    std::size_t const other_bytes = encode(message).size() - 1000;
    auto const arrives = [&](unsigned long limit, int chunk_size, auto take) {
        Tm_limits limits;
        limits.max_held_bytes = limit;
        Receiver receiver(limits);
        for (Bytes const& bytes : chunks_of(message, 1, chunk_size)) (receiver.*take)(1, bytes);
        bool const has_room = !receiver.messages.empty();
        std::string const error = "1/1 more than " + std::to_string(limit) + " bytes in unfinished messages";
        EXPECT_EQ(has_room ? Names() : Names{error}, receiver.errors);
        EXPECT_EQ(has_room ? 1 : 0, remove_received_files());
        return has_room;
    };
    auto const first_fitting = [&](int chunk_size, auto take) {
        unsigned long limit = 20;
        while (limit < 1000 && !arrives(limit, chunk_size, take)) ++limit;
        return limit;
    };
    unsigned long const needed = first_fitting(1, &Receiver::take);
    EXPECT_LE(other_bytes, needed);
    EXPECT_LE(needed, other_bytes + 128);
    for (int const chunk_size : {7, 100, 5000}) {
        EXPECT_EQ(needed, first_fitting(chunk_size, &Receiver::take)) << chunk_size;
        EXPECT_EQ(needed, first_fitting(chunk_size, &Receiver::take_bytewise)) << chunk_size;
    }

    // One with holes, too large to be mapped, and what comes behind it.
    std::string const path = scratch.file("holes", "");
    std::filesystem::resize_file(path, 12000000);
    Message large;
    large.add_member(body, "file", path, 0U);
    large.add_member(body, "more", std::string(600, 'x'));
    for (auto const& [limit, arrived] : {std::pair(400UL, 0), {900UL, 1}}) {
        Tm_limits limits;
        limits.max_held_bytes = limit;
        Receiver receiver(limits);
        receiver.take_all(1, chunks_of(large, 1, 100000));
        ASSERT_EQ(arrived, static_cast<int>(receiver.messages.size()));
        for (auto const& [key, received] : receiver.messages) {
            EXPECT_TRUE(content_of(path) == content_of(received->get_member_file(body, "file")->path()));
        }
        EXPECT_EQ(arrived, remove_received_files());
    }
}

TEST(Receiver, SurvivesItsHandlers) {
    Bytes const one = chunk(true, true, 1, whole);
    Bytes two = one;
    two.insert(two.end(), one.begin(), one.end());
    int arrived = 0;
    auto const throw_always = [&](auto&&...) { throw Tm_exception("handler " + std::to_string(++arrived)); };
    Tm_chunk_receiver throwing(throw_always, nullptr);
    EXPECT_THROWS("handler 1", throwing.receive(1, two.data(), two.size()));
    EXPECT_EQ(2, arrived) << "the rest was read";

    // Bytes that the forgotten connection had sent already are dropped.
    std::unique_ptr<Tm_chunk_receiver> forgetting;
    auto const forget = [&](auto&&, int originator, auto&&) {
        ++arrived;
        forgetting->forget(originator);
    };
    forgetting = std::make_unique<Tm_chunk_receiver>(forget, nullptr);
    for (int const expected : {3, 4}) {
        forgetting->receive(1, two.data(), two.size());
        EXPECT_EQ(expected, arrived);
    }
}

}  // namespace
