#include "support/support.h"

TEST(MessageChunk, TakesPayloadsOfAnySize) {
    auto const message = every_kind_request();
    for (int i = 0; i < 50; ++i) message->add_member(body, "long", pattern(1000));
    Bytes const bytes = encode(*message);
    for (std::size_t const size : {std::size_t{1}, std::size_t{4096}, std::size_t{4097}, bytes.size()}) {
        MessageChunk chunk(1, 2);
        for (std::size_t at = 0; at < bytes.size(); at += size) {
            std::size_t const piece = std::min(size, bytes.size() - at);
            EXPECT_EQ(0, chunk.addBuffer(bytes.data() + at, static_cast<unsigned int>(piece)));
        }
        chunk.finalize();
        EXPECT_FALSE(chunk.hasError()) << chunk.error();
        EXPECT_EQ(bytes.size(), chunk.getTotalBufferLength());
        EXPECT_TRUE(*std::unique_ptr<Message>(chunk.releaseMessage()) == *message);
    }
}

TEST(MessageChunkContainer, TellsOriginatorsApart) {
    MessageChunkContainer container;
    std::unique_ptr<MessageChunk> const replaced(new MessageChunk(7, 1));
    auto* const second = new MessageChunk(7, 2);
    auto* const newer = new MessageChunk(7, 1);
    using Found = std::vector<MessageChunk*>;
    auto const expect = [&](Found const& expected) {
        EXPECT_EQ(expected, (Found{container.findChunk(7, 1, false), container.findChunk(7, 2, false),
                                   container.findChunk(7, 3, false), container.findChunk(8, 1, false)}));
    };
    container.putChunk(replaced.get());
    container.putChunk(second);
    expect({replaced.get(), second, nullptr, nullptr});
    EXPECT_EQ(0, container.putChunk(newer));
    expect({newer, second, nullptr, nullptr});
    EXPECT_EQ(second, std::unique_ptr<MessageChunk>(container.findChunk(7, 2, true)).get());
    EXPECT_EQ(-1, container.removeChunk(replaced.get()));
    EXPECT_EQ(0, container.removeChunk(newer));
    EXPECT_EQ(-1, container.removeChunk(newer));
    expect(Found(4));
}

TEST(MessageChunkContainer, DropsWhatIsIdleForTwentyCollections) {
    MessageChunkContainer container;
    for (unsigned int const seq_no : {1U, 2U}) container.putChunk(new MessageChunk(seq_no, 1));
    unsigned char const byte = 0x02;
    for (int round = 1; round <= 39; ++round) {
        container.collectGarbage();
        ASSERT_EQ(round < 20, container.findChunk(1, 1, false) != nullptr) << round;
        ASSERT_EQ(round < 39, container.findChunk(2, 1, false) != nullptr) << round;
        if (round == 19) container.findChunk(2, 1, false)->addBuffer(&byte, 1);
    }
}
