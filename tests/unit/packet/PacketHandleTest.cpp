#include <gtest/gtest.h>
#include <utility>

#include "packet/PacketHandle.h"

namespace teskd::test {
namespace {

TEST(PacketHandle, HoldsOneReferenceWhileItLives) {
    const unsigned long before = packet_counter;
    auto* const packet = new Packet;
    Packet::get(packet);
    {
        const PacketHandle<Packet> handle(packet);
        EXPECT_EQ(before + 2, packet_counter);
        EXPECT_EQ(packet, handle.pointer());
        EXPECT_EQ(packet, &*handle);
    }
    EXPECT_EQ(before + 1, packet_counter);
    Packet::put(packet);
}

TEST(PacketHandle, MovingItMovesTheReference) {
    const unsigned long before = packet_counter;
    {
        PacketHandle<Packet> from(new Packet);
        const PacketHandle<Packet> to(std::move(from));
        EXPECT_EQ(before + 1, packet_counter);
        EXPECT_EQ(0U, to->getAnswerTimeout());
    }
    EXPECT_EQ(before, packet_counter);
}

}  // namespace
}  // namespace teskd::test
