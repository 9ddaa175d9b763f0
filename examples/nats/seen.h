/// A table of the requests that a service has seen, so that a repeated request gets its first
/// answer again instead of another run of its method:
///
///     Seen_requests seen(100'000, std::chrono::minutes(5));
///     service.on("stock.reserve", seen.once(reserve));
///
/// The table forgets the oldest requests when it has too many, and those that are too old. A
/// request that is repeated later runs again. So the age must be longer than the deadlines of the
/// callers, and the table larger than the number of requests within this time.
/// The table knows only the requests of its own process. Where another process may get the
/// repetition, the processes need a table in common, or each process a subject of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <future>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "tmsg/nats/tm_nats.h"

class Seen_requests {
public:
    /// `most` is the number of requests, at least 1.
    Seen_requests(std::size_t most, std::chrono::milliseconds age) : most_(most), age_(age) {}

    /// Returns a method that runs `method` once for each request. A repetition waits for the first
    /// run, and gets its answer or its fault. Requests without an identity are all different,
    /// because their callers wait for no answer and repeat nothing. The table must live as long as
    /// the method.
    Tm_nats_service::Method_with_id once(Tm_nats_service::Method method) {
        return [this, method = std::move(method)](Message const& request,
                                                  Tm_nats_request const& about) {
            if (about.id.empty()) return method(request);
            std::promise<Message> promise;
            auto const [answer, is_first] = find_or_add(std::string(about.id), promise);
            if (!is_first) {
                ++repeated_;
                return answer.get();
            }
            try {
                promise.set_value(method(request));
            } catch (...) {
                promise.set_exception(std::current_exception());
            }
            return answer.get();
        };
    }

    std::size_t repeated() const { return repeated_; }
    std::size_t size() const {
        std::lock_guard<std::mutex> const lock(mutex_);
        return by_id_.size();
    }

private:
    using Clock = std::chrono::steady_clock;
    using Answer = std::shared_future<Message>;
    struct Seen {
        std::string id;
        Clock::time_point since;
        Answer answer;
    };

    /// Returns the answer, and whether the promise is to be kept.
    std::pair<Answer, bool> find_or_add(std::string id, std::promise<Message>& promise) {
        auto const now = Clock::now();
        std::lock_guard<std::mutex> const lock(mutex_);
        forget_old(now);
        auto const known = by_id_.find(id);
        if (known != by_id_.end()) return {known->second->answer, false};
        if (seen_.size() >= most_) forget_oldest();
        seen_.push_back({std::move(id), now, promise.get_future().share()});
        by_id_.emplace(seen_.back().id, std::prev(seen_.end()));
        return {seen_.back().answer, true};
    }
    void forget_old(Clock::time_point now) {
        while (!seen_.empty() && now - seen_.front().since > age_) forget_oldest();
    }
    void forget_oldest() {
        by_id_.erase(seen_.front().id);
        seen_.pop_front();
    }

    std::size_t const most_;
    std::chrono::milliseconds const age_;
    std::atomic<std::size_t> repeated_{0};
    mutable std::mutex mutex_;
    std::list<Seen> seen_;  ///< the oldest first
    std::map<std::string, std::list<Seen>::iterator> by_id_;
};
