/// A state that begins nested values.
#pragma once

#include <memory>
#include <utility>

#include "tmsg/creator/tm_creator_state.h"

class Tm_branch_state : public Tm_creator_state {
public:
    Tm_creator_state* next_state() override { return next_.get(); }
    void clear_next_state() override { static_cast<void>(next_.release()); }
    bool done() const override { return done_; }

protected:
    /// Begins a nested value; always false, for the creator is to push its state.
    template <class State, class... Arguments>
    bool descend(Arguments&&... arguments) {
        next_ = std::make_unique<State>(std::forward<Arguments>(arguments)...);
        return false;
    }
    /// This state's value is complete; always false, for the creator is to remove the state.
    bool finish() {
        done_ = true;
        return false;
    }

private:
    std::unique_ptr<Tm_creator_state> next_;
    bool done_ = false;
};
