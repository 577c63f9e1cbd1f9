#include "core/app/PacketTypes.h"

#include <algorithm>
#include <iterator>

#include "aams/AamsPacket.h"
#include "dorn/DornPacketType1.h"
#include "dorn/DornPacketType2.h"
#include "dorn/DornPacketType3.h"
#include "dorn/DornPacketType4.h"
#include "dorn/DornPacketType5.h"
#include "dorn/DornPacketType6.h"
#include "dorn/DornPacketType7.h"
#include "dorn/DornPacketType8.h"

namespace teskd {

namespace {

struct PacketType {
    int type;
    DornPacket* (*create)();
};

template <class Created>
DornPacket* create() {
    return new Created;
}

constexpr PacketType PACKET_TYPES[] = {
    {1, create<DornPacketType1>},
    {2, create<DornPacketType2>},
    {3, create<DornPacketType3>},
    {4, create<DornPacketType4>},
    {5, create<DornPacketType5>},
    {6, create<DornPacketType6>},
    {7, create<DornPacketType7>},
    {8, create<DornPacketType8>},
    {dornframe::TYPE_AAMS, create<AamsPacket>},
};

}  // namespace

DornPacket* createPacket(int type) {
    const auto found = std::find_if(std::begin(PACKET_TYPES), std::end(PACKET_TYPES),
                                    [type](const PacketType& entry) { return entry.type == type; });
    return found == std::end(PACKET_TYPES) ? nullptr : found->create();
}

}  // namespace teskd
