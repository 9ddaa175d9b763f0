/// Everything of tmsg, typed messages for remote calls, in one include.
///
/// Lifetimes, where a header says nothing else: what a constructor is given must outlive the
/// object, what a call is given must outlive the call, and what a getter returns is valid until its
/// object changes or goes. Texts of strings, structs, arrays, byte strings, files and messages stay
/// valid until their member is removed or replaced; texts of strings, also until their struct is
/// swapped.
///
/// Threads, with no lock: const operations of values do not change them, so that any number of
/// threads may read, copy, encode and compare one message, or any other value, while none changes
/// it. Different objects, copies of one message too, may be used and changed by different threads.
/// All that is no value (encoders, decoders, receivers, catalogues) is for one thread at a time.
#pragma once

#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/binary/tm_bin_encoder.h"
#include "tmsg/binary/tm_decode.h"
#include "tmsg/binary/tm_encode.h"
#include "tmsg/binary/tm_message_peek_decoder.h"
#include "tmsg/composite/tm_array.h"
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
#include "tmsg/text/message_text.h"
#include "tmsg/text/tm_json_encoder.h"
#include "tmsg/text/tm_tcl_decoder.h"
#include "tmsg/text/tm_tcl_encoder.h"
#include "tmsg/text/tm_tcl_tokenizer.h"
#include "tmsg/text/tm_text_creator.h"
#include "tmsg/text/tm_xml_encoder.h"
#include "tmsg/transport/tm_chunk_reader.h"
#include "tmsg/transport/tm_chunk_receiver.h"
#include "tmsg/transport/tm_chunk_sender.h"
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
