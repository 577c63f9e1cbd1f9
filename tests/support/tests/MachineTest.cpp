#include <gtest/gtest.h>
#include <system_error>

#include "support/Bytes.h"
#include "support/Connection.h"
#include "support/ProcInfo.h"
#include "tesksim/Machine.h"

namespace tesksim {
namespace {

using namespace std::chrono_literals;
using teskd::test::bytes;
using teskd::test::Connection;

const std::string kMeters = "113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0";

class MachineTest : public testing::Test {
  protected:
    void SetUp() override {
        machine_.start();
        peer_ = Connection::to(machine_.port());
        ASSERT_TRUE(machine_.journal().waitForConnections(1));
    }

    Machine machine_;
    Connection peer_;
};

TEST_F(MachineTest, NegotiatesAnswersAndSeesTheAcknowledgement) {
    peer_.sendAll(bytes("FF FB 03 FF FB 2C"));
    EXPECT_BYTES(bytes("FF FD 03 FF FD 2C"), peer_.readExactly(6));
    peer_.sendAll(bytes("FF FA 2C 01 00 00 4B 00 FF F0"));
    EXPECT_BYTES(bytes("FF FA 2C 65 00 00 4B 00 FF F0"), peer_.readExactly(10));
    peer_.sendByteByByte("113~0008");
    EXPECT_EQ(kMeters, peer_.readExactly(kMeters.size()));
    peer_.sendAll("150~000C~113");
    ASSERT_TRUE(machine_.journal().waitForAcknowledgements(1));
    EXPECT_EQ("113", machine_.journal().acknowledgements().front().payload);
    EXPECT_EQ(19200U, machine_.journal().line().baudRate);
    EXPECT_EQ(1U, machine_.journal().requests().size());
    EXPECT_EQ("113~0008150~000C~113", machine_.journal().dataReceived());
    EXPECT_FALSE(peer_.readableWithin(20ms));
}

TEST_F(MachineTest, AnswersTheNextConnectionToo) {
    peer_.close();
    ASSERT_TRUE(machine_.journal().waitForDisconnection());
    Connection second = Connection::to(machine_.port());
    second.sendAll("113~0008");
    EXPECT_EQ(kMeters, second.readExactly(kMeters.size()));
    EXPECT_EQ(2U, machine_.journal().connections());
}

TEST_F(MachineTest, SilenceLastsAsLongAsAsked) {
    machine_.setFaults({.silent = true}, 1);
    peer_.sendAll("113~0008");
    ASSERT_TRUE(machine_.journal().waitForRequest(113));
    EXPECT_FALSE(peer_.readableWithin(20ms));
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters, peer_.readExactly(kMeters.size()));
    ASSERT_TRUE(machine_.journal().waitForRequest(113, 2));
    EXPECT_FALSE(machine_.journal().waitForRequest(113, 3, 10ms));
}

TEST_F(MachineTest, SlowAndDribbledAnswersTakeTheirTime) {
    machine_.setFaults({.delay = 60ms, .dribble = 1ms}, 1);
    const auto before = std::chrono::steady_clock::now();
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters, peer_.readExactly(kMeters.size()));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 60ms + 1ms * (kMeters.size() - 1));
}

TEST_F(MachineTest, ClosesInMidAnswer) {
    machine_.setFaults({.closeAfter = 5}, 1);
    peer_.sendAll("113~0008");
    EXPECT_EQ("113~0", peer_.readUntilClosed());
}

TEST_F(MachineTest, LiesAboutTheLengthAndAddsGarbage) {
    machine_.setFaults({.lengthError = 1, .garbageBefore = "##", .garbageAfter = "!!"}, 1);
    peer_.sendAll("113~0008");
    const std::string wanted = "##113~0035" + kMeters.substr(8) + "!!";
    EXPECT_EQ(wanted, peer_.readExactly(wanted.size()));
}

TEST_F(MachineTest, FaultsMayConcernOneMessageOnly) {
    machine_.setFaults({.onlyFor = 114, .silent = true}, 1);
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters, peer_.readExactly(kMeters.size()));
    peer_.sendAll("114~0008");
    ASSERT_TRUE(machine_.journal().waitForRequest(114));
    EXPECT_FALSE(peer_.readableWithin(20ms));
}

TEST_F(MachineTest, RepeatsAnAnswerUnlessItIsAskedBefore) {
    machine_.setFaults({.repeatAfter = 50ms}, 1);
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters + kMeters, peer_.readExactly(2 * kMeters.size()));
    EXPECT_FALSE(peer_.readableWithin(70ms));
    machine_.setFaults({.repeatAfter = 10s}, 1);
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters, peer_.readExactly(kMeters.size()));
    machine_.setFaults({.repeatAfter = 0ms}, 1);
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters + kMeters, peer_.readExactly(2 * kMeters.size()));
}

TEST_F(MachineTest, ChangesItsIdentity) {
    machine_.setCodeId("ZB");
    peer_.sendAll("113~0008");
    EXPECT_EQ("113~002B~15.03.21~ZB~00~100~200~1~100~200~0", peer_.readExactly(0x2B));
}

TEST_F(MachineTest, DoublesIacInItsAnswers) {
    machine_.answers().setLiteral(113, bytes("41 FF 42"));
    peer_.sendAll("113~0008");
    EXPECT_BYTES(bytes("41 FF FF 42"), peer_.readExactly(4));
    machine_.inject(bytes("FF F1"));
    EXPECT_BYTES(bytes("FF F1"), peer_.readExactly(2));
}

TEST(MachineGreeting, ComesFirstOnEveryConnection) {
    Machine machine({.greeting = serverGreeting()});
    machine.start();
    for (int i = 0; i < 2; ++i) {
        Connection peer = Connection::to(machine.port());
        EXPECT_BYTES(bytes("FF FB 03 FF FD 03 FF FB 01 FF FE 01 FF FD 00 FF FB 00 FF FD 2C"),
                     peer.readExactly(21));
    }
}

TEST_F(MachineTest, HangsUpOrderlyOrWithAReset) {
    machine_.disconnect();
    EXPECT_EQ("", peer_.readUntilClosed());
    Connection second = Connection::to(machine_.port());
    ASSERT_TRUE(machine_.journal().waitForConnections(2));
    machine_.disconnect(true);
    EXPECT_THROW(second.readUntilClosed(), std::system_error);
}

TEST_F(MachineTest, RefusesConnectionsAndReturnsOnTheSamePort) {
    machine_.setFaults({.refuse = true});
    const auto refused = [this] {
        try {
            Connection::to(machine_.port());
        } catch (const std::system_error&) {
            return true;
        }
        return false;
    };
    EXPECT_TRUE(teskd::test::eventually(refused));
    peer_.sendAll("113~0008");
    EXPECT_EQ(kMeters, peer_.readExactly(kMeters.size()));
    peer_.close();
    machine_.clearFaults();
    Connection again = Connection::connectEventually(machine_.port());
    again.sendAll("113~0008");
    EXPECT_EQ(kMeters, again.readExactly(kMeters.size()));
}

TEST_F(MachineTest, ADeafMachineReadsNothing) {
    machine_.setFaults({.deaf = true});
    machine_.inject("x");  // seen by the peer once the fault is in force
    EXPECT_EQ("x", peer_.readExactly(1));
    peer_.sendAll("113~0008");
    EXPECT_FALSE(machine_.journal().waitForRequest(113, 1, 20ms));
    machine_.clearFaults();
    EXPECT_TRUE(machine_.journal().waitForRequest(113));
}

TEST_F(MachineTest, StopsAtOnceAndStartsAgainOnItsPort) {
    const std::size_t open = teskd::test::openDescriptors(::getpid());
    const std::uint16_t port = machine_.port();
    machine_.stop();
    EXPECT_EQ("", peer_.readUntilClosed());
    EXPECT_THROW(Connection::to(port), std::system_error);
    for (int i = 0; i < 20; ++i) {
        machine_.start();
        machine_.stop();
    }
    machine_.start();
    EXPECT_EQ(port, machine_.port());
    peer_ = Connection::to(port);
    ASSERT_TRUE(machine_.journal().waitForConnections(2));
    EXPECT_EQ(open, teskd::test::openDescriptors(::getpid()));
}

}  // namespace
}  // namespace tesksim
