/// A state that collects the bytes of one value and begins no nested ones.
#pragma once

#include <memory>
#include <utility>

#include "tmsg/creator/tm_creator_state.h"
#include "tmsg/creator/tm_destination.h"
#include "tmsg/value/tm_value.h"

class Tm_leaf_state : public Tm_creator_state {
public:
    Tm_leaf_state(Tm_destination destination, unsigned int expected)
        : destination_(destination), expected_(expected) {}

    Tm_creator_state* next_state() override { return nullptr; }
    void clear_next_state() override {}
    bool done() const override { return done_; }

protected:
    /// Whether `length` more bytes still belong to the value.
    bool fits(unsigned int length) const { return length <= expected_ - received_; }
    unsigned int expected() const { return expected_; }
    unsigned int received() const { return received_; }
    /// Counts a piece in; true when the value is complete.
    bool count(unsigned int length) {
        received_ += length;
        return received_ == expected_;
    }
    /// Hands the value over; always false, for the state is done.
    bool finish(std::unique_ptr<Tm_value> value) {
        destination_.add(value);
        done_ = true;
        return false;
    }

private:
    Tm_destination destination_;
    unsigned int expected_;
    unsigned int received_ = 0;
    bool done_ = false;
};
