/// The directions in which bytes pass between a client and a server.
#pragma once

enum class Direction { to_upstream, to_client };

inline Direction opposite(Direction direction) {
    bool const is_up = direction == Direction::to_upstream;
    return is_up ? Direction::to_client : Direction::to_upstream;
}
