/// Calls the system again while a signal interrupts the call. The call returns a negative number
/// and sets errno when it fails.
#pragma once

#include <cerrno>

template <class Call>
auto tm_uninterrupted(Call call) {
    while (true) {
        auto const result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}
