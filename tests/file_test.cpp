#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tmsg/tmsg.h>

#include "support/bytes.h"
#include "support/codec.h"
#include "support/recorder.h"
#include "support/scratch.h"
#include "support/throws.h"

namespace {

TEST(File, IsMappedBelowTheLimit) {
    Scratch const scratch;
    for (unsigned int const size : {0U, 300U, 11263999U, 11264000U}) {
        Tm_file const file(scratch.file("f", std::string(size, 'x')), 0);
        EXPECT_EQ(size, file.size());
        EXPECT_EQ(size > 0 && size < 11264000, file.mapping() != nullptr) << size;
        EXPECT_EQ(size < 11264000, file.in_memory()) << size;
        EXPECT_NE(0, ::fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC);
    }
    std::string const content = pattern(300);
    EXPECT_EQ((Events{"file_begin(300)", "file(" + content.substr(0, 128) + ")",
                      "file(" + content.substr(128, 128) + ")", "file(" + content.substr(256) + ")"}),
              events_of(Tm_file(scratch.file("f", content), 0)));
    EXPECT_EQ(Events{"file_begin(0)"}, events_of(Tm_file(scratch.file("empty", ""), 0)));
}

TEST(File, ThatCannotBeUsedThrows) {
    Scratch const scratch;
    auto const next_descriptor = [] {
        int const fd = ::open("/dev/null", O_RDONLY);
        ::close(fd);
        return fd;
    };
    int const before = next_descriptor();
    EXPECT_THROWS("failed to open " + scratch.path("missing"), Tm_file(scratch.path("missing"), 0));
    EXPECT_THROWS("failed to map " + scratch.path(""), Tm_file(scratch.path(""), 0));
    EXPECT_EQ(before, next_descriptor());
}

TEST(File, ComparesPathAndSizeAndClonesByName) {
    Scratch const scratch;
    std::string const path = scratch.file("a", "123");
    Tm_file const before(path, 0);
    scratch.file("a", "456");
    EXPECT_TRUE(before == Tm_file(path, 0));
    EXPECT_FALSE(before == Tm_file(scratch.file("b", "123"), 0));
    scratch.file("a", "longer");
    std::unique_ptr<Tm_file> const clone(before.clone());
    EXPECT_EQ(6U, clone->size());
    EXPECT_EQ(3U, before.size());
    Tm_file const truncating(path, 5);
    EXPECT_EQ(5U, truncating.open_mode());
    EXPECT_TRUE(truncating.size() == 0 && content_of(path).empty());
    EXPECT_EQ(0U, Tm_file(scratch.path("new"), 1).size());
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
        Tm_chunk_receiver receiver([&](auto arrived, int, auto&) { received = std::move(arrived); },
                                   [](int, unsigned int, std::string const& text) { ADD_FAILURE() << text; });
        Tm_chunk_sender(100000).send(message, 1, 0, [&](unsigned char const* data, std::size_t n) {
            receiver.receive(1, data, n);
            return true;
        });
        ASSERT_NE(nullptr, received) << size;
        Tm_file const& file = *received->get_member_file(Message::TMG_BODY, "file");
        EXPECT_TRUE(file.size() == size && content_of(path) == content_of(file.path())) << size;
        struct stat status = {};
        ::stat(file.path().c_str(), &status);
        EXPECT_EQ(02600U, status.st_mode & 07777U);
    }
    EXPECT_EQ(6, remove_received_files());
}

TEST(File, OfAnUnfinishedTransferIsRemoved) {
    for (char const* const length : {"00 00 01 2C", "00 AB E0 00"}) {
        Bytes bytes = from_hex(std::string("15 ") + length);
        bytes.resize(200, 'x');
        Tm_bin_array_decoder decoder(4096);
        feed(decoder, bytes, 0);
        EXPECT_EQ("", decoder.error());
        decoder.init();
        EXPECT_EQ(0, remove_received_files());
    }
}

struct Temporary_file : testing::Test {
    Bytes const bytes = from_hex("15 00 00 00 05 31 32 33 34 35");
    Tm_bin_array_decoder decoder{100};

    /// Where the next received file will stand.
    std::string next_path() {
        feed(decoder, bytes, 0);
        std::string const path = decoder.array()->get_member_file(0)->path();
        decoder.init();
        std::size_t const number = path.rfind('_') + 1;
        return path.substr(0, number) + std::to_string(std::stoi(path.substr(number)) + 1);
    }
    ~Temporary_file() override { remove_received_files(); }
};

TEST_F(Temporary_file, ThatCannotBeMadeThrowsAndLeavesTheDecoderUsable) {
    std::string const path = next_path();
    std::filesystem::create_directory(path);
    EXPECT_THROWS("failed to open " + path, feed(decoder, bytes, 0));
    EXPECT_EQ("failed to open " + path, decoder.error());
    decoder.init();
    feed(decoder, bytes, 0);
    EXPECT_EQ("", decoder.error());
    EXPECT_EQ(1, decoder.array()->get_member_count());
}

TEST_F(Temporary_file, IsNotMadeThroughALinkPlantedUnderItsName) {
    Scratch const scratch;
    std::string const victim = scratch.file("victim", "untouched");
    std::string const path = next_path();
    std::filesystem::create_symlink(victim, path);
    feed(decoder, bytes, 0);
    EXPECT_EQ(path, decoder.array()->get_member_file(0)->path());
    EXPECT_EQ("12345", content_of(path));
    EXPECT_EQ("untouched", content_of(victim));
}

}  // namespace
