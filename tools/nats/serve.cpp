/// Serves over NATS.
#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "io/output.h"
#include "io/terminal.h"
#include "nats/connection.h"
#include "nats/over_nats.h"
#include "nats/waiting.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;

constexpr unsigned int usual_threads = 4;
/// Each reply that waits for its time takes a thread.
constexpr unsigned int threads_with_delay = 64;
/// After a signal, replies wait no longer than this for their time, and the whole end takes no
/// longer than twice this.
constexpr std::chrono::seconds patience(5);

Tm_nats_service_options options_of(Nats_serving const& serving) {
    Tm_nats_service_options options;
    set_place(serving.place, options);
    options.subject = serving.place.subject;
    if (!serving.group.empty()) options.group = serving.group;
    options.threads = serving.delay.count() > 0 ? threads_with_delay : usual_threads;
    options.limits = serving.limits;
    return options;
}

class Nats_server {
public:
    Nats_server(Nats_serving& serving, Stop& stop)
        : serving_(serving), stop_(stop), service_(options_of(serving)) {
        service_.on_any([this](Message const& request) { return answer(request); });
    }

    void start() {
        service_.start();
        Lock const lock(mutex_);
        note("listening on " + serving_.place.name());
    }

    /// Sends the answers to the requests that have arrived, and disconnects.
    void end() {
        {
            Lock const lock(mutex_);
            last_reply_ = Clock::now() + patience;
            ending_.notify_all();
        }
        service_.drain(2 * patience);
        auto const bad = service_.counters().bad_payloads;
        if (bad > 0) report(std::to_string(bad) + " payloads were no messages");
    }

private:
    /// Runs on any thread of the service.
    Message answer(Message const& request) {
        auto const time = Clock::now() + serving_.delay;
        Message asked = request;
        Lock lock(mutex_);
        Message answer = answer_of(asked);
        while (Clock::now() < std::min(time, last_reply_)) {
            ending_.wait_until(lock, std::min(time, last_reply_));
        }
        return answer;
    }

    /// One thread at a time prints.
    Message answer_of(Message& request) {
        try {
            serving_.printer.print(request, Tm_header(request.header));
            if (request.get_msg_type() != Message::TMT_REQUEST) {
                return Message::fault(no_answer, "the message is no request");
            }
            return call_method(serving_.method, request);
        } catch (Tm_fault_exception const& fault) {
            return Message::fault(fault.code(), fault.text());
        } catch (Output_failure const& failure) {
            stop_.fail(std::current_exception());
            return Message::fault(no_answer, failure.text);
        } catch (std::exception const& error) {
            report(text_of(error));
            return Message::fault(no_answer, text_of(error));
        } catch (Closed_output const&) {
            stop_.fail(std::current_exception());
            return Message::fault(no_answer, "the output is closed");
        }
    }

    Nats_serving& serving_;
    Stop& stop_;
    std::mutex mutex_;  ///< for output and the members below
    std::condition_variable ending_;
    Clock::time_point last_reply_ = Clock::time_point::max();
    Tm_nats_service service_;
};

}  // namespace

void serve_over_nats(Nats_serving& serving) {
    hold_standard_descriptors();
    Stop stop;
    Nats_server server(serving, stop);
    server.start();
    stop.wait();
    server.end();
    stop.check();
}
