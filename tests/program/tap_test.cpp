/// `tmsg tap` between sockets that the tests hold themselves.
#include <atomic>
#include <random>

#include "program/program.h"

namespace {

using namespace std::chrono_literals;

/// A server that the test plays itself.
class Upstream {
public:
    Upstream() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ::bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
        ::listen(listener_, 10);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
    }
    ~Upstream() { ::close(listener_); }

    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    Caller accept() const {
        pollfd handle = {listener_, POLLIN, 0};
        EXPECT_EQ(1, ::poll(&handle, 1, 20000));
        return Caller(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC));
    }

private:
    int listener_;
    int port_ = 0;
};

struct Tap : Listening_program {
    explicit Tap(Upstream const& upstream, std::vector<std::string> options = {})
        : Listening_program("tap", with_places(std::move(options), upstream)) {}

    static std::vector<std::string> with_places(std::vector<std::string> options, Upstream const& upstream) {
        options.insert(options.end(), {"--listen", "0", "--upstream", upstream.address()});
        return options;
    }
    /// Returns how many lines end with that text, once there are so many or the time is over.
    std::size_t lines_with(std::string const& end, std::size_t wanted = 1) {
        auto const last = Clock::now() + patience;
        for (;; std::this_thread::sleep_for(10ms)) {
            std::string const all = text();
            std::size_t count = 0;
            for (auto at = all.find(end + "\n"); at != std::string::npos; at = all.find(end + "\n", at + 1)) ++count;
            if (count >= wanted || Clock::now() > last) return count;
        }
    }
};

Bytes random_bytes(std::size_t size, unsigned int seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    return bytes;
}

TEST(Tap, PassesAnyBytesOnWithBothHalvesOfTheEnd) {
    Scratch const scratch;
    Upstream const upstream;
    Tap tap(upstream, {"--save", scratch.path("captures")});
    for (unsigned int i = 1; i <= 4; ++i) {
        Bytes const there = random_bytes(i == 1 ? 1 : 1000000 * i, i);
        Bytes const back = i == 2 ? Bytes() : random_bytes(3000000, 10 + i);
        Caller client(tap);
        Caller server = upstream.accept();
        std::thread sender([&] {
            EXPECT_TRUE(client.send(there));
            client.send_no_more();
        });
        EXPECT_TRUE(there == server.receive_all()) << "the end of one direction has come";
        sender.join();
        std::thread answerer([&] {
            EXPECT_TRUE(back.empty() || server.send(back));
            server.send_no_more();
        });
        EXPECT_TRUE(back == client.receive_all());
        answerer.join();
        std::string const name = "captures/" + std::to_string(i);
        EXPECT_TRUE(std::string(there.begin(), there.end()) == content_of(scratch.path(name + "-to-upstream.chunks")));
        EXPECT_TRUE(std::string(back.begin(), back.end()) == content_of(scratch.path(name + "-to-client.chunks")));
        EXPECT_EQ(1U, tap.lines_with(std::to_string(there.size()) + " bytes > and " + std::to_string(back.size()) +
                                     " bytes <"));
    }
}

TEST(Tap, SlowsTheWriterDownToItsReader) {
    constexpr std::size_t size = 100000000;
    Upstream const upstream;
    Tap const tap(upstream);
    Caller client(tap);
    Caller server = upstream.accept();
    long const before = tap.most_memory();
    std::atomic<bool> is_sent{false};
    std::thread sender([&] {
        EXPECT_TRUE(client.send(random_bytes(size, 5)));
        is_sent = true;
    });
    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(is_sent);
    EXPECT_TRUE(server.send(request_of(10))) << "the other direction goes on";
    EXPECT_GT(client.receive(patience), 0U);
    EXPECT_EQ(size, server.receive(patience, size));
    sender.join();
    EXPECT_LT(tap.most_memory() - before, most_growth / 8);
}

TEST(Tap, TellsOfDamageWithItsOffsetAndGoesOn) {
    Upstream const upstream;
    Tap tap(upstream, {"--to", "json"});
    Caller client(tap);
    Caller server = upstream.accept();
    auto const message = make_message(Message::TMT_REQUEST, "f");
    Bytes const good = join(chunks_of(*message, 7, 4096));
    Bytes const bad = chunk(true, true, 8, Bytes{0xFF, 0xFF});
    Bytes const cut(good.begin(), good.end() - 1);
    Bytes const all = join({good, bad, good, cut});
    EXPECT_TRUE(client.send(all));
    client.send_no_more();
    EXPECT_TRUE(all == server.receive_all());
    std::string const place = "damaged in the chunk at byte " + std::to_string(good.size()) + ": ";
    EXPECT_EQ(2U, tap.lines_with("#1 > request f seq 7, " + std::to_string(good.size()) + " bytes\n" +
                                     R"({"name": "f", "request": [{}, {}]})",
                                 2));
    EXPECT_NE(std::string::npos, tap.text().find(" #1 > " + place));
    EXPECT_EQ(1U, tap.lines_with(" > end"));
    EXPECT_NE(std::string::npos, tap.text().find("byte " + std::to_string(2 * good.size() + bad.size()) + ": "))
        << "the last message is cut";
}

TEST(Tap, SaysOnceThatAStreamIsNoneOfChunks) {
    Upstream const upstream;
    Tap tap(upstream);
    Caller client(tap);
    Caller server = upstream.accept();
    std::string const text = "GET / HTTP/1.0\r\n\r\n";
    Bytes const bytes(text.begin(), text.end());
    for (int i = 0; i < 1000; ++i) ASSERT_TRUE(client.send(bytes));
    EXPECT_EQ(1000 * bytes.size(), server.receive(patience, 1000 * bytes.size()));
    Bytes const answer = request_of(10);
    EXPECT_TRUE(server.send(answer));
    EXPECT_EQ(answer.size(), client.receive(patience, answer.size()));
    EXPECT_EQ(1U, tap.lines_with(" #1 < request f seq 1, " + std::to_string(answer.size()) + " bytes"));
    EXPECT_EQ(1U, tap.lines_with(" #1 > damaged in the chunk at byte 0: chunk continues no known message; "
                                 "passed on undecoded from here"));
}

TEST(Tap, KeepsToTheLimitsAndRemovesFiles) {
    Upstream const upstream;
    Tap tap(upstream, {"--max-unfinished", "10", "--max-held", "100000"});
    Scratch const scratch;
    Caller client(tap);
    Caller server = upstream.accept();
    long const before = tap.most_memory();
    Message with_file = Message::request("f");
    with_file.add_member(body, "file", scratch.file("f", std::string(100000, 'x')), 0U);
    Bytes all = join(chunks_of(with_file, 7, 4096));
    Bytes const head = chunks_of(*decode(encode(Message::request("g"))).message, 1, 4096).front();
    for (unsigned int seq = 10; seq < 8000; ++seq) {
        Bytes const begun = chunk(true, false, seq, Bytes(head.begin() + 8, head.end() - 1));
        all.insert(all.end(), begun.begin(), begun.end());
    }
    EXPECT_TRUE(client.send(all));
    EXPECT_EQ(all.size(), server.receive(patience, all.size()));
    EXPECT_LT(tap.most_memory() - before, most_growth / 8);
    EXPECT_EQ(1U, tap.lines_with("more than 10 unfinished messages (seq 7999)"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/zab_tmp_" + std::to_string(tap.process()) + "_0"));
}

TEST(Tap, ClosesWhatTheOtherSideResets) {
    Upstream const upstream;
    Tap tap(upstream);
    Caller client(tap);
    {
        Caller server = upstream.accept();
        EXPECT_TRUE(client.send(request_of(10)));
        EXPECT_TRUE(server.is_ready(patience));
    }  // closes with unread bytes, which resets the connection
    EXPECT_TRUE(client.is_closed());
    EXPECT_EQ(1U, tap.lines_with(std::to_string(request_of(10).size()) + " bytes > and 0 bytes <"));
}

}  // namespace
