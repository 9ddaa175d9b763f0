/// The resumable walk, over every value kind: whatever events a visitor refuses, and however often,
/// it gets each event once and in order.
#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/recorder.h"
#include "support/samples.h"
#include "support/scratch.h"

namespace {

/// The events of a walk that is refused where `refuses` says so and goes on until it is complete.
Events walk_to_end(Tm_value const& value, bool by_index, std::function<bool(int)> refuses) {
    Recorder recorder;
    recorder.wants_index = by_index;
    recorder.refuses = std::move(refuses);
    while (!value.accept(recorder)) {
        if (recorder.mementos.empty()) return {"refused without a resume point"};
    }
    EXPECT_TRUE(recorder.mementos.empty());
    return recorder.events;
}

void expect_nothing_lost(Tm_value const& value, bool by_index) {
    Events const all = events_of(value, by_index);
    for (int refused = 0; refused < static_cast<int>(all.size()); ++refused) {
        ASSERT_EQ(all, walk_to_end(value, by_index, [=](int attempt) { return attempt == refused; })) << refused;
    }
    EXPECT_EQ(all, walk_to_end(value, by_index, [](int attempt) { return attempt % 3 != 2; }));
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

TEST(Walk, CutsBytesAt128) {
    std::string const text = pattern(300);
    EXPECT_EQ((Events{"string_begin(300)", "string(" + text.substr(0, 128) + ")",
                      "string(" + text.substr(128, 128) + ")", "string(" + text.substr(256) + ")"}),
              events_of(Tm_string(text)));
    EXPECT_EQ(3U, events_of(Tm_string(pattern(256))).size());
    EXPECT_EQ(Events{"string_begin(0)"}, events_of(Tm_string("")));
}

/// The walk of a file that the visitor reads itself.
struct Descriptor_file : Tm_bool {
    Descriptor_file() : Tm_bool(true) {}
    bool accept(Tm_visitor& visitor) const override {
        return Tm_string::accept_file(7, "path", 300, visitor, &Tm_visitor::visit_file_begin,
                                      &Tm_visitor::visit_file_continue);
    }
};

/// A visitor with the defaults for files by descriptor.
struct By_length : Recorder {
    using Recorder::visit_file_begin;
    using Recorder::visit_file_continue;
    bool visit_file_begin(int fd, unsigned int n) override { return Tm_visitor::visit_file_begin(fd, n); }
    bool visit_file_continue(int fd, std::string const& path, unsigned int n) override {
        return Tm_visitor::visit_file_continue(fd, path, n);
    }
};

TEST(Walk, OfADescriptorNamesThePieces) {
    expect_nothing_lost(Descriptor_file(), false);
    EXPECT_EQ((Events{"file_begin_fd(300)", "file_read path(128)", "file_read path(128)", "file_read path(44)"}),
              events_of(Descriptor_file()));
    By_length by_length;
    EXPECT_TRUE(Descriptor_file().accept(by_length));
    EXPECT_EQ((Events{"file_begin(300)", "file(null)", "file(null)", "file(null)"}), by_length.events);
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
    Recorder scalar;
    scalar.refuses = [](int) { return true; };
    EXPECT_FALSE(Tm_uint32(1).accept(scalar));
    EXPECT_TRUE(scalar.mementos.empty());
}

TEST(Walk, FromAStepBeyondTheEndIsComplete) {
    Tm_struct value(nullptr);
    value.add_member("a", 1);
    Tm_array array;
    array.add_member(1);
    Tm_string const text(std::string(300, 'x'));
    Message const message;
    std::vector<std::pair<Tm_value const*, int>> const last_steps = {
        {&value, 4}, {&array, 2}, {&text, 3}, {&message, 6}};
    for (auto const& [walked, last_step] : last_steps) {
        Recorder recorder;
        recorder.push_memento(last_step + 1);
        EXPECT_TRUE(walked->accept(recorder) && recorder.events.empty());
        recorder.push_memento(last_step);
        EXPECT_TRUE(walked->accept(recorder) && recorder.events.size() == 1);
        recorder.events.clear();
        recorder.push_memento(-1);
        EXPECT_TRUE(walked->accept(recorder) && recorder.events == events_of(*walked));
    }
}

}  // namespace
