/// Watches a subject: a connection with two subscriptions, whose payloads one thread takes in the
/// order in which they arrive.
#include <nats/nats.h>
#include <tmsg/nats/internal/tm_nats_event.h>

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "io/output.h"
#include "io/terminal.h"
#include "nats/over_nats.h"
#include "nats/traffic.h"
#include "nats/waiting.h"

namespace {

constexpr std::int64_t connect_timeout = 2000;  ///< milliseconds
constexpr std::int64_t reconnect_pause = 250;   ///< milliseconds
constexpr int always = 1 << 30;

void check(natsStatus status, std::string const& what) {
    if (status != NATS_OK) throw Failure(what + ": " + natsStatus_GetText(status));
}

struct Destroy {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
    void operator()(natsConnection* connection) const { natsConnection_Destroy(connection); }
    void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
};

/// A subscription without a queue group.
class Watch {
public:
    using Take = std::function<void(Nats_payload const& payload)>;

    Watch(natsConnection* connection, std::string const& subject, Take take)
        : take_(std::move(take)) {
        check(
            natsConnection_Subscribe(&subscription_, connection, subject.c_str(), on_message, this),
            "subject " + subject);
        natsStatus const status = natsSubscription_SetOnCompleteCB(
            subscription_, [](void* self) { static_cast<Watch*>(self)->completed_.set(); }, this);
        if (status != NATS_OK) completed_.set();
    }
    Watch(Watch const&) = delete;
    Watch& operator=(Watch const&) = delete;
    /// Waits for the handler.
    ~Watch() {
        natsSubscription_Unsubscribe(subscription_);
        completed_.wait();
        natsSubscription_Destroy(subscription_);
    }

    /// Returns the number of payloads that came too fast.
    std::int64_t missed() const {
        std::int64_t number = 0;
        return natsSubscription_GetDropped(subscription_, &number) == NATS_OK ? number : 0;
    }

private:
    static std::string_view text_of(char const* text) {
        return text == nullptr ? std::string_view() : text;
    }
    static void on_message(natsConnection*, natsSubscription*, natsMsg* message, void* self) {
        std::unique_ptr<natsMsg, Destroy> const owned(message);
        auto const size = static_cast<std::size_t>(natsMsg_GetDataLength(message));
        static_cast<Watch*>(self)->take_({text_of(natsMsg_GetSubject(message)),
                                          text_of(natsMsg_GetReply(message)),
                                          {natsMsg_GetData(message), size}});
    }

    Take take_;
    Tm_nats_event completed_;
    natsSubscription* subscription_ = nullptr;
};

class Server_link {
public:
    /// Throws Failure.
    explicit Server_link(Nats_place const& place) {
        natsOptions* made = nullptr;
        check(natsOptions_Create(&made), "options");
        std::unique_ptr<natsOptions, Destroy> const options(made);
        check(natsOptions_SetURL(made, place.server.c_str()), place.server);
        set_user(made, place);
        set_behaviour(made);
        natsConnection* connection = nullptr;
        check(natsConnection_Connect(&connection, made), "cannot connect to " + place.server);
        connection_.reset(connection);
    }
    Server_link(Server_link const&) = delete;
    Server_link& operator=(Server_link const&) = delete;
    ~Server_link() {
        natsConnection_Close(connection_.get());
        closed_.wait();
    }

    natsConnection* get() const { return connection_.get(); }

private:
    static void set_user(natsOptions* options, Nats_place const& place) {
        if (place.user.empty()) return;
        check(place.password.empty()
                  ? natsOptions_SetToken(options, place.user.c_str())
                  : natsOptions_SetUserInfo(options, place.user.c_str(), place.password.c_str()),
              "user");
    }
    void set_behaviour(natsOptions* options) {
        // Otherwise each subscription would have a thread, and an answer could be taken before its
        // request.
        check(nats_SetMessageDeliveryPoolSize(1), "threads");
        check(natsOptions_UseGlobalMessageDelivery(options, true), "threads");
        check(natsOptions_SetName(options, "tmsg"), "name");
        check(natsOptions_SetTimeout(options, connect_timeout), "timeout");
        check(natsOptions_SetReconnectWait(options, reconnect_pause), "reconnecting");
        check(natsOptions_SetMaxReconnect(options, always), "reconnecting");
        check(
            natsOptions_SetClosedCB(
                options,
                [](natsConnection*, void* self) { static_cast<Server_link*>(self)->closed_.set(); },
                this),
            "closing");
        // The default writes each error to standard error.
        check(natsOptions_SetErrorHandler(
                  options, [](natsConnection*, natsSubscription*, natsStatus, void*) {}, nullptr),
              "errors");
    }

    Tm_nats_event closed_;
    std::unique_ptr<natsConnection, Destroy> connection_;
};

class Tap {
public:
    /// The inboxes come first, so that no answer to a request that is seen is missed.
    Tap(Nats_watching& watching, Stop& stop)
        : stop_(stop),
          traffic_(watching.lines, Capture_folder(watching.captures), watching.limits),
          link_(watching.place),
          inboxes_(link_.get(), watching.inboxes + ".>", taken_by(&Nats_traffic::take_at_inbox)),
          subject_(link_.get(), watching.place.subject, taken_by(&Nats_traffic::take_at_subject)) {
        check(natsConnection_FlushTimeout(link_.get(), connect_timeout), watching.place.name());
        std::lock_guard<std::mutex> const lock(mutex_);
        note("watching " + watching.place.name());
    }

    void report_missed() {
        std::lock_guard<std::mutex> const lock(mutex_);
        std::int64_t const missed = subject_.missed() + inboxes_.missed();
        if (missed > 0) report(std::to_string(missed) + " payloads came too fast to be shown");
    }

private:
    Watch::Take taken_by(void (Nats_traffic::*take)(Nats_payload const&)) {
        return [this, take](Nats_payload const& payload) {
            std::lock_guard<std::mutex> const lock(mutex_);
            if (has_failed_) return;
            try {
                (traffic_.*take)(payload);
            } catch (std::bad_alloc const& error) {
                report(text_of(error));
            } catch (...) {
                has_failed_ = true;
                stop_.fail(std::current_exception());
            }
        };
    }

    Stop& stop_;
    Nats_traffic traffic_;
    std::mutex mutex_;  ///< for output
    bool has_failed_ = false;
    Server_link link_;
    Watch inboxes_;
    Watch subject_;
};

}  // namespace

void watch_nats(Nats_watching& watching) {
    hold_standard_descriptors();
    Stop stop;
    Tap tap(watching, stop);
    stop.wait();
    tap.report_missed();
}
