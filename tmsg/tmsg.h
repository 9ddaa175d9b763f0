/// Includes all of tmsg, a library of typed messages for remote calls.
///
/// These lifetimes hold where a header says nothing else:
///  - An object that a constructor gets by pointer or reference must outlive the new object.
///  - An argument of a call must outlive the call.
///  - A pointer or reference from a getter is valid until its object changes or is destroyed.
///  - A pointer to a struct, array, byte string, file or message in a container is valid until that
///    member is removed or replaced. The text of a string is valid for the same time, but swap() of
///    its struct may end it earlier.
///
/// Threads need no lock when they follow these rules:
///  - Const operations do not change a value. Any number of threads may read, copy, encode and
///    compare one message, or any other value, while no thread changes it.
///  - Different threads may use and change different objects. Two copies of one message are
///    different objects.
///  - Only one thread at a time may use an object that is not a value, such as an encoder, a
///    decoder, a receiver, a caller or a catalogue.
#pragma once

#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/binary/tm_bin_encoder.h"
#include "tmsg/binary/tm_message_peek_decoder.h"
#include "tmsg/binary/tm_whole.h"
#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_fields.h"
#include "tmsg/composite/tm_prenamed_struct.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/composite/tm_value_container.h"
#include "tmsg/creator/tm_creator.h"
#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/fwd.h"
#include "tmsg/message/chunks/message_chunk.h"
#include "tmsg/message/chunks/message_chunk_container.h"
#include "tmsg/message/message.h"
#include "tmsg/message/tm_children.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/message/tm_tree.h"
#include "tmsg/rpc/tm_caller.h"
#include "tmsg/rpc/tm_service.h"
#include "tmsg/text/tm_debug.h"
#include "tmsg/text/tm_json_encoder.h"
#include "tmsg/text/tm_tcl_decoder.h"
#include "tmsg/text/tm_tcl_encoder.h"
#include "tmsg/text/tm_tcl_tokenizer.h"
#include "tmsg/text/tm_text_creator.h"
#include "tmsg/text/tm_to_text.h"
#include "tmsg/text/tm_typed_json_decoder.h"
#include "tmsg/text/tm_typed_json_encoder.h"
#include "tmsg/text/tm_xml_encoder.h"
#include "tmsg/transport/tm_chunk_reader.h"
#include "tmsg/transport/tm_chunk_receiver.h"
#include "tmsg/transport/tm_chunk_sender.h"
#include "tmsg/transport/tm_chunk_source.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_date.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"
#include "tmsg/value/tm_limits.h"
#include "tmsg/value/tm_scalars.h"
#include "tmsg/value/tm_string.h"
#include "tmsg/value/tm_type_code.h"
#include "tmsg/value/tm_utils.h"
#include "tmsg/value/tm_value.h"
#include "tmsg/value/tm_visitor.h"
#include "tmsg/version.h"
