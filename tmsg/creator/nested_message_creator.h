#pragma once

#include <memory>

#include "tmsg/creator/message_creator.h"
#include "tmsg/creator/tm_destination.h"

/// Builds a message inside a struct or an array. Like a copied message it owns its catalogues.
class Nested_message_creator : public Message_creator {
public:
    Nested_message_creator(Tm_destination destination, bool is_request,
                           Tm_received_files* received_files);

    bool visit_method_end(bool is_request) override;

private:
    Nested_message_creator(Tm_destination destination, bool is_request,
                           Tm_received_files* received_files, std::unique_ptr<Message> message);

    Tm_destination destination_;
    std::unique_ptr<Message> message_;
};
