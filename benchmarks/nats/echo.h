/// The echo with tmsg. The answer has the same byte string as the request.
#pragma once

#include <tmsg/nats/tm_nats.h>

#include <stdexcept>

inline void use_options(Tm_nats_connection& options, std::string const& url, bool send_at_once) {
    options.servers = {url};
    options.send_at_once = send_at_once;
}

class Tmsg_worker {
public:
    Tmsg_worker(std::string const& url, std::string const& subject, bool send_at_once)
        : service_(options(url, subject, send_at_once)) {
        service_.on("echo", [](Message const& request) {
            Message answer;
            answer.get_struct(Message::TMG_BODY) = request.get_const_struct(Message::TMG_BODY);
            return answer;
        });
        service_.start();
    }

private:
    static Tm_nats_service_options options(std::string const& url, std::string const& subject,
                                           bool send_at_once) {
        Tm_nats_service_options made;
        use_options(made, url, send_at_once);
        made.subject = subject;
        made.threads = 1;
        return made;
    }

    Tm_nats_service service_;
};

class Tmsg_caller {
public:
    Tmsg_caller(std::string const& url, std::string const& subject, bool send_at_once)
        : caller_(options(url, subject, send_at_once)) {}

    static Message request_of(std::string const& payload) {
        auto const* const bytes = reinterpret_cast<unsigned char const*>(payload.data());
        Message request = Message::request("echo");
        request.get_struct(Message::TMG_BODY)
            .add_member("payload", bytes, static_cast<unsigned int>(payload.size()));
        return request;
    }

    std::size_t call(std::string const& payload) {
        auto const answer = caller_.call(request_of(payload), deadline());
        return size_of(answer.get());
    }
    void on_answer(std::function<void(std::size_t size)> on_answer) {
        on_answer_ = std::move(on_answer);
    }
    void start(std::string const& payload) {
        caller_.start(request_of(payload), deadline(),
                      [this](std::unique_ptr<Message> answer, std::string const&) {
                          on_answer_(size_of(answer.get()));
                      });
    }
    /// Returns the bytes of the payloads of a request and its answer.
    double bytes_of_call() const {
        auto const counters = caller_.counters();
        return static_cast<double>(counters.bytes_sent + counters.bytes_received) /
               static_cast<double>(counters.answered);
    }

private:
    static Tm_nats_caller_options options(std::string const& url, std::string const& subject,
                                          bool send_at_once) {
        Tm_nats_caller_options made;
        use_options(made, url, send_at_once);
        made.subject = subject;
        return made;
    }
    static std::chrono::steady_clock::time_point deadline() {
        return std::chrono::steady_clock::now() + std::chrono::seconds(10);
    }
    /// 0 for no answer.
    static std::size_t size_of(Message const* answer) {
        if (answer == nullptr) return 0;
        return answer->get_member_binary(Message::TMG_BODY, "payload")->get_buffer_size();
    }

    Tm_nats_caller caller_;
    std::function<void(std::size_t)> on_answer_;
};
