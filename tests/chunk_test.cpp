#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/codec.h"
#include "support/samples.h"

namespace {

TEST(MessageChunk, TakesPayloadsOfAnySize) {
    auto const message = every_kind_request();
    for (int i = 0; i < 50; ++i) message->add_member(Message::TMG_BODY, "long", pattern(1000));
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
        EXPECT_TRUE(*chunk.getMessage() == *message);
        EXPECT_TRUE(*std::unique_ptr<Message>(chunk.releaseMessage()) == *message);
    }
    MessageChunk broken(1, 2);
    broken.addBuffer(bytes.data(), 100);
    EXPECT_FALSE(broken.hasError());
    broken.finalize();
    EXPECT_TRUE(broken.hasError());
}

TEST(MessageChunkContainer, TellsOriginatorsApart) {
    MessageChunkContainer container;
    auto* const first = new MessageChunk(7, 1);
    auto* const second = new MessageChunk(7, 2);
    auto* const newer = new MessageChunk(7, 1);
    container.putChunk(first);
    container.putChunk(second);
    EXPECT_EQ(first, container.findChunk(7, 1, false));
    EXPECT_EQ(second, container.findChunk(7, 2, false));
    EXPECT_EQ(nullptr, container.findChunk(7, 3, false));
    EXPECT_EQ(nullptr, container.findChunk(8, 1, false));
    std::unique_ptr<MessageChunk> const replaced(first);
    EXPECT_EQ(0, container.putChunk(newer));
    EXPECT_EQ(newer, container.findChunk(7, 1, false));
    EXPECT_EQ(-1, container.removeChunk(first));
    EXPECT_EQ(second, std::unique_ptr<MessageChunk>(container.findChunk(7, 2, true)).get());
    EXPECT_EQ(nullptr, container.findChunk(7, 2, false));
    EXPECT_EQ(0, container.removeChunk(newer));
    EXPECT_EQ(-1, container.removeChunk(newer));
}

TEST(MessageChunkContainer, DropsWhatIsIdleForTwentyCollections) {
    MessageChunkContainer container;
    auto const collect = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) container.collectGarbage();
    };
    auto const holds = [&](unsigned int seq_no) { return container.findChunk(seq_no, 1, false) != nullptr; };
    container.putChunk(new MessageChunk(1, 1));
    container.putChunk(new MessageChunk(2, 1));
    collect(19);
    ASSERT_TRUE(holds(1) && holds(2));
    unsigned char const byte = 0x02;
    container.findChunk(2, 1, false)->addBuffer(&byte, 1);
    collect(1);
    EXPECT_TRUE(!holds(1) && holds(2));
    collect(18);
    EXPECT_TRUE(holds(2));
    collect(1);
    EXPECT_FALSE(holds(2));
}

}  // namespace
