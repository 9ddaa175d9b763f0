/// Declares the classes of tmsg, for headers that only name them:
///
///     #include <tmsg/fwd.h>
///
///     void reply_to(Message const& request, Tm_chunk_sender& sender);
///
/// Other code may have a class called Message, too. The symbols of this one carry a mark, so that
/// the linker does not confuse the two classes. The mark must be on the first declaration. Include
/// this file where you need a declaration. Do not write `class Message;` yourself, because the
/// compiler then refuses the definition of the class.
///
/// These folders have the headers that define the classes:
///  - tmsg/message/: Message, Tm_header, MessageChunk, MessageChunkContainer
///  - tmsg/composite/: Tm_struct, Tm_prenamed_struct, Tm_array, Tm_value_container
///  - tmsg/value/: the other values, Tm_visitor, Tm_catalog, Tm_limits, Tm_exception
///  - tmsg/binary/: Tm_bin_encoder, the Tm_bin_ decoders, Tm_message_peek_decoder
///  - tmsg/text/: Tm_text_encoder, the encoders of JSON, typed JSON, XML and list text,
///    Tm_tcl_decoder, Tm_typed_json_decoder, Tm_text_creator, Tm_bin_decoder_to_text
///  - tmsg/creator/: Tm_creator, Tm_creator_base
///  - tmsg/transport/: Tm_chunk_sender, Tm_chunk_source, Tm_chunk_receiver, Tm_chunk_reader
///  - tmsg/rpc/: Tm_caller, Tm_service, Tm_fault_exception
#pragma once

class __attribute__((abi_tag("tmsg"))) Message;
class __attribute__((abi_tag("tmsg"))) MessageChunk;
class __attribute__((abi_tag("tmsg"))) MessageChunkContainer;
class Tm_array;
class Tm_bin_array_decoder;
class Tm_bin_decoder;
class Tm_bin_decoder_base;
class Tm_bin_decoder_to_text;
class Tm_bin_encoder;
class Tm_binary;
class Tm_bool;
class Tm_caller;
class Tm_chunk_reader;
class Tm_chunk_receiver;
class Tm_chunk_sender;
class Tm_chunk_source;
class Tm_creator;
class Tm_creator_base;
class Tm_date;
class Tm_double;
class Tm_exception;
class Tm_fault_exception;
class Tm_file;
class Tm_header;
class Tm_int;
class Tm_json_encoder;
class Tm_message_peek_decoder;
class Tm_prenamed_struct;
class Tm_service;
class Tm_string;
class Tm_struct;
class Tm_tcl_decoder;
class Tm_tcl_encoder;
class Tm_text_creator;
class Tm_text_encoder;
class Tm_typed_json_decoder;
class Tm_typed_json_encoder;
class Tm_value;
class Tm_value_container;
class Tm_visitor;
class Tm_xml_encoder;
class Tm_xml_file_size_encoder;
struct Tm_limits;
template <class Key>
class Tm_catalog;
template <class Plain>
class Tm_int_of;

using Tm_int8 = Tm_int_of<signed char>;
using Tm_uint8 = Tm_int_of<unsigned char>;
using Tm_int16 = Tm_int_of<short>;
using Tm_uint16 = Tm_int_of<unsigned short>;
using Tm_int32 = Tm_int_of<int>;
using Tm_uint32 = Tm_int_of<unsigned int>;
using Tm_int64 = Tm_int_of<long>;
using Tm_uint64 = Tm_int_of<unsigned long>;
