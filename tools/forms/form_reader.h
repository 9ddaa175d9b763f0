/// Reads the messages of an input one after another. Each form has a reader of its own.
#pragma once

#include <tmsg/tmsg.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "forms/form.h"
#include "forms/place.h"
#include "io/input.h"

/// Owns the files that messages brought. The destructor removes them.
class Temporary_files {
public:
    Temporary_files() = default;
    Temporary_files(Temporary_files const&) = delete;
    Temporary_files& operator=(Temporary_files const&) = delete;
    ~Temporary_files() { remove(); }

    void add(std::vector<std::string> const& paths);
    /// Adds the files of all file values in the message.
    void add(Message const& received);
    /// Removes all files.
    void remove();
    /// Passes the files to another owner.
    void move_to(Temporary_files& other);

private:
    std::vector<std::string> paths_;
};

/// Adds the files that a decoder has made to `files`, also when an exception ends its use.
template <class Decoder>
class Files_of {
public:
    Files_of(Decoder const& decoder, Temporary_files& files) : decoder_(decoder), files_(files) {}
    ~Files_of() { files_.add(decoder_.received_files()); }
    Files_of(Files_of const&) = delete;
    Files_of& operator=(Files_of const&) = delete;

private:
    Decoder const& decoder_;
    Temporary_files& files_;
};

/// Gets bytes of the wire form as they are read.
using Wire_sink = std::function<void(unsigned char const* data, std::size_t size)>;

class Form_reader {
public:
    Form_reader() = default;
    Form_reader(Form_reader const&) = delete;
    Form_reader& operator=(Form_reader const&) = delete;
    virtual ~Form_reader() = default;

    /// Returns the next message, or null at the end of the input. Adds the files that it brings to
    /// `files`. Passes the bytes of the wire form, if the input has them one after another, to
    /// `sink`, if there is one. Throws Damage for bad input, Failure when reading fails, and
    /// std::bad_alloc.
    virtual std::unique_ptr<Message> next(Temporary_files& files, Wire_sink const& sink) = 0;

    /// Returns where the last message begins.
    Place const& begin() const { return begin_; }

protected:
    Place begin_;
};

/// The input and the limits must outlive the reader. `form` is not automatic.
std::unique_ptr<Form_reader> make_form_reader(Input& input, Form form, Tm_limits const& limits);

/// Calls a function of a decoder. The text of an exception becomes the error text of the decoder,
/// and only std::bad_alloc is thrown.
template <class Call>
void decode_with(Call call) {
    try {
        call();
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
    }
}
