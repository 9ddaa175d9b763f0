#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "support/support.h"

/// On both sides of the mapping limit: sent through chunks and received into a temporary file.
TEST(File, ArrivesWithItsContent) {
    Scratch const scratch;
    for (unsigned int const size : {0U, 1U, 128U, 300U, 11263999U, 11264000U}) {
        std::string const path = scratch.file("sent", pattern(size));
        Message message;
        message.add_member(body, "file", path, 0U);
        Tm_file const& sent = *message.get_member_file(body, "file");
        EXPECT_EQ(size > 0 && size < 11264000, sent.mapping() != nullptr) << size;
        EXPECT_EQ(size < 11264000, sent.in_memory()) << size;
        EXPECT_NE(0, ::fcntl(sent.descriptor(), F_GETFD) & FD_CLOEXEC);

        // Twice, for the descriptor stands at its end after the first time.
        ::unlink(deliver(message, 100000)->get_member_file(body, "file")->path().c_str());
        auto const received = deliver(message, 100000);
        Tm_file const& file = *received->get_member_file(body, "file");
        EXPECT_EQ(std::pair(size, size), std::pair(sent.size(), file.size()));
        EXPECT_TRUE(content_of(path) == content_of(file.path())) << size;
        struct stat status = {};
        ::stat(file.path().c_str(), &status);
        EXPECT_EQ(02600U, status.st_mode & 07777U);
    }
    EXPECT_EQ(6, remove_received_files());
}

TEST(File, ThatCannotBeUsedOrReadIsReported) {
    Scratch const scratch;
    int const before = next_descriptor();
    EXPECT_THROWS("failed to open " + scratch.path("missing"), Tm_file(scratch.path("missing"), 0));
    EXPECT_THROWS("failed to map " + scratch.path(""), Tm_file(scratch.path(""), 0));
    EXPECT_EQ(before, next_descriptor());

    // A read gets all it asks for or reports the last one.
    Tm_file const file(scratch.file("a", "12345"), 0);
    char buffer[8] = {};
    EXPECT_EQ(3, Tm_file::read_n(file.descriptor(), buffer, 3));
    EXPECT_STREQ("123", buffer);
    EXPECT_EQ(0, Tm_file::read_n(file.descriptor(), buffer, 3));
    EXPECT_LT(Tm_file::read_n(-1, buffer, 3), 0);
}

namespace {

/// A walk of one value in chunks, as much at a time as the caller likes.
struct Chunk_walk {
    Tm_array const& array;
    Tm_bin_encoder encoder;
    std::string sent = {};
    bool is_whole = false;

    void step() {
        if (!is_whole) is_whole = array.accept(encoder);
        sent.append(encoder.data(), encoder.data() + std::min(encoder.fill_position(), encoder.chunk_size()));
        encoder.continue_fill();
    }
};

constexpr unsigned int large_size = 11264300;  ///< too large to be mapped
std::string const large_head("\x15\x00\xAB\xE1\x2C", 5);

}  // namespace

/// A large file, walked by encoders in turn while its owner reads from the same descriptor.
TEST(File, IsReadByEachWalkOnItsOwn) {
    Scratch const scratch;
    std::string const content = pattern(large_size);
    Tm_array array;
    for (int i = 0; i < 2; ++i) array.add_member(scratch.file("large", content), 0U);
    int const fd = array.get_member_file(0)->descriptor();
    std::string read_by_owner;
    auto const read = [&] {
        char bytes[100];
        read_by_owner.append(bytes, static_cast<std::size_t>(::read(fd, bytes, sizeof bytes)));
    };
    read();
    // The second file begins near the end of a chunk: its first pieces are few, those behind them many.
    Chunk_walk first{array, Tm_bin_encoder(4099)}, second{array, Tm_bin_encoder(70000)};
    for (int i = 0; i < 10; ++i) first.step();
    first.encoder.begin_fill();
    first.sent.clear();
    while (!first.is_whole || !second.is_whole) {
        first.step();
        second.step();
        read();
    }
    tm_to_json(array);
    tm_to_text(array);
    xml_of(array, 1000);
    read();
    std::string const expected = "\x06" + large_head + content + large_head + content + "\x86";
    EXPECT_TRUE(first.sent == expected);
    EXPECT_TRUE(second.sent == expected);
    EXPECT_EQ(content.substr(0, read_by_owner.size()), read_by_owner);
    EXPECT_EQ(static_cast<off_t>(read_by_owner.size()), ::lseek(fd, 0, SEEK_CUR));
}

/// Reads its pieces from where the descriptor stands.
struct Reading_encoder : Tm_bin_encoder {
    using Tm_bin_encoder::Tm_bin_encoder;
    using Tm_bin_encoder::visit_file_continue;
    bool visit_file_continue(int fd, std::string const&, unsigned int length) override {
        char piece[128];
        return Tm_file::read_n(fd, piece, length) == length && Tm_bin_encoder::visit_file_continue(piece, length);
    }
};

TEST(File, StandsAtItsBeginningForDerivedEncoders) {
    Scratch const scratch;
    Tm_array array;
    array.add_member(scratch.file("large", pattern(large_size)), 0U);
    Bytes const expected = encode(array);
    for (int round = 0; round < 2; ++round) {
        Reading_encoder encoder(1 << 24);
        EXPECT_TRUE(array.accept(encoder));
        EXPECT_TRUE(Bytes(encoder.data(), encoder.data() + encoder.fill_position()) == expected);
    }
}

/// A sender refuses it; an encoder alone writes nothing of a piece that is not there whole.
TEST(File, ThatHasChangedIsEncodedAsFarAsAnnouncedAndThere) {
    Scratch const scratch;
    std::string const path = scratch.file("large", pattern(large_size));
    Tm_array array;
    array.add_member(path, 0U);
    Message message;
    message.add_member(body, "file", path, 0U);
    for (auto const& [size, sent] : {std::pair(6000001U, 6000000U), std::pair(12000000U, large_size)}) {
        std::filesystem::resize_file(path, size);
        Chunk_walk walk{array, Tm_bin_encoder(100000)};
        while (!walk.is_whole) walk.step();
        EXPECT_TRUE(walk.sent == "\x06" + large_head + content_of(path).substr(0, sent) + "\x86");
    }
    std::filesystem::resize_file(path, 6000001);
    Tm_chunk_sender sender(1000);
    std::size_t sent = 0;
    auto const count = [&](unsigned char const*, std::size_t size) { return (sent += size) > 0; };
    EXPECT_THROWS("failed to read from " + path, sender.send(message, 1, 0, count));
    EXPECT_LT(6000000U, sent);
    EXPECT_TRUE(sender.send(Message(), 2, 0, count)) << "the sender is usable";
}

TEST(File, ComparesPathAndSizeAndClonesByName) {
    Scratch const scratch;
    std::string const path = scratch.file("a", "123");
    Tm_file const before(path, 0);
    scratch.file("a", "456");
    EXPECT_TRUE(before == Tm_file(path, 0));
    EXPECT_FALSE(before == Tm_file(scratch.file("b", "123"), 0));
    scratch.file("a", "longer");
    EXPECT_EQ(6U, std::unique_ptr<Tm_file>(before.clone())->size());
    EXPECT_EQ(3U, before.size());
    EXPECT_EQ(0U, Tm_file(path, 5).size()) << "truncated";
    EXPECT_EQ("", content_of(path));
    EXPECT_EQ(0U, Tm_file(scratch.path("new"), 1).size());
}

struct Temporary_file : testing::Test {
    Bytes const bytes = from_hex("15 00 00 00 05 31 32 33 34 35");
    Tm_bin_array_decoder decoder{4096};

    /// Where the next received file will stand.
    std::string next_path() {
        feed(decoder, bytes);
        std::string const path = decoder.array()->get_member_file(0)->path();
        decoder.init();
        std::size_t const number = path.rfind('_') + 1;
        return path.substr(0, number) + std::to_string(std::stoi(path.substr(number)) + 1);
    }
    ~Temporary_file() override { remove_received_files(); }
};

TEST_F(Temporary_file, OfAnUnfinishedTransferIsRemoved) {
    for (char const* const start : {"15 00 00 01 2C", "15 00 AB 00 00", "15 00 AB E0 00"}) {
        std::string const path = next_path();
        Bytes unfinished = from_hex(start);
        unfinished.resize(200, 'x');
        feed(decoder, unfinished);
        EXPECT_EQ("", decoder.error());
        struct stat status = {};
        EXPECT_EQ(0, ::stat(path.c_str(), &status));
        EXPECT_GT(1000, status.st_blocks) << "room on the disk for what has arrived, in steps";
        decoder.init();
        EXPECT_EQ(1, remove_received_files()) << "the one of next_path()";
    }
}

/// Files, folders and links of other processes with the same number are passed over and stay.
TEST_F(Temporary_file, IsMadeBesideWhatStandsUnderItsNames) {
    Scratch const scratch;
    std::string const victim = scratch.file("victim", "untouched"), path = next_path();
    std::string const prefix = path.substr(0, path.rfind('_') + 1);
    int number = std::stoi(path.substr(prefix.size()));
    auto const next = [&] { return prefix + std::to_string(number++); };
    std::filesystem::create_symlink(victim, next());
    std::ofstream(prefix + std::to_string(number)) << "foreign";
    next();
    for (int i = 0; i < 1000; ++i) std::filesystem::create_directory(next());
    for (int i = 0; i < 3; ++i) {
        decoder.init();
        feed(decoder, bytes);
        EXPECT_EQ(next(), decoder.array()->get_member_file(0)->path());
        EXPECT_EQ("12345", content_of(decoder.array()->get_member_file(0)->path()));
    }
    decoder.init();
    EXPECT_EQ("untouched", content_of(victim));
    EXPECT_EQ("foreign", content_of(prefix + std::to_string(number - 1004)));
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(1002 + 4, remove_received_files()) << "one is of next_path()";
}

/// A child process has copies of the objects; the files remain its parent's.
TEST_F(Temporary_file, IsRemovedByTheProcessThatMadeItAlone) {
    Scratch const scratch;
    Message message;
    for (char const* const name : {"complete", "unfinished"}) {
        message.add_member(body, name, scratch.file("f", pattern(1000)), 0U);
    }
    std::vector<Bytes> const chunks = chunks_of(message, 1, 1500);
    auto receiver = std::make_unique<Receiver>();
    MessageChunk chunk(1, 0);
    receiver->take(1, chunks[0]);
    chunk.addBuffer(chunks[0].data() + 8, static_cast<unsigned int>(chunks[0].size() - 8));
    feed(decoder, from_hex("15 00 00 00 05 31 32"));
    pid_t const child = ::fork();
    if (child == 0) {
        receiver.reset();
        chunk.removeReceivedFiles();
        decoder.init();
        // Its own.
        feed(decoder, bytes);
        bool const is_made = decoder.array()->get_member_count() == 1;
        ::_exit(is_made && remove_received_files() == 1 ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    feed(decoder, from_hex("33 34 35"));
    EXPECT_EQ("12345", content_of(decoder.array()->get_member_file(0)->path()));
    receiver->take(1, chunks[1]);
    for (char const* const name : {"complete", "unfinished"}) {
        EXPECT_EQ(pattern(1000), content_of(receiver->messages.at({1, 1})->get_member_file(body, name)->path()));
    }
    EXPECT_EQ(1U, chunk.receivedFiles().size());
    chunk.removeReceivedFiles();
    EXPECT_EQ(4, remove_received_files()) << "the unfinished one of the chunk too";
}
