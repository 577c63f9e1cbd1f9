#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "support/Connection.h"
#include "support/Ser2net.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

const std::string kAgreeToComPort = bytes("FF FB 2C");
const std::string kStopSizeTwo = bytes("FF FA 2C 04 02 FF F0");
const std::string kHardwareFlow = bytes("FF FA 2C 05 03 FF F0");

class Ser2netTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(Ser2net::available()) << "script/setup installs it"; }
};

// Reads until what was read contains `part`.
std::string readUntil(Connection& connection, const std::string& part) {
    std::string text;
    while (text.find(part) == std::string::npos) text += connection.readExactly(1);
    return text;
}

TEST_F(Ser2netTest, CarriesARequestAndItsAnswer) {
    Ser2net server;
    tesksim::Machine machine({.codeId = "ZC", .tty = server.machineTty()});
    machine.start();
    ASSERT_TRUE(machine.journal().waitForConnections(1));
    Connection peer = Connection::to(server.port());
    peer.sendAll("113~0008");
    readUntil(peer, "113~002B~15.03.21~ZC~00~100~200~1~100~200~0");
    EXPECT_EQ("113~0008", machine.journal().dataReceived());
}

TEST_F(Ser2netTest, LineSettingsReachTheTty) {
    Ser2net server("9600n81");
    Connection peer = Connection::to(server.port());
    peer.sendAll(kAgreeToComPort);
    readUntil(peer, bytes("FF FD 2C"));
    ASSERT_TRUE(eventually([&] { return server.speed() == B9600; }));

    peer.sendAll(bytes("FF FA 2C 01 00 00 4B 00 FF F0") + kStopSizeTwo + kHardwareFlow);
    readUntil(peer, bytes("FF FA 2C 65 00 00 4B 00 FF F0"));
    readUntil(peer, bytes("FF FA 2C 69 03 FF F0"));
    const termios settings = server.lineSettings();
    EXPECT_EQ(static_cast<speed_t>(B19200), cfgetospeed(&settings));
    EXPECT_NE(0U, settings.c_cflag & CSTOPB);
    EXPECT_NE(0U, settings.c_cflag & CRTSCTS);
}

}  // namespace
}  // namespace teskd::test
