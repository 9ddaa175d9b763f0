#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tmsg/tmsg.h>

#include <cstring>

#include "support/bytes.h"
#include "support/codec.h"
#include "support/recorder.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

TEST(File, IsMappedBelowTheLimit) {
    Scratch const scratch;
    struct Case {
        unsigned int size;
        bool mapped;
        bool in_memory;
    };
    for (Case const& c : {Case{0, false, true}, Case{300, true, true}, Case{11263999, true, true},
                          Case{11264000, false, false}}) {
        std::string const path = scratch.file("f", std::string(c.size, 'x'));
        Tm_file const file(path, 0);
        EXPECT_EQ(c.size, file.size());
        EXPECT_EQ(c.mapped, file.mapping() != nullptr) << c.size;
        EXPECT_EQ(c.in_memory, file.in_memory()) << c.size;
        EXPECT_GT(file.descriptor(), 0);
        EXPECT_NE(0, ::fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC);
    }
}

TEST(File, SendsWhatTheMappingHolds) {
    Scratch const scratch;
    std::string const content = pattern(300);
    auto const events = events_of(Tm_file(scratch.file("f", content), 0));
    ASSERT_EQ(4U, events.size());
    EXPECT_EQ("file_begin(300)", events[0]);
    EXPECT_EQ("file(" + content.substr(0, 128) + ")", events[1]);
    EXPECT_EQ("file(" + content.substr(256) + ")", events[3]);
    EXPECT_EQ(std::vector<std::string>{"file_begin(0)"},
              events_of(Tm_file(scratch.file("empty", ""), 0)));
}

TEST(File, ThatCannotBeUsedThrows) {
    Scratch const scratch;
    std::string const missing = scratch.path("missing");
    EXPECT_EQ("failed to open " + missing,
              text_thrown_by<Tm_file_open_exception>([&] { Tm_file const file(missing, 0); }));
    std::string const folder = scratch.path("");
    EXPECT_EQ("failed to map " + folder,
              text_thrown_by<Tm_file_mapping_exception>([&] { Tm_file const file(folder, 0); }));
    int const free_before = ::open("/dev/null", O_RDONLY);
    ::close(free_before);
    int const free_after = ::open("/dev/null", O_RDONLY);
    ::close(free_after);
    EXPECT_EQ(free_before, free_after);
}

TEST(File, ComparesPathAndSizeAndClonesByName) {
    Scratch const scratch;
    std::string const path = scratch.file("a", "123");
    Tm_file const before(path, 0);
    scratch.file("a", "456");
    Tm_file const after(path, 0);
    EXPECT_TRUE(before == after);
    EXPECT_FALSE(before == Tm_file(scratch.file("b", "123"), 0));
    scratch.file("a", "longer");
    std::unique_ptr<Tm_file> const clone(before.clone());
    EXPECT_EQ(6U, clone->size());
    EXPECT_FALSE(before == *clone);
    EXPECT_EQ(3U, before.size());
}

TEST(File, OpenedForWritingIsTruncated) {
    Scratch const scratch;
    std::string const path = scratch.file("a", "123");
    Tm_file const file(path, 5);
    EXPECT_EQ(0U, file.size());
    EXPECT_EQ(5U, file.open_mode());
    EXPECT_EQ("", content_of(path));
    Tm_file const created(scratch.path("new"), 1);
    EXPECT_EQ(0U, created.size());
    Tm_struct holder(nullptr);
    std::string const kept = scratch.file("kept", "content");
    holder.add_member("f", kept, 4096U);
    EXPECT_EQ(0U, holder.get_member_file("f")->open_mode());
    EXPECT_EQ(7U, holder.get_member_file("f")->size());
}

TEST(File, ReadsAllOrReportsTheLastRead) {
    Scratch const scratch;
    Tm_file const file(scratch.file("a", "12345"), 0);
    char buffer[8] = {};
    EXPECT_EQ(3, Tm_file::read_n(file.descriptor(), buffer, 3));
    EXPECT_STREQ("123", buffer);
    EXPECT_EQ(0, Tm_file::read_n(file.descriptor(), buffer, 3));
    EXPECT_LT(Tm_file::read_n(-1, buffer, 3), 0);
}

/// Sent through chunks and received into a temporary file, on both sides of the mapping limit.
TEST(File, ArrivesWithItsContent) {
    Scratch const scratch;
    for (unsigned int const size : {0U, 1U, 128U, 300U, 11263999U, 11264000U}) {
        std::string const path = scratch.file("sent", pattern(size));
        Message message;
        message.add_member(Message::TMG_BODY, "file", path, 0U);
        std::unique_ptr<Message> received;
        Tm_chunk_receiver receiver(
            [&](auto arrived, int, auto&) { received = std::move(arrived); },
            [](int, unsigned int, std::string const& text) { FAIL() << text; });
        Tm_chunk_sender(100000).send(message, 1, 0, [&](unsigned char const* data, std::size_t n) {
            receiver.receive(1, data, n);
            return true;
        });
        ASSERT_NE(nullptr, received) << size;
        Tm_file const& file = *received->get_member_file(Message::TMG_BODY, "file");
        EXPECT_EQ(size, file.size());
        EXPECT_TRUE(content_of(path) == content_of(file.path())) << size;
        struct stat status = {};
        ::stat(file.path().c_str(), &status);
        EXPECT_EQ(02600U, status.st_mode & 07777U);
    }
    EXPECT_EQ(6, remove_received_files());
}

TEST(File, OfAnUnfinishedTransferIsRemoved) {
    for (char const* const length : {"00 00 01 2C", "00 AB E0 00"}) {
        Bytes bytes = from_hex(std::string("02 04 84 04 05 07 00 01 66 15 ") + length);
        bytes.resize(bytes.size() + 200, 'x');
        Tm_bin_decoder decoder(4096);
        feed(decoder, bytes, 0);
        EXPECT_EQ("", decoder.error());
        decoder.init();
        EXPECT_EQ(0, remove_received_files());
    }
}

TEST(File, ThatCannotBeReceivedThrowsAndLeavesTheDecoderUsable) {
    Tm_bin_decoder decoder(4096);
    Bytes const start = from_hex("02 04 84 04 05 07 00 01 66 15 00 00 00 05");
    feed(decoder, start, 0);
    std::unique_ptr<Message> const unfinished(decoder.release_msg());
    // Folders stand where the next files would: neither can be unlinked nor created.
    Scratch const scratch;
    std::string blocked;
    {
        Tm_bin_decoder probe(4096);
        Bytes whole = start;
        whole.insert(whole.end(), {1, 2, 3, 4, 5, 0x85, 0x84, 0x82});
        feed(probe, whole, 0);
        blocked = probe.message()->get_member_file(Message::TMG_BODY, "f")->path();
    }
    std::size_t const number_at = blocked.rfind('_') + 1;
    blocked =
        blocked.substr(0, number_at) + std::to_string(std::stoi(blocked.substr(number_at)) + 1);
    std::filesystem::create_directory(blocked);

    decoder.init();
    EXPECT_EQ("failed to open " + blocked,
              text_thrown_by<Tm_file_open_exception>([&] { feed(decoder, start, 0); }));
    EXPECT_EQ("failed to open " + blocked, decoder.error());
    decoder.init();
    feed(decoder, from_hex("02 04 84 04 84 82"), 0);
    decoder.finalize();
    EXPECT_EQ("", decoder.error());
    std::filesystem::remove(blocked);
    remove_received_files();
}

TEST(File, IsNotReceivedThroughALinkPlantedUnderItsName) {
    Scratch const scratch;
    std::string const victim = scratch.file("victim", "untouched");
    Bytes const bytes = from_hex("15 00 00 00 05 31 32 33 34 35");
    Tm_bin_array_decoder decoder(100);
    feed(decoder, bytes, 0);
    std::string path = decoder.array()->get_member_file(0)->path();
    std::size_t const number_at = path.rfind('_') + 1;
    path = path.substr(0, number_at) + std::to_string(std::stoi(path.substr(number_at)) + 1);
    std::filesystem::create_symlink(victim, path);
    decoder.init();
    feed(decoder, bytes, 0);
    ASSERT_EQ(path, decoder.array()->get_member_file(0)->path());
    EXPECT_EQ("12345", content_of(path));
    EXPECT_EQ("untouched", content_of(victim));
    remove_received_files();
}

}  // namespace
