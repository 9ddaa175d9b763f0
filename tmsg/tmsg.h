/// Everything of tmsg, typed messages for remote calls, in one include.
///
/// Lifetimes, where a header says nothing else: what a constructor is given must outlive the
/// object, what a call is given must outlive the call, and what a getter answers lives as long as
/// the object that answered and was not changed. Threads: no object may be used by two threads at a
/// time, but different messages, and all other different objects, may, with no lock.
#pragma once

#include "tmsg/binary/tm_bin_array_decoder.h"
#include "tmsg/binary/tm_bin_decoder.h"
#include "tmsg/binary/tm_bin_encoder.h"
#include "tmsg/composite/tm_array.h"
#include "tmsg/composite/tm_prenamed_struct.h"
#include "tmsg/composite/tm_struct.h"
#include "tmsg/composite/tm_value_container.h"
#include "tmsg/creator/tm_creator.h"
#include "tmsg/creator/tm_creator_base.h"
#include "tmsg/creator/tm_creator_state.h"
#include "tmsg/message/message.h"
#include "tmsg/message/message_chunk.h"
#include "tmsg/message/message_chunk_container.h"
#include "tmsg/message/tm_header.h"
#include "tmsg/transport/tm_chunk_receiver.h"
#include "tmsg/transport/tm_chunk_sender.h"
#include "tmsg/value/tm_binary.h"
#include "tmsg/value/tm_bool.h"
#include "tmsg/value/tm_catalog.h"
#include "tmsg/value/tm_date.h"
#include "tmsg/value/tm_double.h"
#include "tmsg/value/tm_exception.h"
#include "tmsg/value/tm_file.h"
#include "tmsg/value/tm_int.h"
#include "tmsg/value/tm_string.h"
#include "tmsg/value/tm_type_code.h"
#include "tmsg/value/tm_utils.h"
#include "tmsg/value/tm_value.h"
#include "tmsg/value/tm_visitor.h"
