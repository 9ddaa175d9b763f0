/// The resumable walk, over every value kind: whatever events a visitor refuses, and however often,
/// it gets each event once and in order.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/recorder.h"
#include "support/samples.h"
#include "support/scratch.h"

namespace {

using Events = std::vector<std::string>;

/// Walks until the walk completes; a refused walk must leave a resume point.
void walk_to_end(Tm_value const& value, Recorder& recorder) {
    for (int walks = 0; !value.accept(recorder); ++walks) {
        ASSERT_FALSE(recorder.mementos.empty());
        ASSERT_LT(walks, 100000);
    }
    EXPECT_TRUE(recorder.mementos.empty());
}

void expect_nothing_lost(Tm_value const& value, bool by_index) {
    Recorder undisturbed;
    undisturbed.wants_index = by_index;
    ASSERT_TRUE(value.accept(undisturbed));

    for (int refused = 0; refused < undisturbed.attempts; ++refused) {
        Recorder recorder;
        recorder.wants_index = by_index;
        recorder.refuses = [=](int attempt) { return attempt == refused; };
        walk_to_end(value, recorder);
        ASSERT_EQ(undisturbed.events, recorder.events) << "refused event " << refused;
    }
    Recorder stubborn;
    stubborn.wants_index = by_index;
    stubborn.refuses = [](int attempt) { return attempt % 3 != 2; };
    walk_to_end(value, stubborn);
    EXPECT_EQ(undisturbed.events, stubborn.events);
}

TEST(Walk, LosesAndRepeatsNothing) {
    for (auto const& message : sample_messages()) {
        expect_nothing_lost(*message, false);
        expect_nothing_lost(*message, true);
    }
    Scratch const scratch;
    Tm_array array;
    array.add_member(scratch.file("file", pattern(300)), 0U);
    array.add_member(scratch.file("empty", ""), 0U);
    expect_nothing_lost(array, false);
}

/// The walk of a file that the visitor reads itself.
struct Descriptor_file : Tm_bool {
    Descriptor_file() : Tm_bool(true) {}
    bool accept(Tm_visitor& visitor) const override {
        return Tm_string::accept_file(7, "path", 300, visitor, &Tm_visitor::visit_file_begin,
                                      &Tm_visitor::visit_file_continue);
    }
};

TEST(Walk, OfADescriptorNamesThePieces) {
    EXPECT_EQ((Events{"file_begin_fd(300)", "file_read path(128)", "file_read path(128)",
                      "file_read path(44)"}),
              events_of(Descriptor_file()));
    expect_nothing_lost(Descriptor_file(), false);
}

TEST(Walk, PushesStepsInnermostFirst) {
    Tm_struct value(nullptr);
    value.add_member("a", 1);
    value.add_member("b", std::string(300, 'x'));
    Message message;
    message.add_member(Message::TMG_BODY, "s", &value);

    Recorder recorder;
    recorder.refuses = [&](int) { return recorder.events.size() == 15; };
    ASSERT_FALSE(message.accept(recorder));
    // The second piece of b, the value of the second member, the value of the first, group 1.
    EXPECT_EQ((std::vector<int>{2, 5, 2, 4}), recorder.mementos);
}

TEST(Walk, FromAStepBeyondTheEndIsComplete) {
    Tm_struct value(nullptr);
    value.add_member("a", 1);
    Tm_array array;
    array.add_member(1);
    struct Case {
        Tm_value const* value;
        int last_step;
    };
    Tm_string const text(std::string(300, 'x'));
    Message const message;
    for (Case const& c : {Case{&value, 4}, Case{&array, 2}, Case{&text, 3}, Case{&message, 6}}) {
        Recorder recorder;
        recorder.push_memento(c.last_step + 1);
        EXPECT_TRUE(c.value->accept(recorder));
        EXPECT_EQ(Events{}, recorder.events);
        recorder.push_memento(c.last_step);
        EXPECT_TRUE(c.value->accept(recorder));
        EXPECT_EQ(1U, recorder.events.size());
        recorder.push_memento(-1);
        recorder.events.clear();
        EXPECT_TRUE(c.value->accept(recorder));
        EXPECT_EQ(events_of(*c.value), recorder.events);
    }
}

TEST(Walk, GivesTheDefaultsOfAVisitorAFileByLengthAlone) {
    struct Plain : Recorder {
        using Recorder::visit_file_begin;
        using Recorder::visit_file_continue;
        bool visit_file_begin(int fd, unsigned int n) override {
            return Tm_visitor::visit_file_begin(fd, n);
        }
        bool visit_file_continue(int fd, std::string const& path, unsigned int n) override {
            return Tm_visitor::visit_file_continue(fd, path, n);
        }
    } plain;
    EXPECT_TRUE(Descriptor_file().accept(plain));
    EXPECT_EQ((Events{"file_begin(300)", "file(null)", "file(null)", "file(null)"}), plain.events);
}

}  // namespace
