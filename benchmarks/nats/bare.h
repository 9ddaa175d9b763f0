/// The echo with libnats alone. It does only what an echo needs.
#pragma once

#include <nats/nats.h>

#include <functional>
#include <stdexcept>
#include <string>

inline void check(natsStatus status) {
    if (status != NATS_OK) throw std::runtime_error(natsStatus_GetText(status));
}

class Bare_connection {
public:
    /// `send_at_once` has the meaning of Tm_nats_connection::send_at_once.
    Bare_connection(std::string const& url, bool send_at_once) {
        natsOptions* options = nullptr;
        check(natsOptions_Create(&options));
        check(natsOptions_SetURL(options, url.c_str()));
        check(natsOptions_SetSendAsap(options, send_at_once));
        check(natsConnection_Connect(&connection_, options));
        natsOptions_Destroy(options);
    }
    Bare_connection(Bare_connection const&) = delete;
    Bare_connection& operator=(Bare_connection const&) = delete;
    ~Bare_connection() { natsConnection_Destroy(connection_); }

    natsConnection* get() const { return connection_; }

private:
    natsConnection* connection_ = nullptr;
};

inline void serve_bare(natsConnection* connection, std::string const& subject) {
    natsSubscription* subscription = nullptr;
    auto const echo = [](natsConnection* nats, natsSubscription*, natsMsg* message, void*) {
        natsConnection_Publish(nats, natsMsg_GetReply(message), natsMsg_GetData(message),
                               natsMsg_GetDataLength(message));
        natsMsg_Destroy(message);
    };
    check(natsConnection_QueueSubscribe(&subscription, connection, subject.c_str(), "workers", echo,
                                        nullptr));
    check(natsConnection_Flush(connection));
}

class Bare_caller {
public:
    Bare_caller(std::string const& url, std::string subject, bool send_at_once)
        : connection_(url, send_at_once), subject_(std::move(subject)) {
        natsInbox* name = nullptr;
        check(natsInbox_Create(&name));
        inbox_ = name;
        natsInbox_Destroy(name);
        auto const take = [](natsConnection*, natsSubscription*, natsMsg* message, void* self) {
            auto const size = static_cast<std::size_t>(natsMsg_GetDataLength(message));
            natsMsg_Destroy(message);
            static_cast<Bare_caller*>(self)->on_answer_(size);
        };
        check(natsConnection_Subscribe(&subscription_, connection_.get(), inbox_.c_str(), take,
                                       this));
    }
    ~Bare_caller() { natsSubscription_Destroy(subscription_); }

    /// Waits for the answer and returns its size.
    std::size_t call(std::string const& payload) {
        natsMsg* answer = nullptr;
        check(natsConnection_Request(&answer, connection_.get(), subject_.c_str(), payload.data(),
                                     static_cast<int>(payload.size()), 10'000));
        auto const size = static_cast<std::size_t>(natsMsg_GetDataLength(answer));
        natsMsg_Destroy(answer);
        return size;
    }
    /// Sets the function that gets the size of each answer to start().
    void on_answer(std::function<void(std::size_t size)> on_answer) {
        on_answer_ = std::move(on_answer);
    }
    void start(std::string const& payload) {
        check(natsConnection_PublishRequest(connection_.get(), subject_.c_str(), inbox_.c_str(),
                                            payload.data(), static_cast<int>(payload.size())));
    }

private:
    Bare_connection connection_;
    std::string subject_;
    std::string inbox_;
    natsSubscription* subscription_ = nullptr;
    std::function<void(std::size_t)> on_answer_;
};
