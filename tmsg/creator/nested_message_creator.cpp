#include "tmsg/creator/nested_message_creator.h"

#include <utility>

Nested_message_creator::Nested_message_creator(Tm_destination destination, bool is_request)
    : Nested_message_creator(destination, is_request, std::make_unique<Message>(nullptr)) {}

Nested_message_creator::Nested_message_creator(Tm_destination destination, bool is_request,
                                               std::unique_ptr<Message> message)
    : Message_creator(message.get(), nullptr),
      destination_(destination),
      message_(std::move(message)) {
    Message_creator::visit_method_begin(is_request);
}

bool Nested_message_creator::visit_method_end(bool is_request) {
    if (!Message_creator::visit_method_end(is_request)) return false;
    destination_.add(std::move(message_));
    return finish();
}
