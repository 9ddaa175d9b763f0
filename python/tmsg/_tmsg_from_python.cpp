#include <limits>
#include <set>
#include <vector>

#include "_tmsg.h"

namespace {

std::string class_name(py::handle value) { return Py_TYPE(value.ptr())->tp_name; }

/// Builds values from Python objects. Failures have the path of the object.
class Builder {
public:
    explicit Builder(unsigned int max_depth) : max_depth_(max_depth) {}

    std::unique_ptr<Message> make_message(py::handle from);
    /// Calls `add` with what add_member() takes for the object.
    template <class Add>
    void put(py::handle value, Add const& add);

private:
    /// A level of nesting, as long as it lives.
    class Level {
    public:
        Level(Builder& builder, py::handle object) : open_(builder.open_) {
            if (open_.size() >= builder.max_depth_) builder.refuse_level();
            open_.push_back(object.ptr());
        }
        Level(Level const&) = delete;
        Level& operator=(Level const&) = delete;
        ~Level() { open_.pop_back(); }

    private:
        std::vector<PyObject*>& open_;
    };

    [[noreturn]] void refuse_level() const;
    void fill(Tm_struct& target, py::handle members);
    void add_member(Tm_struct& target, py::handle name, py::handle value);
    std::unique_ptr<Tm_value> make_struct(py::handle members);
    std::unique_ptr<Tm_value> make_array(py::handle elements);
    void fill_group(Message& target, Message::TMG group, py::handle members);
    template <class Add>
    void put_other(py::handle value, Add const& add);

    unsigned int max_depth_;
    std::vector<PyObject*> open_;  ///< from the outermost to the innermost
};

void Builder::refuse_level() const {
    bool const has_cycle = std::set<PyObject*>(open_.begin(), open_.end()).size() < open_.size();
    throw Tm_exception(has_cycle ? "a value that contains itself"
                                 : "nested deeper than " + std::to_string(max_depth_) + " levels");
}

template <class Whole, class Add>
void put_exact(py::handle value, Add const& add) {
    if constexpr (std::is_same_v<Whole, unsigned long>) {
        unsigned long const number = PyLong_AsUnsignedLong(value.ptr());
        if (PyErr_Occurred() == nullptr) return add(number);
        PyErr_Clear();
    } else {
        int overflow = 0;
        long const number = PyLong_AsLongAndOverflow(value.ptr(), &overflow);
        bool const fits = overflow == 0 && number >= std::numeric_limits<Whole>::min() &&
                          number <= static_cast<long>(std::numeric_limits<Whole>::max());
        if (fits) return add(static_cast<Whole>(number));
    }
    throw Range_error(std::string("integer beyond ") +
                      Tm_value::tmv_to_string(Tm_plain<Whole>::code));
}

/// The default type: the first of int32, int64 and uint64 that has the number.
template <class Add>
void put_int(py::handle value, Add const& add) {
    int overflow = 0;
    long const number = PyLong_AsLongAndOverflow(value.ptr(), &overflow);
    if (overflow > 0) return put_exact<unsigned long>(value, add);
    if (overflow < 0) throw Range_error("integer beyond int64_t");
    bool const fits =
        number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    fits ? add(static_cast<int>(number)) : add(number);
}

template <class Add>
void put_int_subclass(py::handle value, Add const& add) {
    int type = TMV_UINT64;
    while (type >= 0 && !py::isinstance(value, classes().integers[type])) --type;
    // clang-format off
    switch (type) {
        case TMV_INT8:   return put_exact<signed char>(value, add);
        case TMV_UINT8:  return put_exact<unsigned char>(value, add);
        case TMV_INT16:  return put_exact<short>(value, add);
        case TMV_UINT16: return put_exact<unsigned short>(value, add);
        case TMV_INT32:  return put_exact<int>(value, add);
        case TMV_UINT32: return put_exact<unsigned int>(value, add);
        case TMV_INT64:  return put_exact<long>(value, add);
        case TMV_UINT64: return put_exact<unsigned long>(value, add);
        default:         return put_int(value, add);
    }
    // clang-format on
}

/// Returns the byte string that a view shows from its first byte to its last, or null.
Tm_binary const* shown_binary(py::handle value, Py_buffer const& shown) {
    if (!PyMemoryView_Check(value.ptr())) return nullptr;
    PyObject* const base = PyMemoryView_GET_BASE(value.ptr());
    if (base == nullptr || !py::isinstance<Binary>(base)) return nullptr;
    Tm_binary const& bytes = py::cast<Binary const&>(py::handle(base)).bytes;
    bool const is_whole = shown.buf == bytes.get_buffer() && shown.len == bytes.get_buffer_size() &&
                          PyBuffer_IsContiguous(&shown, 'C') != 0;
    return is_whole ? &bytes : nullptr;
}

/// Shares the storage of a received byte string, and copies all other bytes.
template <class Add>
void put_binary(py::handle value, Add const& add) {
    Py_buffer shown;
    if (PyObject_GetBuffer(value.ptr(), &shown, PyBUF_FULL_RO) != 0) throw py::error_already_set();
    std::unique_ptr<Py_buffer, void (*)(Py_buffer*)> const owner(&shown, &PyBuffer_Release);
    if (shown.len > std::numeric_limits<unsigned int>::max()) {
        throw Range_error("byte string longer than 4294967295 bytes");
    }
    if (Tm_binary const* const same = shown_binary(value, shown)) return add(*same);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(shown.len));
    if (PyBuffer_ToContiguous(bytes.data(), &shown, shown.len, 'C') != 0) {
        throw py::error_already_set();
    }
    add(Tm_binary(std::move(bytes)));
}

template <class Add>
void put_file(py::handle value, Add const& add) {
    PyObject* encoded = nullptr;
    if (PyUnicode_FSConverter(value.ptr(), &encoded) == 0) throw py::error_already_set();
    auto const path = py::reinterpret_steal<py::bytes>(encoded);
    std::string const text = path;
    add(std::unique_ptr<Tm_value>(std::make_unique<Tm_file>(text, 0U)));
}

bool is_bytes(py::handle value) {
    PyObject* const object = value.ptr();
    return PyBytes_Check(object) || PyByteArray_Check(object) || PyMemoryView_Check(object);
}

template <class Add>
void Builder::put(py::handle value, Add const& add) {
    PyObject* const object = value.ptr();
    if (PyUnicode_Check(object)) return add(Utf8(value).view());
    if (PyLong_CheckExact(object)) return put_int(value, add);
    if (PyFloat_Check(object)) return add(PyFloat_AS_DOUBLE(object));
    if (PyBool_Check(object)) return add(object == Py_True);
    if (PyDict_Check(object)) return add(make_struct(value));
    if (PyList_Check(object) || PyTuple_Check(object)) return add(make_array(value));
    if (PyLong_Check(object)) return put_int_subclass(value, add);
    put_other(value, add);
}

template <class Add>
void Builder::put_other(py::handle value, Add const& add) {
    if (is_bytes(value)) return put_binary(value, add);
    if (py::isinstance(value, classes().message)) {
        return add(std::unique_ptr<Tm_value>(make_message(value)));
    }
    if (py::isinstance(value, classes().file)) return put_file(value, add);
    throw Tm_exception("an object of the class " + class_name(value) + " has no type in a message");
}

std::unique_ptr<Tm_value> Builder::make_array(py::handle elements) {
    Level const level(*this, elements);
    auto made = std::make_unique<Tm_array>();
    for (int i = 0; i < PySequence_Fast_GET_SIZE(elements.ptr()); ++i) {
        auto const element =
            py::reinterpret_borrow<py::object>(PySequence_Fast_GET_ITEM(elements.ptr(), i));
        try {
            put(element,
                [&](auto&& value) { made->add_member(std::forward<decltype(value)>(value)); });
        } catch (Tm_exception& failure) {
            failure.add_position_before(i);
            throw;
        }
    }
    return made;
}

std::unique_ptr<Tm_value> Builder::make_struct(py::handle members) {
    auto made = std::make_unique<Tm_struct>();
    fill(*made, members);
    return made;
}

void Builder::add_member(Tm_struct& target, py::handle name, py::handle value) {
    if (!PyUnicode_Check(name.ptr())) {
        throw Tm_exception("a member name of the class " + class_name(name));
    }
    Utf8 const text(name);
    try {
        put(value, [&](auto&& content) {
            target.add_member(text.view(), std::forward<decltype(content)>(content));
        });
    } catch (Tm_exception& failure) {
        failure.add_name_before(text.view());
        throw;
    }
}

void Builder::fill(Tm_struct& target, py::handle members) {
    if (!PyDict_Check(members.ptr())) {
        throw Tm_exception("a dictionary is needed in place of " + class_name(members));
    }
    Level const level(*this, members);
    if (PyDict_CheckExact(members.ptr())) {
        // An allocation may run code that changes the dictionary, so that both need owners.
        PyObject* name = nullptr;
        PyObject* value = nullptr;
        for (Py_ssize_t at = 0; PyDict_Next(members.ptr(), &at, &name, &value) != 0;) {
            add_member(target, py::reinterpret_borrow<py::object>(name),
                       py::reinterpret_borrow<py::object>(value));
        }
        return;
    }
    // Other classes of dictionaries may have an order of their own.
    for (py::handle const item : py::list(members.attr("items")())) {
        auto const [name, value] = item.cast<std::pair<py::object, py::object>>();
        add_member(target, name, value);
    }
}

void Builder::fill_group(Message& target, Message::TMG group, py::handle members) {
    try {
        fill(target.get_struct(group), members);
    } catch (Tm_exception& failure) {
        failure.add_name_before(group == Message::TMG_META ? "meta" : "body");
        throw;
    }
}

std::unique_ptr<Message> Builder::make_message(py::handle from) {
    Level const level(*this, from);
    auto made = std::make_unique<Message>();
    Utf8 const kind(from.attr("kind"));
    if (kind.view() == "request") {
        made->set_msg_type(Message::TMT_REQUEST);
        made->set_request_name(Utf8(from.attr("name")).view());
    } else if (kind.view() == "fault") {
        made->set_msg_type(Message::TMT_FAULT);
    } else if (kind.view() != "response") {
        throw Tm_exception("unknown kind of message");
    }
    fill_group(*made, Message::TMG_META, from.attr("meta"));
    fill_group(*made, Message::TMG_BODY, from.attr("body"));
    return made;
}

}  // namespace

Utf8::Utf8(py::handle text) {
    if (!PyUnicode_Check(text.ptr())) {
        throw Tm_exception("a text is needed in place of " + class_name(text));
    }
    Py_ssize_t size = 0;
    char const* data = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
    if (data == nullptr) {
        PyErr_Clear();
        PyObject* const bytes = PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape");
        if (bytes == nullptr) {
            if (PyErr_ExceptionMatches(PyExc_UnicodeEncodeError) == 0)
                throw py::error_already_set();
            PyErr_Clear();
            throw Tm_exception("a text with a surrogate that stands for no byte");
        }
        escaped_ = py::reinterpret_steal<py::bytes>(bytes);
        data = PyBytes_AS_STRING(bytes);
        size = PyBytes_GET_SIZE(bytes);
    }
    view_ = {data, static_cast<std::size_t>(size)};
}

std::unique_ptr<Message> to_message(py::handle message, unsigned int max_depth) {
    check_depth(max_depth);
    if (PyDict_Check(message.ptr())) {
        return to_message(classes().message.attr("from_dict")(message), max_depth);
    }
    if (!py::isinstance(message, classes().message)) {
        throw Tm_exception("a message is needed in place of " + class_name(message));
    }
    return Builder(max_depth).make_message(message);
}

TMV type_of(py::handle value) {
    Tm_array holder;
    Builder(usual_depth).put(value, [&](auto&& content) {
        holder.add_member(std::forward<decltype(content)>(content));
    });
    return holder.get_member_value_type(0);
}
