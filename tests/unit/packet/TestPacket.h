// A packet that tells when it is deleted.

#pragma once

#include "packet/Packet.h"

namespace teskd::test {

struct TestPacket : Packet {
    explicit TestPacket(bool& flag) : deleted(flag) {}
    ~TestPacket() noexcept(false) override { deleted = true; }
    bool& deleted;
};

}  // namespace teskd::test
