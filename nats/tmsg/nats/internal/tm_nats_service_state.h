/// What a service holds, and the threads on which its operations run.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "tmsg/message/tm_children.h"
#include "tmsg/nats/internal/tm_nats_frames.h"
#include "tmsg/nats/internal/tm_nats_link.h"
#include "tmsg/nats/internal/tm_nats_number.h"
#include "tmsg/nats/internal/tm_nats_transfer.h"
#include "tmsg/nats/tm_nats_service.h"
#include "tmsg/rpc/tm_service.h"

class TMSG_LOCAL Tm_nats_service::State {
public:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    explicit State(Tm_nats_service_options options) : options_(std::move(options)) {
        tm_nats_check(options_, options_, options_.subject);
        if (options_.threads < 1 || options_.threads > 1000) {
            throw Tm_nats_exception("threads " + std::to_string(options_.threads) +
                                    " out of range 1..1000");
        }
        if (options_.max_transfers == 0) throw Tm_nats_exception("no transfers");
    }
    State(State const&) = delete;
    State& operator=(State const&) = delete;
    ~State() { stop(); }

    /// Returns the methods, which only a service that is not started can change.
    Tm_service& methods() {
        if (is_started_) throw Tm_nats_exception("method added to a service that was started");
        return service_;
    }
    /// Makes a method that passes the identity of the request of its thread. An empty method stays
    /// empty.
    static Method without_id(Method_with_id method);
    void start();
    bool drain(std::chrono::milliseconds time);
    void stop();
    Tm_nats_service_counters counters() const;
    bool is_connected() const {
        Lock const lock(mutex_);
        return link_ != nullptr && link_->is_connected();
    }

private:
    /// What to do for a request: its payload, or a large one that has arrived.
    struct Work {
        std::string reply;
        Clock::time_point begun;
        Clock::time_point last_sign;
        std::optional<Tm_nats_message> payload;
        std::unique_ptr<Message> large;

        std::size_t size() const { return payload ? payload->payload().size() : 0; }
    };

    /// A request whose answer is under way, and the files that it brought.
    struct Exchange {
        Exchange(std::unique_ptr<Message> asked, Message&& answered)
            : request(std::move(asked)), answer(std::move(answered)) {}
        Exchange(Exchange const&) = delete;
        Exchange& operator=(Exchange const&) = delete;
        ~Exchange() {
            if (request != nullptr) tm_nats_remove_files(*request);
        }

        std::unique_ptr<Message> request;
        Message answer;
    };

    struct Incoming {
        Incoming(std::string const& reply, unsigned int seq_no,
                 Tm_nats_transfer_options const& options)
            : receiving(reply, seq_no, options), last_heard(Clock::now()) {}

        std::mutex mutex;  ///< for `receiving`
        Tm_nats_receiving receiving;
        Clock::time_point last_heard;
    };

    struct Outgoing {
        Outgoing(std::shared_ptr<Exchange const> what, Tm_nats_link& link, std::size_t chunk_size,
                 std::string const& inbox, std::string to)
            : exchange(std::move(what)),
              reply(std::move(to)),
              sending(link, exchange->answer, exchange->answer.header.get_seq_no(), chunk_size,
                      inbox),
              last_heard(Clock::now()) {}

        std::shared_ptr<Exchange const> exchange;
        std::string reply;
        Tm_nats_sending sending;
        Clock::time_point last_heard;
    };

    struct Numbers {
        Tm_nats_number received{0};
        Tm_nats_number answered{0};
        Tm_nats_number faults{0};
        Tm_nats_number bad_payloads{0};
        Tm_nats_number refused{0};
        Tm_nats_number unused_claims{0};
        Tm_nats_number lost{0};
        Tm_nats_number bytes_received{0};
    };

    // On the thread of the subject.
    void on_request(Tm_nats_message message);
    void on_claim(std::string const& reply);
    // On the thread of the inbox.
    void on_inbox(Tm_nats_message const& message);
    void on_chunk(std::uint64_t transfer, std::uint32_t position, Tm_nats_message const& message);
    void on_control(std::uint64_t transfer, Tm_nats_control const& control);
    void go_on(std::uint64_t transfer, std::uint32_t allowed);
    // On the threads of the work.
    void work_on(std::size_t thread);
    void handle(Work& work);
    std::unique_ptr<Message> decode(Work const& work);
    Message answer_of(Message const& request, std::string const& reply) const;
    void respond(std::string const& reply, std::shared_ptr<Exchange> const& exchange);
    void begin_outgoing(std::string const& reply, std::shared_ptr<Exchange> const& exchange);
    // On the thread of the time.
    void watch_time();
    void give_signs_of_life();
    void give_up_silent();

    bool put_small(Work work);
    void put_large(std::uint64_t transfer, Work work);
    void put(Work work);
    void refuse(std::string const& reply, std::string_view why, std::string const& transfer = {});
    void answer_with_fault(std::string const& reply, unsigned int seq_no, std::string const& text);
    void count_answer(Message const& answer);
    std::string transfer_subject(std::uint64_t transfer) const {
        return tm_nats_subject(link_->inbox(), transfer);
    }
    std::shared_ptr<Incoming> drop_incoming(std::uint64_t transfer);
    std::shared_ptr<Outgoing> end_outgoing(std::uint64_t transfer, bool is_sent);
    bool is_idle() const;
    void join();

    /// The request that this thread works on.
    inline static thread_local Tm_nats_request const* current_request = nullptr;

    Tm_nats_service_options const options_;
    Tm_service service_;
    Numbers numbers_;
    bool is_started_ = false;
    bool is_ended_ = false;

    mutable std::mutex mutex_;
    std::condition_variable has_work_;
    std::condition_variable changed_;  ///< something ended
    std::deque<Work> waiting_;
    std::size_t waiting_bytes_ = 0;
    std::vector<Work*> in_work_;  ///< by thread
    std::map<std::uint64_t, std::shared_ptr<Incoming>> incoming_;
    std::map<std::uint64_t, std::shared_ptr<Outgoing>> outgoing_;
    std::size_t large_ = 0;  ///< large requests from the claim to the end of the work
    std::uint64_t last_transfer_ = 0;
    bool is_draining_ = false;
    bool is_stopping_ = false;

    Tm_nats_whole_sender whole_;
    std::unique_ptr<Tm_nats_link> link_;
    std::unique_ptr<Tm_nats_link::Subscription> inbox_;
    std::unique_ptr<Tm_nats_link::Subscription> subject_;
    std::vector<std::thread> threads_;
};
