/// Descriptors that the program opens. None is 0, 1 or 2, even where the program was started
/// without standard input, output and error. Else output for these would go into a file or socket.
#pragma once

#include <cstdio>
#include <utility>

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor();

    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_ = -1;
};

/// Returns a descriptor above 2 of the same file or socket, and closes the one given if it is
/// another. Throws Failure when there is no descriptor left.
Descriptor above_standard(Descriptor descriptor);

/// A new file without a name, open for writing and reading. Throws Failure.
std::FILE* open_temporary_file();

/// The same for an ACE socket that has just been opened.
template <class Socket>
void move_above_standard(Socket& socket) {
    Descriptor descriptor(socket.get_handle());
    socket.set_handle(-1);
    socket.set_handle(above_standard(std::move(descriptor)).release());
}
