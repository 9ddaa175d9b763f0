#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "support/support.h"
#include "support/text.h"

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
        EXPECT_TRUE(sent.size() == size && file.size() == size && content_of(path) == content_of(file.path())) << size;
        struct stat status = {};
        ::stat(file.path().c_str(), &status);
        EXPECT_EQ(02600U, status.st_mode & 07777U);
    }
    EXPECT_EQ(6, remove_received_files());
}

namespace {

int next_descriptor() {
    int const fd = ::open("/dev/null", O_RDONLY);
    ::close(fd);
    return fd;
}

/// The process may have no more of that resource than so much, for a while.
class Lower_limit {
public:
    Lower_limit(__rlimit_resource resource, rlim_t limit) : resource_(resource) {
        ::getrlimit(resource_, &before_);
        rlimit const lower = {limit, before_.rlim_max};
        ::setrlimit(resource_, &lower);
    }
    ~Lower_limit() { ::setrlimit(resource_, &before_); }

private:
    __rlimit_resource resource_;
    rlimit before_ = {};
};

}  // namespace

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

/// A slow writer, and a timer whose signal ends the calls that it meets.
TEST(File, IsReadOnWhenASignalComes) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    struct sigaction handler = {};
    static volatile std::sig_atomic_t signals = 0;
    handler.sa_handler = [](int) { signals = signals + 1; };
    ::sigaction(SIGALRM, &handler, nullptr);
    itimerval const often = {{0, 1000}, {0, 1000}}, never = {};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    std::thread writer([&] {
        sigset_t alarm;
        ::sigemptyset(&alarm);
        ::sigaddset(&alarm, SIGALRM);
        ::pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
        for (char const letter : {'a', 'b', 'c'}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_EQ(1, ::write(ends[1], &letter, 1));
        }
    });
    char text[4] = {};
    EXPECT_EQ(3, Tm_file::read_n(ends[0], text, 3));
    EXPECT_STREQ("abc", text);
    writer.join();
    ::setitimer(ITIMER_REAL, &never, nullptr);
    // Ignored from now on: under valgrind one more signal may come.
    handler.sa_handler = SIG_IGN;
    ::sigaction(SIGALRM, &handler, nullptr);
    EXPECT_LT(0, signals);
    for (int const end : ends) ::close(end);
}

/// A file too large to be mapped, which ends before its announced length.
TEST(File, ThatHasBecomeShorterIsNotSent) {
    Scratch const scratch;
    std::string const path = scratch.file("large", "");
    std::filesystem::resize_file(path, 12000000);
    Message message;
    message.add_member(body, "file", path, 0U);
    std::filesystem::resize_file(path, 6000001);
    Tm_chunk_sender sender(1000);
    std::size_t sent = 0;
    auto const count = [&](unsigned char const*, std::size_t size) { return (sent += size) > 0; };
    EXPECT_THROWS("failed to read from " + path, sender.send(message, 1, 0, count));
    EXPECT_LT(6000000U, sent);
    EXPECT_TRUE(sender.send(Message(), 2, 0, count)) << "the sender is usable";
}

namespace {

/// A walk of one value in chunks, as much at a time as the caller likes.
struct Chunk_walk {
    Tm_array const& array;
    Tm_bin_encoder encoder;
    Bytes sent = {};
    bool is_whole = false;

    void step() {
        if (!is_whole) is_whole = array.accept(encoder);
        sent.insert(sent.end(), encoder.data(),
                    encoder.data() + std::min(encoder.fill_position(), encoder.chunk_size()));
        encoder.continue_fill();
    }
    bool sends(std::string const& expected) const { return std::string(sent.begin(), sent.end()) == expected; }
};

}  // namespace

/// A large file, walked by encoders in turn while its owner reads from the same descriptor.
TEST(File, IsReadByEachWalkOnItsOwn) {
    Scratch const scratch;
    std::string const content = pattern(11264300);
    std::string const head = "\x15" + std::string("\x00\xAB\xE1\x2C", 4);
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
    text_of<Tm_json_encoder>(array);
    text_of<Tm_tcl_encoder>(array);
    Tm_xml_file_size_encoder xml(1000);
    EXPECT_TRUE(array.accept(xml));
    read();
    std::string const expected = "\x06" + head + content + head + content + "\x86";
    EXPECT_TRUE(first.sends(expected) && second.sends(expected));
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
    array.add_member(scratch.file("large", pattern(11264300)), 0U);
    std::vector<Bytes> const expected = encode_chunks(array, 1 << 24);
    for (int round = 0; round < 2; ++round) {
        Reading_encoder encoder(1 << 24);
        EXPECT_TRUE(array.accept(encoder));
        EXPECT_TRUE(Bytes(encoder.data(), encoder.data() + encoder.fill_position()) == expected.front());
    }
}

/// Without a sender, which refuses it: nothing is written of a piece that is not there whole.
TEST(File, ThatHasChangedIsEncodedAsFarAsAnnouncedAndThere) {
    Scratch const scratch;
    std::string const path = scratch.file("large", pattern(11264300));
    Tm_array array;
    array.add_member(path, 0U);
    for (auto const& [size, sent] : {std::pair(6000001U, 6000000U), std::pair(12000000U, 11264300U)}) {
        std::filesystem::resize_file(path, size);
        Chunk_walk walk{array, Tm_bin_encoder(100000)};
        while (!walk.is_whole) walk.step();
        EXPECT_TRUE(
            walk.sends("\x06\x15" + std::string("\x00\xAB\xE1\x2C", 4) + content_of(path).substr(0, sent) + "\x86"));
    }
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
    Tm_file const truncating(path, 5);
    EXPECT_EQ(5U, truncating.open_mode());
    EXPECT_TRUE(truncating.size() == 0 && content_of(path).empty());
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
    std::string const victim = scratch.file("victim", "untouched");
    std::string path = next_path();
    std::size_t const number_at = path.rfind('_') + 1;
    int number = std::stoi(path.substr(number_at));
    Names planted;
    for (int i = 0; i < 1002; ++i, ++number) planted.push_back(path.substr(0, number_at) + std::to_string(number));
    for (std::string const& name : planted) {
        if (name == planted[0]) {
            std::filesystem::create_symlink(victim, name);
        } else if (name == planted[1]) {
            std::ofstream(name) << "foreign";
        } else {
            std::filesystem::create_directory(name);
        }
    }
    for (int i = 0; i < 3; ++i) {
        decoder.init();
        feed(decoder, bytes);
        path = decoder.array()->get_member_file(0)->path();
        EXPECT_EQ(planted[0].substr(0, number_at) + std::to_string(number + i), path);
        EXPECT_EQ("12345", content_of(path));
    }
    decoder.init();
    EXPECT_EQ("untouched", content_of(victim));
    EXPECT_EQ("foreign", content_of(planted[1]));
    EXPECT_TRUE(std::filesystem::is_symlink(planted[0]));
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

namespace {

/// Closes the standard descriptors for a while, as a daemon does.
class No_standard_descriptors {
public:
    No_standard_descriptors() {
        for (int fd = 0; fd < 3; ++fd) {
            saved_[fd] = ::fcntl(fd, F_DUPFD_CLOEXEC, 10);
            ::close(fd);
        }
    }
    ~No_standard_descriptors() {
        for (int fd = 0; fd < 3; ++fd) {
            ::dup2(saved_[fd], fd);
            ::close(saved_[fd]);
        }
    }

    static bool are_free() { return ::fcntl(0, F_GETFD) < 0 && ::fcntl(1, F_GETFD) < 0 && ::fcntl(2, F_GETFD) < 0; }

private:
    int saved_[3];
};

}  // namespace

TEST_F(Temporary_file, StandsAboveTheStandardDescriptors) {
    Scratch const scratch;
    for (unsigned int const size : {300U, 11264300U}) {
        std::string const path = scratch.file("sent", pattern(size));
        bool arrives = false, is_above = false, are_free = false;
        {
            No_standard_descriptors const closed;
            std::string const error = text_thrown_by<std::exception>([&] {
                Message message;
                message.add_member(body, "file", path, 0U);
                auto const received = deliver(message, 100000);
                Tm_file const& sent = *message.get_member_file(body, "file");
                Tm_file const& file = *received->get_member_file(body, "file");
                arrives = content_of(file.path()) == pattern(size);
                is_above = sent.descriptor() > 2 && file.descriptor() > 2 &&
                           (::fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC) != 0;
                are_free = closed.are_free();
            });
        }
        EXPECT_TRUE(arrives && is_above && are_free) << size;
    }
    EXPECT_EQ(2, remove_received_files());
}

TEST_F(Temporary_file, ThatCannotBeMadeThrowsAndLeavesTheDecoderUsable) {
    std::string const path = next_path();
    std::string error;
    bool are_free = false;
    {
        // The file gets descriptor 0, and there is none above 2 to move it to.
        No_standard_descriptors const closed;
        Lower_limit const limit(RLIMIT_NOFILE, 3);
        error = text_thrown_by([&] { feed(decoder, bytes); });
        are_free = closed.are_free();
    }
    EXPECT_EQ("failed to open " + path, error);
    EXPECT_EQ(error, decoder.error());
    EXPECT_TRUE(are_free);
    EXPECT_EQ(1, remove_received_files()) << "the one of next_path()";
    decoder.init();
    feed(decoder, bytes);
    EXPECT_EQ(1, decoder.array()->get_member_count());
}

/// One descriptor is for the temporary file, another for the value on it.
TEST_F(Temporary_file, WithoutDescriptorsIsReportedAndGone) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs descriptors";
#endif
    Scratch const scratch;
    {
        Lower_limit const limit(RLIMIT_NOFILE, static_cast<unsigned int>(next_descriptor()));
        bool const is_open = ::open(scratch.path("probe").c_str(), O_RDWR | O_CREAT, 0600) >= 0;
        bool const is_real = !is_open && !std::filesystem::exists(scratch.path("probe"));
        if (!is_real) GTEST_SKIP() << "the limit is not the system's own";
    }
    Message message;
    message.add_member(body, "file", scratch.file("sent", "content"), 0U);
    auto const chunks = chunks_of(message, 1, 20);
    Receiver receiver;
    for (unsigned int const spare : {0U, 1U}) {
        std::string const error = "failed to open " + next_path();
        int const next = next_descriptor();
        {
            Lower_limit const limit(RLIMIT_NOFILE, static_cast<unsigned int>(next) + spare);
            EXPECT_THROWS(error, feed(decoder, bytes));
            for (Bytes const& chunk : chunks) receiver.take(1, chunk);
        }
        EXPECT_EQ(error, decoder.error());
        EXPECT_EQ(0U, receiver.errors.back().find("1/1 failed to open /tmp/zab_tmp_"));
        decoder.init();
        EXPECT_EQ(next, next_descriptor());
        EXPECT_EQ(1, remove_received_files()) << "the one of next_path()";
    }
    for (Bytes const& chunk : chunks) receiver.take(1, chunk);
    EXPECT_EQ(2U, receiver.errors.size());
    EXPECT_EQ(1U, receiver.messages.size());
}

TEST_F(Temporary_file, WithoutRoomIsReportedAndGone) {
    std::signal(SIGXFSZ, SIG_IGN);
    std::string path = next_path();
    {
        Lower_limit const limit(RLIMIT_FSIZE, 150);
        EXPECT_THROWS("failed to map " + path, feed(decoder, from_hex("15 00 00 01 2C")));
    }

    // Too large to be mapped: what was gathered is written in part, at the latest with the last piece.
    Bytes large = from_hex("15 00 AB E0 01");
    large.resize(5 + 11264001, 'x');
    for (unsigned int const room : {150U, 11264000U}) {
        Lower_limit const lower(RLIMIT_FSIZE, room);
        decoder.init();
        path = next_path();
        feed(decoder, large, 4096);
        EXPECT_EQ("failed to write to " + path, decoder.error());
    }
    decoder.init();
    EXPECT_EQ(3, remove_received_files()) << "those of next_path()";
}
