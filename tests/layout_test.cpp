/// The layouts of structs, which the process keeps for later structs.
#include "support/support.h"

namespace {

/// Structs of these shapes in turn, in an array, in each other and alone, as built and as decoded.
void expect_right(std::vector<Names> const& shapes, std::size_t count) {
    auto const shape_of = [&](int i) { return shapes[static_cast<std::size_t>(i) % shapes.size()]; };
    Message sent;
    Tm_array list;
    for (int i = 0; i < static_cast<int>(count); ++i) {
        Tm_struct item = of_ints(shape_of(i));
        Tm_struct const inner = of_ints(shape_of(i + 1));
        item.add_member("inner", &inner);
        list.add_member(&item);
        sent.add_member(body, shape_of(i)[0], &item);
    }
    sent.add_member(body, "list", &list);
    Decoded const decoded = decode(encode(sent));
    for (Message const* const message : std::initializer_list<Message const*>{&sent, decoded.message.get()}) {
        Tm_array const& items = *message->get_member_array(body, "list");
        for (int i = 0; i < static_cast<int>(count); ++i) {
            Names shape = shape_of(i);
            int const last = static_cast<int>(shape.size());
            shape.push_back("inner");
            for (Tm_struct const* item : {items.get_member_struct(i), message->get_member_struct(body, i)}) {
                ASSERT_EQ(shape, names_of(*item));
                ASSERT_EQ(shape_of(i + 1), names_of(*item->get_member_struct(last)));
                ASSERT_EQ(last - 1, item->get_member_int32(last - 1));
            }
        }
    }
}

TEST(Layouts, OfShapesInTurnAreRightAgainAndAgain) {
    Names const a = {"id", "customer", "price", "name"};
    std::vector<Names> twenty, alike, different;
    for (int i = 0; i < 20; ++i) twenty.push_back(numbered(i % 2 == 0 ? "n" : "n" + std::to_string(i), i % 6 + 1));
    for (int i = 0; i < 3000; ++i) alike.push_back({"id", "customer", "other " + std::to_string(i)});
    for (int i = 0; i < 3000; ++i) different.push_back({"id " + std::to_string(i), "customer"});
    for (int round = 0; round < 3; ++round) {
        expect_right({a, {"id", "customer", "weight", "name"}}, 60);
        expect_right({a, {"id", "customer"}}, 60);
        expect_right({{"inner"}, {"inner", "inner"}, {""}, {std::string(4000, 'x')}}, 60);
        expect_right({numbered("n", 40), numbered("n", 39)}, 60);
        for (auto const& shapes : {twenty, alike, different}) expect_right(shapes, shapes.size());
    }
}

}  // namespace
