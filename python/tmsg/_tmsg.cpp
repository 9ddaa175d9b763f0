#include "_tmsg.h"

namespace {

/// Raises an exception of one of the package's classes.
void raise(py::object const& type, Tm_exception const& failure) {
    py::object const made = type(to_str(failure.what()));
    made.attr("path") = to_str(failure.path());
    PyErr_SetObject(type.ptr(), made.ptr());
}

void raise(Decode_error const& failure) {
    py::object const& type = classes().decode_error;
    py::object const made = type(to_str(failure.what()));
    Decode_error::Place const& place = failure.place();
    made.attr("path") = to_str(place.path);
    if (place.offset) made.attr("offset") = *place.offset;
    if (place.line) made.attr("line") = *place.line;
    if (place.column) made.attr("column") = *place.column;
    PyErr_SetObject(type.ptr(), made.ptr());
}

void translate(std::exception_ptr thrown) {
    try {
        if (thrown) std::rethrow_exception(thrown);
    } catch (Decode_error const& failure) {
        raise(failure);
    } catch (Range_error const& failure) {
        raise(classes().range_error, failure);
    } catch (Tm_exception const& failure) {
        raise(classes().error, failure);
    }
}

template <class Decoder>
[[noreturn]] void refuse_text(Decoder const& decoder) {
    tm_remove_received_files(decoder.received_files());
    throw Decode_error(decoder.error(),
                       {{}, decoder.error_line(), decoder.error_column(), std::string()});
}

template <class Decoder>
void decode_text(Decoder& decoder, std::string const& text) {
    try {
        decoder.decode(text);
    } catch (Tm_exception const&) {
        // The decoder has made the text of the exception its error text.
    }
    if (!decoder.error().empty()) refuse_text(decoder);
}

std::string text_from(py::handle text) {
    if (PyUnicode_Check(text.ptr())) return std::string(Utf8(text).view());
    return std::string(Bytes_view(text).view());
}

/// Converts a message that has just been decoded.
py::object received(Message const& message) {
    try {
        return to_python(message);
    } catch (...) {
        tm_remove_received_files(message);
        throw;
    }
}

std::unique_ptr<Message> decode(std::string_view bytes, Tm_limits const& limits) {
    constexpr long capacity = 4096;
    Tm_bin_decoder decoder(capacity, limits);
    try {
        tm_decode(decoder, bytes);
    } catch (Tm_exception const& failure) {
        throw Decode_error(failure.what(), {decoder.item_offset(), {}, {}, decoder.item_path()});
    }
    return std::unique_ptr<Message>(decoder.release_msg());
}

py::object loads(py::handle data, py::kwargs const& limits) {
    Bytes_view const bytes(data);
    Tm_limits const most = limits_from(limits);
    auto const message =
        without_gil(bytes.is_worth_releasing(), [&] { return decode(bytes.view(), most); });
    return received(*message);
}

py::bytes dumps(py::handle message, bool by_index, unsigned int max_depth) {
    auto const made = to_message(message, max_depth);
    // Nobody else has this message. Its byte strings have other owners, but do not change.
    return without_gil(true, [&] {
        if (by_index) made->index_member_names();
        return tm_to_bytes(*made);
    });
}

py::object from_text(py::handle text, py::kwargs const& limits) {
    Tm_tcl_decoder decoder(limits_from(limits));
    decode_text(decoder, text_from(text));
    int const count = decoder.values()->get_member_count();
    if (count != 1 || decoder.get_value()->get_value_type() != TMV_MESSAGE) {
        decoder.set_error("one message expected in this text");
        refuse_text(decoder);
    }
    return received(static_cast<Message const&>(*decoder.get_value()));
}

py::object from_json(py::handle text, py::kwargs const& limits) {
    Tm_typed_json_decoder decoder(limits_from(limits));
    decode_text(decoder, text_from(text));
    return received(static_cast<Message const&>(*decoder.get_value()));
}

py::str to_text(py::handle message) {
    return to_str(tm_to_text(*to_message(message, usual_depth)));
}

py::str to_json(py::handle message, int indent) {
    Tm_typed_json_encoder encoder(indent);
    to_message(message, usual_depth)->accept(encoder);
    return to_str(encoder.get_string());
}

std::string type_name(py::handle value) {
    TMV const type = type_of(value);
    if (type == TMV_MESSAGE) return "message";
    std::string name = Tm_value::tmv_to_string(type);
    auto const end = name.rfind("_t");
    return end == std::string::npos ? name : name.substr(0, end);
}

py::buffer_info show(Binary& binary) {
    static unsigned char none = 0;
    auto* const bytes = const_cast<unsigned char*>(binary.bytes.get_buffer());
    auto const size = static_cast<py::ssize_t>(binary.bytes.get_buffer_size());
    return {bytes != nullptr ? bytes : &none, 1, "B", 1, {size}, {1}, true};
}

template <class Number>
void take_limit(py::dict& arguments, char const* name, Number& limit) {
    if (!arguments.contains(name)) return;
    try {
        limit = arguments[name].cast<Number>();
    } catch (py::cast_error const&) {
        throw py::value_error(std::string("no number that ") + name + " can have");
    }
    PyDict_DelItemString(arguments.ptr(), name);
}

}  // namespace

Classes const& classes() {
    // It is never deleted, because Python ends before static objects do.
    static Classes const* const found = [] {
        py::module_ const types = py::module_::import("tmsg._types");
        auto* const made = new Classes;
        static char const* const names[] = {"Int8",  "Uint8",  "Int16", "Uint16",
                                            "Int32", "Uint32", "Int64", "Uint64"};
        for (int i = TMV_INT8; i <= TMV_UINT64; ++i) made->integers[i] = types.attr(names[i]);
        made->repeated_name = types.attr("RepeatedName");
        made->file = types.attr("File");
        made->message = types.attr("Message");
        made->error = types.attr("Error");
        made->range_error = types.attr("RangeError");
        made->decode_error = types.attr("DecodeError");
        return made;
    }();
    return *found;
}

Bytes_view::Bytes_view(py::handle from) : is_fixed_(PyBytes_CheckExact(from.ptr()) != 0) {
    if (PyObject_GetBuffer(from.ptr(), &buffer_, PyBUF_SIMPLE) != 0) throw py::error_already_set();
}

void check_depth(unsigned long depth) {
    if (depth > most_depth) {
        throw py::value_error("max_depth is at most " + std::to_string(most_depth));
    }
}

Tm_limits limits_from(py::kwargs const& arguments) {
    Tm_limits limits;
    if (arguments.empty()) return limits;
    py::dict left = arguments.attr("copy")();
    take_limit(left, "max_depth", limits.max_depth);
    take_limit(left, "max_message_bytes", limits.max_message_bytes);
    take_limit(left, "max_file_bytes", limits.max_file_bytes);
    take_limit(left, "max_files", limits.max_files);
    take_limit(left, "max_values", limits.max_values);
    take_limit(left, "max_memory", limits.max_memory);
    take_limit(left, "max_unfinished", limits.max_unfinished);
    take_limit(left, "max_held_bytes", limits.max_held_bytes);
    for (auto const& argument : left) {
        throw py::type_error("unknown limit " + argument.first.cast<std::string>());
    }
    check_depth(limits.max_depth);
    return limits;
}

PYBIND11_MODULE(_tmsg, module) {
    classes();
    py::register_local_exception_translator(&translate);
    py::class_<Binary>(module, "Binary", py::buffer_protocol(), py::is_final()).def_buffer(&show);
    py::class_<Received_file>(module, "ReceivedFile", py::is_final())
        .def("keep", &Received_file::keep);
    module.attr("__version__") = tmsg_version();
    module.def("dumps", &dumps, py::arg("message"), py::kw_only(), py::arg("by_index") = false,
               py::arg("max_depth") = usual_depth);
    module.def("loads", &loads, py::arg("data"));
    module.def("to_text", &to_text, py::arg("message"));
    module.def("from_text", &from_text, py::arg("text"));
    module.def("to_json", &to_json, py::arg("message"), py::kw_only(), py::arg("indent") = 0);
    module.def("from_json", &from_json, py::arg("text"));
    module.def("type_name", &type_name, py::arg("value"));
    bind_streams(module);
}
