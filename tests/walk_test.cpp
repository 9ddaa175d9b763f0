/// The walk that can be resumed, over every kind of value. A visitor may refuse any event any number
/// of times, and still gets each event once and in order.
#include "support/support.h"

namespace {

/// The events of a walk that is refused where `refuses` says so and goes on until it is complete.
Events walk_to_end(Tm_value const& value, Recorder recorder, std::function<bool(int)> refuses) {
    recorder.refuses = std::move(refuses);
    while (!value.accept(recorder) && recorder.has_memento()) continue;
    EXPECT_FALSE(recorder.has_memento());
    return recorder.events;
}

void expect_nothing_lost(Tm_value const& value, Recorder const& recorder = Recorder()) {
    Events const all = walk_to_end(value, recorder, recorder.refuses);
    for (int refused = 0; refused < static_cast<int>(all.size()); ++refused) {
        ASSERT_EQ(all, walk_to_end(value, recorder, [=](int attempt) { return attempt == refused; })) << refused;
    }
    EXPECT_EQ(all, walk_to_end(value, recorder, [](int attempt) { return attempt % 3 != 2; }));
}

/// The walk of a file that the visitor reads itself.
struct Descriptor_file : Tm_bool {
    Descriptor_file() : Tm_bool(true) {}
    bool accept(Tm_visitor& visitor) const override {
        return Tm_string::accept_file(7, "path", 300, visitor, &Tm_visitor::visit_file_begin,
                                      &Tm_visitor::visit_file_continue);
    }
};

TEST(Walk, LosesAndRepeatsNothing) {
    Recorder by_index;
    by_index.wants_index = true;
    for (auto const& message : sample_messages()) {
        expect_nothing_lost(*message);
        expect_nothing_lost(*message, by_index);
    }
    Scratch const scratch;
    Tm_array array;
    array.add_member(scratch.file("file", pattern(300)), 0U);
    array.add_member(scratch.file("empty", ""), 0U);
    expect_nothing_lost(array);

    Recorder reader;
    reader.reads_files = true;
    expect_nothing_lost(Descriptor_file(), reader);
    EXPECT_EQ((Events{"file_begin_fd(300)", "file_read path(128)", "file_read path(128)", "file_read path(44)"}),
              walk_to_end(Descriptor_file(), reader, reader.refuses));
    EXPECT_EQ((Events{"file_begin(300)", "file(null)", "file(null)", "file(null)"}), events_of(Descriptor_file()));
}

TEST(Walk, CutsBytesAt128) {
    Scratch const scratch;
    std::string const text = pattern(300);
    auto const pieces = [&](std::string const& kind) {
        return Events{kind + "_begin(300)", kind + "(" + text.substr(0, 128) + ")",
                      kind + "(" + text.substr(128, 128) + ")", kind + "(" + text.substr(256) + ")"};
    };
    EXPECT_EQ(pieces("string"), events_of(Tm_string(text)));
    EXPECT_EQ(pieces("binary"), events_of(Tm_binary(reinterpret_cast<unsigned char const*>(text.data()), 300)));
    EXPECT_EQ(pieces("file"), events_of(Tm_file(scratch.file("f", text), 0)));
    EXPECT_EQ(3U, events_of(Tm_string(pattern(256))).size());
    EXPECT_EQ(Events{"string_begin(0)"}, events_of(Tm_string("")));
    EXPECT_EQ(Events{"file_begin(0)"}, events_of(Tm_file(scratch.file("empty", ""), 0)));
}

TEST(Walk, PushesStepsInnermostFirst) {
    Tm_struct const value = Tm_struct{{"a", 1}, {"b", std::string(300, 'x')}};
    Message message;
    message.add_member(body, "s", &value);
    Recorder recorder;
    recorder.refuses = [&](int) { return recorder.events.size() == 15; };
    ASSERT_FALSE(message.accept(recorder));
    // The second piece of b, the value of the second member, the value of the first, group 1.
    EXPECT_EQ((std::vector<int>{2, 5, 2, 4}), recorder.mementos);
    Recorder scalar;
    scalar.refuses = [](int) { return true; };
    EXPECT_FALSE(Tm_uint32(1).accept(scalar));
    EXPECT_FALSE(scalar.has_memento());
}

TEST(Walk, FromAStepBeyondTheEndIsComplete) {
    Tm_struct const value = of_ints({"a"});
    Tm_array const array = Tm_array::of(1);
    Tm_string const text(std::string(300, 'x'));
    Message const message;
    std::vector<std::pair<Tm_value const*, int>> const last_steps = {
        {&value, 4}, {&array, 2}, {&text, 3}, {&message, 6}};
    for (auto const& [walked, last_step] : last_steps) {
        Events const all = events_of(*walked);
        for (auto const& [step, events] : {std::pair(last_step + 1, Events()), {last_step, {all.back()}}, {-1, all}}) {
            Recorder recorder;
            recorder.push_memento(step);
            EXPECT_TRUE(walked->accept(recorder));
            EXPECT_EQ(events, recorder.events);
        }
    }
}

}  // namespace
