#include <unordered_map>

#include "_tmsg.h"

namespace {

py::object steal(PyObject* made) {
    if (made == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(made);
}

py::object to_object(Tm_value const& value);

/// Makes the object of a class of integers without its check, which the value has passed already.
template <class Whole>
py::object to_int(Whole value) {
    py::object plain =
        steal(std::is_signed_v<Whole> ? PyLong_FromLong(static_cast<long>(value))
                                      : PyLong_FromUnsignedLong(static_cast<unsigned long>(value)));
    constexpr TMV type = Tm_plain<Whole>::code;
    if (type == TMV_INT32) return plain;
    auto* const made = reinterpret_cast<PyTypeObject*>(classes().integers[type].ptr());
    return steal(PyLong_Type.tp_new(made, py::make_tuple(plain).ptr(), nullptr));
}

py::object to_memoryview(Tm_binary const& bytes) {
    py::object const owner = py::cast(Binary{bytes}, py::return_value_policy::move);
    return steal(PyMemoryView_FromObject(owner.ptr()));
}

py::object to_file(Tm_file const& file) {
    auto owner = std::make_unique<Received_file>(file.path());
    return classes().file(steal(PyUnicode_DecodeFSDefault(file.path().c_str())),
                          py::cast(std::move(owner)));
}

/// A name that comes again becomes a RepeatedName with its number.
class Names {
public:
    py::object key(std::string_view name, py::dict const& so_far) {
        py::str text = to_str(name);
        if (!so_far.contains(text)) return std::move(text);
        return classes().repeated_name(text, ++repeated_[name]);
    }

private:
    std::unordered_map<std::string_view, int> repeated_;
};

py::dict to_dict(Tm_struct const& members) {
    py::dict made;
    Names names;
    for (auto const& [name, value] : tm_members(members)) {
        py::object const key = names.key(name, made);
        if (PyDict_SetItem(made.ptr(), key.ptr(), to_object(value).ptr()) != 0) {
            throw py::error_already_set();
        }
    }
    return made;
}

py::list to_list(Tm_array const& elements) {
    py::list made;
    for (Tm_value const& element : tm_elements(elements)) made.append(to_object(element));
    return made;
}

template <class Value>
py::object object_of(Value const& value) {
    if constexpr (std::is_same_v<Value, bool>) {
        return py::bool_(value);
    } else if constexpr (std::is_same_v<Value, double>) {
        return py::float_(value);
    } else if constexpr (std::is_integral_v<Value>) {
        return to_int(value);
    } else if constexpr (std::is_same_v<Value, std::string_view>) {
        return to_str(value);
    } else if constexpr (std::is_same_v<Value, Tm_binary>) {
        return to_memoryview(value);
    } else if constexpr (std::is_same_v<Value, Tm_file>) {
        return to_file(value);
    } else if constexpr (std::is_same_v<Value, Tm_array>) {
        return to_list(value);
    } else if constexpr (std::is_same_v<Value, Tm_struct>) {
        return to_dict(value);
    } else if constexpr (std::is_same_v<Value, Message>) {
        return to_python(value);
    } else {
        static_assert(std::is_same_v<Value, Tm_date>);
        throw Tm_exception("a date has no form in Python");
    }
}

py::object to_object(Tm_value const& value) {
    return tm_visit(value, [](auto const& content) { return object_of(content); });
}

}  // namespace

py::str to_str(std::string_view text) {
    auto const size = static_cast<Py_ssize_t>(text.size());
    return steal(PyUnicode_DecodeUTF8(text.data(), size, "surrogateescape"));
}

py::object to_python(Message const& message) {
    bool const is_request = message.get_msg_type() == Message::TMT_REQUEST;
    return classes().message(Message::tmt_to_string(message.get_msg_type()),
                             to_str(is_request ? message.get_request_name() : std::string()),
                             to_dict(message.get_const_struct(Message::TMG_META)),
                             to_dict(message.get_const_struct(Message::TMG_BODY)),
                             message.header.get_seq_no(), message.header.get_tmport());
}
