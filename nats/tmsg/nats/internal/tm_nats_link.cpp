#include "tmsg/nats/internal/tm_nats_link.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "tmsg/message/tm_header.h"

namespace {

struct Destroy_options {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
};
using Options = std::unique_ptr<natsOptions, Destroy_options>;

void check(natsStatus status, std::string const& what) {
    if (status == NATS_OK) return;
    if (status == NATS_NO_MEMORY) throw std::bad_alloc();
    throw Tm_nats_exception(what + ": " + natsStatus_GetText(status));
}

char const* text_or_null(std::string const& text) { return text.empty() ? nullptr : text.c_str(); }

/// Leaves out the user and the password that the address of a server may have.
std::string without_user(std::string const& server) {
    std::size_t const begin = server.find("://");
    std::size_t const host = begin == std::string::npos ? 0 : begin + 3;
    std::size_t const at = server.rfind('@');
    if (at == std::string::npos || at < host) return server;
    return server.substr(0, host) + server.substr(at + 1);
}

std::string joined(std::vector<std::string> const& servers) {
    std::string text;
    for (std::string const& server : servers) {
        text += (text.empty() ? "" : ", ") + without_user(server);
    }
    return text;
}

void set_servers(natsOptions* to, std::vector<std::string> const& servers) {
    std::vector<char const*> texts;
    texts.reserve(servers.size());
    for (std::string const& server : servers) texts.push_back(server.c_str());
    check(natsOptions_SetServers(to, texts.data(), static_cast<int>(texts.size())),
          "servers " + joined(servers));
}

void set_identity(natsOptions* to, Tm_nats_connection const& from) {
    if (!from.name.empty()) check(natsOptions_SetName(to, from.name.c_str()), "name");
    if (!from.user.empty()) {
        check(natsOptions_SetUserInfo(to, from.user.c_str(), from.password.c_str()), "user");
    }
    if (!from.token.empty()) check(natsOptions_SetToken(to, from.token.c_str()), "token");
    if (!from.credentials_file.empty()) {
        char const* const file = from.credentials_file.c_str();
        check(natsOptions_SetUserCredentialsFromFiles(to, file, nullptr), from.credentials_file);
    }
}

void set_tls(natsOptions* to, Tm_nats_connection const& from) {
    bool const has_certificate = !from.certificate_file.empty() || !from.key_file.empty();
    bool const has_files = !from.ca_file.empty() || has_certificate;
    if (from.use_tls || has_files) check(natsOptions_SetSecure(to, true), "TLS");
    if (!from.ca_file.empty()) {
        check(natsOptions_LoadCATrustedCertificates(to, from.ca_file.c_str()), from.ca_file);
    }
    if (has_certificate) {
        check(natsOptions_LoadCertificatesChain(to, text_or_null(from.certificate_file),
                                                text_or_null(from.key_file)),
              "certificate " + from.certificate_file + " with key " + from.key_file);
    }
    if (!from.expected_host.empty()) {
        check(natsOptions_SetExpectedHostname(to, from.expected_host.c_str()), "expected host");
    }
}

void set_times(natsOptions* to, Tm_nats_connection const& from) {
    check(natsOptions_SetTimeout(to, from.connect_timeout.count()), "connect_timeout");
    check(natsOptions_SetReconnectWait(to, from.reconnect_pause.count()), "reconnect_pause");
    auto const jitter = std::max(from.reconnect_pause.count() / 4, 1L);
    check(natsOptions_SetReconnectJitter(to, jitter, jitter), "reconnect_pause");
    check(natsOptions_SetMaxReconnect(to, std::numeric_limits<int>::max()), "reconnecting");
    check(natsOptions_SetWriteDeadline(to, from.write_timeout.count()), "write_timeout");
    check(natsOptions_SetPingInterval(to, from.ping_interval.count()), "ping_interval");
    check(natsOptions_SetMaxPingsOut(to, 2), "ping_interval");
    check(natsOptions_SetSendAsap(to, from.send_at_once), "send_at_once");
}

std::string new_inbox(std::string const& prefix) {
    natsInbox* name = nullptr;
    check(natsInbox_Create(&name), "inbox");
    std::string_view const text = name;
    std::string_view const unique = text.substr(text.find('.'));
    std::string inbox;
    try {
        inbox.append(prefix).append(unique);
    } catch (...) {
        natsInbox_Destroy(name);
        throw;
    }
    natsInbox_Destroy(name);
    return inbox;
}

}  // namespace

Tm_nats_link::Subscription::Subscription(natsConnection* connection, std::string const& subject,
                                         std::string const& group, Message_handler on_message)
    : on_message_(std::move(on_message)) {
    auto const take = [](natsConnection*, natsSubscription*, natsMsg* message, void* self) {
        try {
            static_cast<Subscription*>(self)->on_message_(Tm_nats_message(message));
        } catch (std::bad_alloc const&) {
            // The message is lost, as NATS may lose any. The caller tries again.
        }
    };
    check(group.empty()
              ? natsConnection_Subscribe(&subscription_, connection, subject.c_str(), take, this)
              : natsConnection_QueueSubscribe(&subscription_, connection, subject.c_str(),
                                              group.c_str(), take, this),
          "subject " + subject);
    auto const complete = [](void* self) { static_cast<Subscription*>(self)->completed_.set(); };
    if (natsSubscription_SetOnCompleteCB(subscription_, complete, this) != NATS_OK) {
        completed_.set();
    }
}

Tm_nats_link::Subscription::~Subscription() {
    natsSubscription_Unsubscribe(subscription_);
    completed_.wait();
    natsSubscription_Destroy(subscription_);
}

bool Tm_nats_link::Subscription::drain(std::chrono::milliseconds time) {
    auto const limit = std::max<std::int64_t>(time.count(), 1);
    return natsSubscription_DrainTimeout(subscription_, limit) == NATS_OK &&
           natsSubscription_WaitForDrainCompletion(subscription_, limit) == NATS_OK &&
           natsSubscription_DrainCompletionStatus(subscription_) == NATS_OK;
}

Tm_nats_link::Tm_nats_link(Tm_nats_connection const& options, std::function<void()> on_reconnected)
    : on_reconnected_(std::move(on_reconnected)), inbox_(new_inbox(options.inbox_prefix)) {
    natsOptions* made = nullptr;
    check(natsOptions_Create(&made), "options");
    Options const owned(made);
    set_servers(made, options.servers);
    set_identity(made, options);
    set_tls(made, options);
    set_times(made, options);
    watch(made);
    natsConnection* connection = nullptr;
    check(natsConnection_Connect(&connection, made),
          "cannot connect to " + joined(options.servers));
    connection_.reset(connection);
    learn_payload_limit(connection);
}

/// libnats calls the handlers of a connection one after another.
void Tm_nats_link::watch(natsOptions* options) {
    auto const on_lost = [](natsConnection*, void* self) {
        static_cast<Tm_nats_link*>(self)->is_connected_ = false;
    };
    auto const on_again = [](natsConnection* again, void* self) {
        auto* const link = static_cast<Tm_nats_link*>(self);
        link->learn_payload_limit(again);
        link->is_connected_ = true;
        link->on_reconnected_();
    };
    auto const on_closed = [](natsConnection*, void* self) {
        auto* const link = static_cast<Tm_nats_link*>(self);
        link->is_connected_ = false;
        link->closed_.set();
    };
    check(natsOptions_SetDisconnectedCB(options, on_lost, this), "losing the connection");
    check(natsOptions_SetReconnectedCB(options, on_again, this), "reconnecting");
    check(natsOptions_SetClosedCB(options, on_closed, this), "closing");
    // The default writes each error to standard error.
    check(natsOptions_SetErrorHandler(
              options, [](natsConnection*, natsSubscription*, natsStatus, void*) {}, nullptr),
          "errors");
}

Tm_nats_link::~Tm_nats_link() { close(); }

void Tm_nats_link::close() {
    natsConnection_Close(connection_.get());
    closed_.wait();
}

void Tm_nats_link::learn_payload_limit(natsConnection* connection) {
    std::int64_t const limit = natsConnection_GetMaxPayload(connection);
    std::int64_t const header = sizeof(TM_HEADER);
    most_chunk_payload_ = static_cast<std::size_t>(
        std::clamp<std::int64_t>(limit - header, 1, Tm_header::MAX_LENGTH));
}

std::unique_ptr<Tm_nats_link::Subscription> Tm_nats_link::subscribe(std::string const& subject,
                                                                    std::string const& group,
                                                                    Message_handler on_message) {
    return std::make_unique<Subscription>(connection_.get(), subject, group, std::move(on_message));
}

bool Tm_nats_link::publish(std::string const& subject, std::string const& reply, void const* data,
                           std::size_t size) {
    int const length = static_cast<int>(size);
    natsStatus const status =
        reply.empty() ? natsConnection_Publish(connection_.get(), subject.c_str(), data, length)
                      : natsConnection_PublishRequest(connection_.get(), subject.c_str(),
                                                      reply.c_str(), data, length);
    if (status != NATS_OK) return false;
    bytes_published_.fetch_add(size, std::memory_order_relaxed);
    return true;
}

bool Tm_nats_link::flush(std::chrono::milliseconds time) {
    auto const limit = std::max<std::int64_t>(time.count(), 1);
    return natsConnection_FlushTimeout(connection_.get(), limit) == NATS_OK;
}
