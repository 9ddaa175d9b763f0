/// Shows the messages that pass through a proxy.
#pragma once

#include <tmsg/tmsg.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "forms/form.h"
#include "forms/writer.h"
#include "net/capture_file.h"
#include "net/proxy.h"
#include "net/stream_watch.h"

/// Prints a line for each message, with the time that a call took, and for each damage. Saves what
/// passes in files.
class Traffic : public Proxy_watcher {
public:
    explicit Traffic(Tm_limits const& limits) : limits_(limits) {}

    /// Makes it print lines. Without this call it prints nothing.
    void show() { is_shown_ = true; }
    /// Makes it print each message in this form, too.
    void print_as(Form form, Writing const& writing);
    /// Makes it save what passes in new files in this folder, which it makes. Throws Failure.
    void save_in(std::string const& folder);

    int begin(std::string const& client) override;
    void pass(int connection, Direction direction, unsigned char const* data,
              std::size_t size) override;
    void end(int connection, Direction direction) override;
    void lose(int connection, std::string const& error) override;
    void close(int connection) override;

private:
    using Clock = std::chrono::steady_clock;

    /// A request that waits for its answer.
    struct Call {
        std::string method;
        Clock::time_point time;
    };
    struct Stream {
        std::unique_ptr<Stream_watch> watch;
        Capture_file file;
        std::size_t bytes = 0;
        std::map<unsigned int, Call> calls;  ///< whose requests went in this direction
    };
    struct Talk {
        Stream to_upstream;
        Stream to_client;
        Stream& operator[](Direction direction);
    };

    /// The moment of an event, by both clocks.
    struct Moment {
        timespec time;
        Clock::time_point steady;
    };

    void note_moment();
    void open_files(int connection, Talk& talk) const;
    std::unique_ptr<Stream_watch> watch(int connection, Direction direction);
    void take(Message& message, std::size_t bytes, int connection, Direction direction);
    std::string text_of_request(Message const& message, std::size_t bytes, Stream& stream);
    std::string text_of_answer(Message const& message, std::size_t bytes, Stream& calling) const;
    void print(Message& message);
    void write_line(int connection, std::string const& text) const;

    Tm_limits limits_;
    bool is_shown_ = false;
    std::optional<Form> form_;
    Writing writing_;
    std::string folder_;  ///< empty when nothing is saved
    Moment moment_ = {};  ///< of the event that is being shown
    int last_ = 0;        ///< the number of the last connection
    std::map<int, Talk> talks_;
};
