/// The parts of the module _tmsg, which the package tmsg is built on. All functions need the GIL
/// unless they say otherwise.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tmsg/tmsg.h"

namespace py = pybind11;

/// A number that does not fit its type. It becomes tmsg.RangeError.
class Range_error : public Tm_exception {
public:
    using Tm_exception::Tm_exception;
};

/// Bad input. It becomes tmsg.DecodeError.
class Decode_error : public Tm_exception {
public:
    /// Where the input was refused: a byte of the wire form, or a place in a text.
    struct Place {
        std::optional<long> offset;
        std::optional<int> line;
        std::optional<int> column;
        std::string path;
    };

    Decode_error(std::string const& text, Place place)
        : Tm_exception(text), place_(std::move(place)) {}

    Place const& place() const { return place_; }

private:
    Place place_;
};

/// The classes of tmsg/_types.py.
struct Classes {
    py::object integers[TMV_UINT64 + 1];  ///< by type code
    py::object repeated_name;
    py::object file;
    py::object message;
    py::object error;
    py::object range_error;
    py::object decode_error;
};

/// Returns the classes. The first call imports them.
Classes const& classes();

/// Owns a received file, and removes it.
class Received_file {
public:
    explicit Received_file(std::string path) : paths_{std::move(path)} {}
    Received_file(Received_file const&) = delete;
    Received_file& operator=(Received_file const&) = delete;
    ~Received_file() { tm_remove_received_files(paths_); }

    void keep() { paths_.clear(); }

private:
    std::vector<std::string> paths_;
};

/// Shares the storage of a byte string, which memoryview objects refer to.
struct Binary {
    Tm_binary bytes;
};

/// Both convert a text. Bytes that are no UTF-8 are lone surrogates in Python, as
/// "surrogateescape" makes them.
py::str to_str(std::string_view text);
class Utf8 {
public:
    /// Throws Tm_exception for a surrogate that stands for no byte.
    explicit Utf8(py::handle text);
    std::string_view view() const { return view_; }

private:
    py::bytes escaped_;  ///< empty unless the text has surrogates
    std::string_view view_;
};

/// The bytes of an object with the buffer protocol.
class Bytes_view {
public:
    explicit Bytes_view(py::handle from);
    Bytes_view(Bytes_view const&) = delete;
    Bytes_view& operator=(Bytes_view const&) = delete;
    ~Bytes_view() { PyBuffer_Release(&buffer_); }

    std::string_view view() const {
        return {static_cast<char const*>(buffer_.buf), static_cast<std::size_t>(buffer_.len)};
    }
    unsigned char const* data() const { return static_cast<unsigned char const*>(buffer_.buf); }
    std::size_t size() const { return static_cast<std::size_t>(buffer_.len); }
    /// Returns whether reading takes long, and no thread can change the bytes meanwhile.
    bool is_worth_releasing() const { return is_fixed_ && size() >= 16384; }

private:
    Py_buffer buffer_;
    bool is_fixed_;
};

/// Runs the operation, without the GIL if that is allowed. It must not use Python then.
template <class Operation>
auto without_gil(bool is_allowed, Operation operation) {
    std::optional<py::gil_scoped_release> released;
    if (is_allowed) released.emplace();
    return operation();
}

/// The most levels that a keyword max_depth may allow, so that no recursion overflows the stack.
constexpr unsigned int most_depth = 4000;
constexpr unsigned int usual_depth = Tm_limits().max_depth;

/// Reads limits by their names. Throws TypeError for an unknown name.
Tm_limits limits_from(py::kwargs const& arguments);

/// Returns a tmsg.Message. The received files of the message have owners in it.
py::object to_python(Message const& message);
/// Returns the message of a tmsg.Message, or of a dictionary as Message.to_dict() returns it.
std::unique_ptr<Message> to_message(py::handle message, unsigned int max_depth);
/// Returns the type that the value is sent as.
TMV type_of(py::handle value);

/// Throws ValueError for a depth above most_depth.
void check_depth(unsigned long depth);

/// Adds what reads and writes chunks to the module.
void bind_streams(py::module_& module);
