/// Sends hundreds of requests and a file over one connection at the same time, without waiting for
/// any of the answers.
#include <algorithm>
#include <chrono>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>

#include "../arguments.h"
#include "../files.h"
#include "connection.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto body = Message::TMG_BODY;
constexpr int sums = 500;
/// The client always reads.
constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
constexpr std::chrono::seconds patience(60);

char const usage[] =
    "Usage: tmsg_epoll_client PORT FILE\n"
    "Sends FILE and 500 other requests to the server at PORT of this machine, all at once, and\n"
    "checks the answers. Ends with 1 when a call failed, with 2 for bad arguments.\n"
    "Also: --help, --version.\n";

int connect_to(unsigned short port) {
    int const handle = checked(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0),
                               "cannot make a socket");
    sockaddr_in const address = loopback(port);
    auto const* const any_address = reinterpret_cast<sockaddr const*>(&address);
    bool const is_on_its_way =
        ::connect(handle, any_address, sizeof address) == 0 || errno == EINPROGRESS;
    if (is_on_its_way) return handle;
    ::close(handle);
    fail("cannot connect to port " + std::to_string(port));
}

class Client {
public:
    explicit Client(unsigned short port)
        : receiver_(
              [this](std::unique_ptr<Message> answer, int, Tm_header const& header) {
                  caller_.take(std::move(answer), header.get_seq_no());
              },
              [](int, unsigned int, std::string const& text) {
                  throw std::runtime_error("broken answer: " + text);
              }),
          epoll_(checked(::epoll_create1(EPOLL_CLOEXEC), "cannot wait for events")),
          connection_(connect_to(port), epoll_.get(), receiver_, all) {}

    /// `check` gets the answer, and throws when it is not the expected one.
    template <class Check>
    void call(Message request, Check check) {
        auto const on_answer = [check](std::unique_ptr<Message> answer) {
            if (answer == nullptr) throw std::runtime_error("no answer in time");
            if (answer->get_msg_type() == Message::TMT_FAULT)
                throw std::runtime_error(answer->get_fault_string());
            check(*answer);
        };
        unsigned int const seq_no = caller_.start(Clock::now() + patience, on_answer);
        connection_.send(std::move(request), seq_no, 0);
    }

    std::size_t waiting() const { return caller_.waiting(); }

    /// Sends and receives until no call waits.
    void run() {
        while (auto const deadline = caller_.next_deadline()) {
            auto const left =
                std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
            epoll_event event = {};
            int const time = std::max(0, static_cast<int>(left.count()));
            int const count = ::epoll_wait(epoll_.get(), &event, 1, time);
            if (count > 0 && !connection_.go_on(event.events))
                throw std::runtime_error("connection closed");
            caller_.expire(Clock::now());
        }
    }

private:
    Tm_caller caller_;
    Tm_chunk_receiver receiver_;
    Descriptor epoll_;
    Connection connection_;
};

[[noreturn]] void refuse_answer() { throw std::runtime_error("this is not the expected answer"); }

void run(unsigned short port, std::string const& path) {
    Client client(port);
    Message upload = Message::request("demo.check");
    upload.add_file(body, "file", path);
    Tm_file const file(path, 0U);
    int summed = 0;
    client.call(std::move(upload), [&](Message const& answer) {
        bool const is_same = answer.get_member_uint32(body, "size") == file.size() &&
                             answer.get_member_uint32(body, "crc32") == crc_of(file);
        if (!is_same || summed != sums) refuse_answer();
    });
    for (int i = 0; i < sums; ++i) {
        Message request = Message::request("demo.sum");
        request.add_member(body, "a", i);
        request.add_member(body, "b", 1);
        client.call(std::move(request), [&summed, i](Message const& answer) {
            if (answer.get_member_int32(body, "sum") != i + 1) refuse_answer();
            ++summed;
        });
    }
    std::cout << "client: " << client.waiting() << " requests in flight" << std::endl;
    client.run();
    std::cout << "client: " << summed << " sums came before the answer to a file of " << file.size()
              << " bytes\nclient: at most " << peak_memory() << " KiB of memory" << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = read_arguments(argc, argv, "port", usage);
    if (arguments.rest.size() != 2) refuse_arguments("a port and a file are needed");
    unsigned short const port = read_port(arguments.rest[0]);
    try {
        run(port, arguments.rest[1]);
        return 0;
    } catch (std::exception const& error) {
        std::cerr << "tmsg_epoll_client: " << error.what() << '\n';
        return 1;
    }
}
