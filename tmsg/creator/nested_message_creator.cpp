#include "tmsg/creator/nested_message_creator.h"

#include <utility>

Nested_message_creator::Nested_message_creator(Tm_destination destination, bool is_request,
                                               Tm_received_files* received_files)
    : Nested_message_creator(destination, is_request, received_files,
                             std::make_unique<Message>(nullptr)) {}

Nested_message_creator::Nested_message_creator(Tm_destination destination, bool is_request,
                                               Tm_received_files* received_files,
                                               std::unique_ptr<Message> message)
    : Message_creator(message.get(), nullptr, received_files),
      destination_(destination),
      message_(std::move(message)) {
    Message_creator::visit_method_begin(is_request);
}

bool Nested_message_creator::visit_method_end(bool is_request) {
    if (!Message_creator::visit_method_end(is_request)) return false;
    destination_.add(message_);
    return finish();
}
