#include <gtest/gtest.h>
#include <string>

#include "core/app/PacketTypes.h"
#include "dorn/DornPacket.h"
#include "packet/PacketHandle.h"
#include "support_src/ByteSink.h"

namespace teskd::test {
namespace {

// The type byte of the frame that the packet writes.
int typeOf(DornPacket& packet) {
    ByteSink sink;
    packet.write(sink);
    return static_cast<unsigned char>(sink.bytes.at(3));
}

TEST(PacketTypes, EachKnownTypeHasAPacketThatWritesItAndNoOtherHasOne) {
    for (int type = 0; type < 256; ++type) {
        DornPacket* const created = createPacket(type);
        const bool known = (type >= 1 && type <= 8) || type == 0xFE;
        ASSERT_EQ(known, created != nullptr) << type;
        if (created == nullptr) continue;
        const PacketHandle<DornPacket> packet(created);
        EXPECT_EQ(type, typeOf(*packet));
    }
}

}  // namespace
}  // namespace teskd::test
