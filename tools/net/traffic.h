/// Shows the messages that pass through a proxy.
#pragma once

#include <tmsg/tmsg.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "net/capture_file.h"
#include "net/proxy.h"
#include "net/stream_watch.h"
#include "net/traffic_lines.h"

/// Prints a line for each message, with the time that a call took, and for each damage. Saves what
/// passes in files.
class Traffic : public Proxy_watcher {
public:
    explicit Traffic(Tm_limits const& limits) : limits_(limits) {}

    /// What prints the lines.
    Traffic_lines& lines() { return lines_; }
    /// Makes it save what passes in new files in this folder, which it makes. Throws Failure.
    void save_in(std::string const& folder) { captures_ = Capture_folder(folder); }

    int begin(std::string const& client) override;
    void pass(int connection, Direction direction, unsigned char const* data,
              std::size_t size) override;
    void end(int connection, Direction direction) override;
    void lose(int connection, std::string const& error) override;
    void close(int connection) override;

private:
    using Clock = Traffic_lines::Clock;

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

    std::unique_ptr<Stream_watch> watch(int connection, Direction direction);
    void take(Message& message, std::size_t bytes, int connection, Direction direction);
    std::string take_request(Message const& message, std::size_t bytes, Stream& stream) const;
    std::string take_answer(Message const& message, std::size_t bytes, Stream& calling) const;

    Tm_limits limits_;
    Traffic_lines lines_;
    Capture_folder captures_;
    int last_ = 0;  ///< the number of the last connection
    std::map<int, Talk> talks_;
};
