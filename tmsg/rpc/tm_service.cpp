#include "tmsg/rpc/tm_service.h"

#include <string_view>
#include <utility>

#include "tmsg/value/tm_string.h"

namespace {

Message fault_of(int code, std::string_view text) {
    return Message::fault(code, text.substr(0, Tm_string::MAX_LENGTH));
}

}  // namespace

Tm_fault_exception::Tm_fault_exception(int code, std::string text) : code_(code) {
    message_ = std::move(text);
}

Tm_fault_exception::~Tm_fault_exception() = default;

Tm_service::Tm_service() = default;
Tm_service::Tm_service(Tm_service const&) = default;
Tm_service& Tm_service::operator=(Tm_service const&) = default;
Tm_service::~Tm_service() = default;

void Tm_service::on(std::string name, Method method) {
    if (!method) throw Tm_exception("method without a function");
    methods_[std::move(name)] = std::move(method);
}

void Tm_service::on_any(Method method) {
    if (!method) throw Tm_exception("method without a function");
    any_ = std::move(method);
}

Message Tm_service::answer(Message const& request) const {
    // A method may move the content of a request that its owner lends to it.
    Tm_header const asked = request.header;
    Message answer = call(request);
    answer.header.set_seq_no(asked.get_seq_no());
    answer.header.set_tmport(static_cast<unsigned char>(asked.get_tmport()));
    return answer;
}

Message Tm_service::call(Message const& request) const {
    std::string const& name = request.get_request_name();
    Method const* const method = method_for(name);
    if (method == nullptr) return fault_of(NO_METHOD, "no method " + name);
    try {
        return (*method)(request);
    } catch (Tm_fault_exception const& fault) {
        return fault_of(fault.code(), fault.text());
    } catch (std::exception const& failure) {
        return fault_of(METHOD_FAILED, failure.what());
    }
}

/// Returns null when there is no method for the name.
Tm_service::Method const* Tm_service::method_for(std::string const& name) const {
    auto const found = methods_.find(name);
    if (found != methods_.end()) return &found->second;
    return any_ ? &any_ : nullptr;
}
