// A host that asks one known machine; a test reads as the transcript of both sides.
//
// Threads: one user.

#pragma once

#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "HostLink.h"
#include "support/Bytes.h"
#include "support/HostClient.h"

namespace teskd::test {

class MachineRequestFixture : public testing::Test {
  protected:
    HostLink& link() { return link_; }
    HostClient& host() { return link_.host(); }
    tesksim::Machine& machine() { return link_.machine(1); }

    Frame ask(std::uint8_t type, std::string_view body) {
        host().request(type, body, 7, 8);
        return host().readFrame();
    }

    // What the machine received since the last call: the request and the acknowledgement.
    std::string atTheMachine() {
        EXPECT_TRUE(machine().journal().waitForAcknowledgements(1));
        std::string data = machine().journal().dataReceived();
        machine().journal().clear();
        return data;
    }

    // The answer says that nobody is known, failed, or timed out, and nothing else.
    static void expectBare(std::uint8_t kind, std::uint8_t type, const Frame& answer) {
        EXPECT_EQ(kind, answer.kind);
        EXPECT_EQ(type, answer.type);
        EXPECT_EQ(7U, answer.identifierA);
        EXPECT_EQ(8U, answer.identifierB);
        EXPECT_BYTES("", answer.body);
        EXPECT_TRUE(answer.checksumOk);
    }

    void expectNothingAtTheMachine() {
        // The link to a machine is served in order: what was sent before would have come first.
        ask(6, name11("ZA000000001") + bytes("00 00 00 00") + "120~0008");
        EXPECT_EQ("120~0008150~000C~120", atTheMachine());
    }

  private:
    HostLink link_{1};
};

// "15.03.21", the date that machines give, in its 11 bytes.
inline const std::string kMachineDate = bytes("31 35 2E 30 33 2E 32 31 00 00 00");

}  // namespace teskd::test
