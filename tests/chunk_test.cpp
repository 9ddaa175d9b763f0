#include <gtest/gtest.h>
#include <tmsg/tmsg.h>

#include "support/codec.h"
#include "support/samples.h"

namespace {

TEST(MessageChunk, TakesPayloadsOfAnySize) {
    auto const message = every_kind_request();
    message->add_member(Message::TMG_BODY, "long",
                        reinterpret_cast<unsigned char const*>(pattern(70000).data()), 70000);
    Bytes const bytes = encode(*message);
    for (std::size_t const size :
         {std::size_t{1}, std::size_t{4096}, std::size_t{4097}, bytes.size()}) {
        MessageChunk chunk(1, 2);
        for (std::size_t at = 0; at < bytes.size(); at += size) {
            std::size_t const piece = std::min(size, bytes.size() - at);
            EXPECT_EQ(0, chunk.addBuffer(bytes.data() + at, static_cast<unsigned int>(piece)));
        }
        chunk.finalize();
        EXPECT_FALSE(chunk.hasError()) << chunk.error();
        EXPECT_EQ(bytes.size(), chunk.getTotalBufferLength());
        EXPECT_TRUE(*chunk.getMessage() == *message);
        std::unique_ptr<Message> const released(chunk.releaseMessage());
        EXPECT_TRUE(*released == *message);
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
    EXPECT_EQ(0, container.putChunk(first));
    EXPECT_EQ(0, container.putChunk(second));
    EXPECT_EQ(first, container.findChunk(7, 1, false));
    EXPECT_EQ(second, container.findChunk(7, 2, false));
    EXPECT_EQ(nullptr, container.findChunk(7, 3, false));
    EXPECT_EQ(nullptr, container.findChunk(8, 1, false));

    std::unique_ptr<MessageChunk> const replaced(first);
    auto* const newer = new MessageChunk(7, 1);
    container.putChunk(newer);
    EXPECT_EQ(newer, container.findChunk(7, 1, false));
    EXPECT_EQ(-1, container.removeChunk(first));
    std::unique_ptr<MessageChunk> const taken(container.findChunk(7, 2, true));
    EXPECT_EQ(second, taken.get());
    EXPECT_EQ(nullptr, container.findChunk(7, 2, false));
    EXPECT_EQ(0, container.removeChunk(newer));
    EXPECT_EQ(-1, container.removeChunk(newer));
}

TEST(MessageChunkContainer, DropsWhatIsIdleForTwentyCollections) {
    MessageChunkContainer container;
    container.putChunk(new MessageChunk(1, 1));
    container.putChunk(new MessageChunk(2, 1));
    unsigned char const byte = 0x02;
    for (int round = 1; round <= 19; ++round) container.collectGarbage();
    ASSERT_NE(nullptr, container.findChunk(1, 1, false));
    container.findChunk(2, 1, false)->addBuffer(&byte, 1);
    container.collectGarbage();
    EXPECT_EQ(nullptr, container.findChunk(1, 1, false));
    ASSERT_NE(nullptr, container.findChunk(2, 1, false));
    for (int round = 1; round <= 18; ++round) container.collectGarbage();
    EXPECT_NE(nullptr, container.findChunk(2, 1, false));
    container.collectGarbage();
    EXPECT_EQ(nullptr, container.findChunk(2, 1, false));
}

}  // namespace
