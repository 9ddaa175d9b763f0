/// What the tests of calls over NATS share.
#pragma once

#include <nats/nats.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "methods.h"
#include "nats_server.h"

/// Even on a busy machine only something that hangs takes so long.
constexpr auto patience = 15s;
/// How much later than its deadline a call may end on a busy machine.
constexpr auto slack = 900ms;

inline Clock::time_point in(std::chrono::milliseconds time) { return Clock::now() + time; }

template <class Condition>
bool comes_true(Condition condition) {
    auto const end = in(patience);
    while (!condition()) {
        if (Clock::now() > end) return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

/// Limits that let a test of a fault end soon.
template <class Options>
Options quick_options(Nats_server const& server) {
    Options options;
    options.servers = {server.url()};
    options.subject = "test";
    options.chunk_size = 16384;
    options.window = 2;
    options.silence = 700ms;
    options.reconnect_pause = 50ms;
    return options;
}

inline Tm_nats_service_options service_options(Nats_server const& server) {
    auto options = quick_options<Tm_nats_service_options>(server);
    options.beat = 150ms;
    return options;
}

inline Tm_nats_caller_options caller_options(Nats_server const& server) {
    return quick_options<Tm_nats_caller_options>(server);
}

/// A service with the methods of the tests, which runs.
struct Running_service : Tm_nats_service {
    using Setup = std::function<void(Tm_nats_service&)>;

    explicit Running_service(Tm_nats_service_options const& options, Setup const& add_more = nullptr)
        : Tm_nats_service(options) {
        add_methods(*this);
        if (add_more) add_more(*this);
        start();
    }
};

/// Waits until the service has no work. Its counters are then complete.
inline bool becomes_idle(Tm_nats_service const& service) {
    return comes_true([&] { return service.counters().in_work + service.counters().transfers == 0; });
}

inline bool is_echoed(Tm_nats_caller& caller, std::string const& content, std::chrono::milliseconds time = patience) {
    Message const request = echo_request(content);
    std::string why;
    auto const answer = caller.call(request, in(time), &why);
    EXPECT_NE(nullptr, answer) << why;
    return answer != nullptr && answer->get_const_struct(body).equals(request.get_const_struct(body));
}

/// Somebody who speaks to the server without the library.
class Stranger {
public:
    struct Seen {
        std::string subject;
        std::string reply;
        std::string payload;
    };
    using On_message = std::function<void(Seen const&)>;

    explicit Stranger(Nats_server const& server) {
        if (natsConnection_ConnectTo(&connection_, server.url().c_str()) != NATS_OK)
            throw std::runtime_error("stranger");
    }
    ~Stranger() {
        natsConnection_Close(connection_);
        for (natsSubscription* const subscription : subscriptions_) {
            completed_.acquire();
            natsSubscription_Destroy(subscription);
        }
        natsConnection_Destroy(connection_);
    }

    /// One subscription only; the handler runs on a thread of its own.
    void listen(std::string const& subject, On_message on_message) {
        on_message_ = std::move(on_message);
        natsSubscription* subscription = nullptr;
        natsConnection_Subscribe(
            &subscription, connection_, subject.c_str(),
            [](natsConnection*, natsSubscription*, natsMsg* message, void* self) {
                char const* const reply = natsMsg_GetReply(message);
                static_cast<Stranger*>(self)->on_message_(
                    {natsMsg_GetSubject(message), reply == nullptr ? "" : reply,
                     std::string(natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message)))});
                natsMsg_Destroy(message);
            },
            this);
        natsSubscription_SetOnCompleteCB(
            subscription, [](void* self) { static_cast<Stranger*>(self)->completed_.release(); }, this);
        subscriptions_.push_back(subscription);
        natsConnection_Flush(connection_);
    }
    void publish(std::string const& subject, std::string const& payload, std::string const& reply = "") {
        natsConnection_PublishRequest(connection_, subject.c_str(), reply.empty() ? "nowhere" : reply.c_str(),
                                      payload.data(), static_cast<int>(payload.size()));
    }
    void publish_without_reply(std::string const& subject, std::string const& payload) {
        natsConnection_Publish(connection_, subject.c_str(), payload.data(), static_cast<int>(payload.size()));
    }
    /// Waits until the server has got all.
    void flush() { natsConnection_Flush(connection_); }

private:
    struct Semaphore {
        void release() {
            std::lock_guard<std::mutex> const lock(mutex);
            ++count;
            changed.notify_all();
        }
        void acquire() {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return count > 0; });
            --count;
        }
        std::mutex mutex;
        std::condition_variable changed;
        int count = 0;
    };

    natsConnection* connection_ = nullptr;
    On_message on_message_;
    Semaphore completed_;
    std::vector<natsSubscription*> subscriptions_;
};

/// Calls the function once, from a thread of its own, when `count` chunks at this position have gone by.
class At_chunk {
public:
    At_chunk(Nats_server const& server, int position, std::function<void()> act, int count = 1)
        : count_(count), ending_("." + std::to_string(position)), act_(std::move(act)), tap_(server) {
        tap_.listen("_INBOX.>", [this](Stranger::Seen const& seen) {
            bool const is_chunk = std::count(seen.subject.begin(), seen.subject.end(), '.') == 3;
            if (is_chunk && seen.subject.substr(seen.subject.rfind('.')) == ending_ && ++passed_ == count_) act_();
        });
    }
    bool has_acted() const { return passed_ >= count_; }

private:
    int const count_;
    std::string ending_;
    std::function<void()> act_;
    std::atomic<int> passed_{0};
    Stranger tap_;
};
