/// Lets a thread wait for what happens once on a thread of libnats.
#pragma once

#include <condition_variable>
#include <mutex>

class Tm_nats_event {
public:
    void set() {
        // The object may be gone as soon as the mutex is free.
        std::lock_guard<std::mutex> const lock(mutex_);
        is_set_ = true;
        changed_.notify_all();
    }
    /// Returns at once when set() was called before.
    void wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return is_set_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool is_set_ = false;
};
