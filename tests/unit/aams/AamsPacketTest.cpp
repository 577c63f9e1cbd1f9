// The frame that carries an AAMS message, and the five notifications.

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <stdexcept>

#include "Engine.h"
#include "aams/AamsPacket.h"
#include "aams/AamsPacketU1.h"
#include "aams/AamsPacketU2.h"
#include "aams/AamsPacketU3.h"
#include "aams/AamsPacketU4.h"
#include "aams/AamsPacketU5.h"
#include "net/MemoryInputStream.h"
#include "support/Bytes.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

void readInto(AamsPacket& packet, const std::string& payload) {
    const std::string frame = frameWith(payload);
    MemoryInputStream in(frame);
    packet.read(in);
}

TEST(AamsPacket, IsAFrameOfItsOwnTypeWithoutBody) {
    const EngineConfig config(0);
    AamsPacket packet;
    const Frame frame = frameOf(packet);
    EXPECT_BYTES(bytes("FF 81 02 FE 00 00 00 01") + std::string(34, '\0'), frame.header);
    EXPECT_BYTES("", frame.body);
    EXPECT_EQ(0, packet.get_code_id());
}

TEST(AamsPacket, ReadsCodeAndBody) {
    AamsPacket packet;
    readInto(packet, bytes("00 00 00 11") + "506-0011-10!1!0!5");
    EXPECT_EQ(506, packet.get_code_id());
    EXPECT_EQ("10!1!0!5", packet.get_body());
}

TEST(AamsPacket, KeepsIdentifiersAndCodeForTheAnswer) {
    AamsPacket packet;
    readInto(packet, payload("501-0008"));
    packet.set_body("-0C");
    const Frame frame = frameOf(packet);
    EXPECT_EQ(0xFE, frame.type);
    EXPECT_EQ(0x81, frame.kind);
    EXPECT_EQ(7U, frame.identifierA);
    EXPECT_EQ(8U, frame.identifierB);
    EXPECT_EQ(16U, frame.length);
    EXPECT_BYTES(bytes("00 00 00 0B") + "501-000B-0C", frame.body);
}

TEST(AamsPacket, NeitherPrefixNorLengthAreHeldAgainstTheFrame) {
    AamsPacket packet;
    readInto(packet, bytes("FF FF FF FF") + "503-FFFF-ZA000000001");
    EXPECT_EQ(503, packet.get_code_id());
    EXPECT_EQ("ZA000000001", packet.get_body());
}

TEST(AamsPacket, TheCharacterInFrontOfTheBodyMayBeAny) {
    AamsPacket packet;
    readInto(packet, payload("503-0014xZA000000001"));
    EXPECT_EQ("ZA000000001", packet.get_body());
}

TEST(AamsPacket, TheBodyBeginsAtItsPlaceWhateverTheLengthFieldIs) {
    AamsPacket packet;
    readInto(packet, payload("503-10000-ZA"));
    EXPECT_EQ("-ZA", packet.get_body());
}

TEST(AamsPacket, APayloadOfThirteenBytesHasAnEmptyBody) {
    AamsPacket packet;
    readInto(packet, payload("503-0009-"));
    EXPECT_EQ("", packet.get_body());
}

TEST(AamsPacket, AShorterPayloadHasNoBody) {
    const std::string whole = bytes("00 00 00 08") + "503-0008";
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        AamsPacket packet;
        readInto(packet, whole.substr(0, size));
        EXPECT_EQ(size <= 4 ? 0 : size == 5 ? 5 : size == 6 ? 50 : 503, packet.get_code_id());
        EXPECT_THROW((void)packet.get_body(), std::out_of_range) << size;
    }
}

TEST(AamsPacket, TakesAnyGarbageAsPayload) {
    for (const std::string& garbage :
         {std::string(1000, '\0'), std::string(1000, '\xFF'), std::string(1000, '-'),
          bytes("00 00 00 0B FF FE FD FC FB FA F9 F8 F7 F6 F5")}) {
        AamsPacket packet;
        readInto(packet, garbage);
        EXPECT_EQ(0, packet.get_code_id());
        EXPECT_BYTES(garbage.substr(13), packet.get_body());
    }
}

TEST(AamsPacket, AReadReplacesWhatAnEarlierOneFound) {
    AamsPacket packet;
    readInto(packet, payload("506-0011-10!1!0!5"));
    readInto(packet, "");
    EXPECT_EQ(0, packet.get_code_id());
    EXPECT_THROW((void)packet.get_body(), std::out_of_range);
}

TEST(AamsPacket, ADamagedFrameIsRefusedAsEveryOther) {
    AamsPacket packet;
    std::string frame = frameWith(payload("501-0008"));
    frame.back() = static_cast<char>(frame.back() + 1);
    MemoryInputStream damaged(frame);
    EXPECT_THROW(packet.read(damaged), ProtocolErrorException);
    MemoryInputStream cut(std::string_view(frame).substr(0, 50));
    EXPECT_THROW(packet.read(cut), SocketConnectionClosedException);
}

TEST(AamsPacket, AClearedBodyLeavesNoPayloadAtAll) {
    AamsPacket packet;
    readInto(packet, payload("506-0011-10!1!0!5"));
    packet.clear_body();
    const Frame frame = frameOf(packet);
    EXPECT_EQ(1U, frame.length);
    EXPECT_BYTES("", frame.body);
    EXPECT_EQ(506, packet.get_code_id());
}

TEST(AamsPacket, AFailedOneIsAnEmptyAnswerThatSaysSo) {
    const PacketHandle<AamsPacket> packet(new AamsPacket);
    readInto(*packet, payload("501-0008"));
    packet->notifyError(Exception("why"));
    EXPECT_EQ(0xAB, frameOf(*packet).kind);
    EXPECT_BYTES("", frameOf(*packet).body);
}

TEST(AamsPacket, GoesToTheEngineAndNowhereElse) {
    Engine engine;
    const PacketHandle<AamsPacket> packet(new AamsPacket);
    packet->offer_to_controller(engine.controller);
    EXPECT_TRUE(engine.aams.isEmpty());
    packet->offer_to_engine(engine.aams);
    ASSERT_FALSE(engine.aams.isEmpty());
    EXPECT_EQ(packet.pointer(), engine.aams.nextPacket().pointer());
    engine.aams.removePacket(packet.pointer());
}

TEST(AamsPacketU, HasItsCodeAndItsBodyFromTheStart) {
    AamsPacketU1 date("-001122AABBCC");
    EXPECT_BYTES(bytes("00 00 00 15") + "001-0015-001122AABBCC", frameOf(date).body);
    EXPECT_EQ(1, date.get_code_id());
    AamsPacketU2 parameters("-001122AABBCC");
    EXPECT_BYTES(bytes("00 00 00 15") + "002-0015-001122AABBCC", frameOf(parameters).body);
    EXPECT_EQ(2, parameters.get_code_id());
    AamsPacketU3 identification("-3");
    EXPECT_BYTES(bytes("00 00 00 0A") + "003-000A-3", frameOf(identification).body);
    EXPECT_EQ(3, identification.get_code_id());
    AamsPacketU4 pass("-4");
    EXPECT_BYTES(bytes("00 00 00 0A") + "004-000A-4", frameOf(pass).body);
    EXPECT_EQ(4, pass.get_code_id());
    AamsPacketU5 check("-5");
    EXPECT_BYTES(bytes("00 00 00 0A") + "005-000A-5", frameOf(check).body);
    EXPECT_EQ(5, check.get_code_id());
}

TEST(AamsPacketU, AnEmptyBodyLeavesTheHeadAlone) {
    AamsPacketU1 packet("");
    EXPECT_BYTES(bytes("00 00 00 08") + "001-0008", frameOf(packet).body);
}

TEST(AamsPacketU, IsARegularFrameOfTheAamsTypeWithTheStationAddress) {
    const EngineConfig config(0);
    AamsPacketU2 packet("-001122AABBCC");
    EXPECT_BYTES(bytes("FF 81 02 FE"), frameOf(packet).header.substr(0, 4));
    EXPECT_BYTES(bytes("00 11 22 AA BB CC"), frameOf(packet).header.substr(8, 6));
}

TEST(AamsPacketU, SendNumbersThePacketAndQueuesIt) {
    PacketContainer target;
    const PacketHandle<AamsPacketU1> first(new AamsPacketU1("-001122AABBCC"));
    const PacketHandle<AamsPacketU4> second(new AamsPacketU4("-4"));
    first->send(target);
    second->send(target);
    EXPECT_EQ(first.pointer(), target.nextPacket().pointer());
    target.removePacket(first.pointer());
    EXPECT_EQ(second.pointer(), target.nextPacket().pointer());
    target.removePacket(second.pointer());
    EXPECT_EQ(0U, frameOf(*first).identifierA);
    EXPECT_NE(0U, frameOf(*first).identifierB);
    EXPECT_EQ(frameOf(*first).identifierB + 1, frameOf(*second).identifierB);
}

// In a process of its own, where nothing was sent before.
TEST(AamsPacketUDeathTest, TheFirstNotificationsAreNumberedOneAndTwo) {
#ifdef __powerpc__
    // Under the emulator a program cannot execute itself anew; as every test runs by itself there,
    // nothing was sent before either.
    GTEST_FLAG_SET(death_test_style, "fast");
#else
    GTEST_FLAG_SET(death_test_style, "threadsafe");
#endif
    const auto sendTwo = [] {
        PacketContainer target;
        for (int n = 1; n <= 2; ++n) {
            const PacketHandle<AamsPacketU1> packet(new AamsPacketU1("-001122AABBCC"));
            packet->send(target);
            const Frame frame = frameOf(*packet);
            std::fprintf(stderr, "(%u, %u)", frame.identifierA, frame.identifierB);
            target.removePacket(packet.pointer());
        }
        std::_Exit(0);
    };
    EXPECT_EXIT(sendTwo(), testing::ExitedWithCode(0), "\\(0, 1\\)\\(0, 2\\)");
}

}  // namespace
}  // namespace teskd::test
