#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "tesksim/TelnetServer.h"

namespace tesksim {
namespace {

using teskd::test::bytes;

TEST(TelnetServer, AgreesToTheThreeOptions) {
    TelnetServer server;
    EXPECT_BYTES("", server.receive(bytes("FF FB 03 FF FB 2C FF FB 00")));
    EXPECT_BYTES(bytes("FF FD 03 FF FD 2C FF FD 00"), server.takeReply());
    EXPECT_BYTES("", server.takeReply());
}

TEST(TelnetServer, RefusesOtherOptions) {
    TelnetServer server;
    server.receive(bytes("FF FB 18 FF FD 01 FF FD 03"));
    EXPECT_BYTES(bytes("FF FE 18 FF FC 01"), server.takeReply());
}

TEST(TelnetServer, MayRefuseComPortOptionOrSayNothing) {
    TelnetServer refusing(Negotiation::Refuse);
    refusing.receive(bytes("FF FB 03 FF FB 2C"));
    EXPECT_BYTES(bytes("FF FD 03 FF FE 2C"), refusing.takeReply());
    TelnetServer mute(Negotiation::Mute);
    mute.receive(bytes("FF FB 03 FF FB 2C FF FA 2C 02 08 FF F0"));
    EXPECT_BYTES("", mute.takeReply());
    EXPECT_EQ(1U, mute.takeSettings().size());
}

TEST(TelnetServer, AnswersAndRecordsLineSettings) {
    TelnetServer server;
    server.receive(bytes("FF FA 2C 01 00 00 25 80 FF F0 FF FA 2C 05 03 FF F0"));
    EXPECT_BYTES(bytes("FF FA 2C 65 00 00 25 80 FF F0 FF FA 2C 69 03 FF F0"), server.takeReply());
    const std::vector<LineSetting> settings = server.takeSettings();
    ASSERT_EQ(2U, settings.size());
    EXPECT_EQ(9600U, settings[0].number());
    EXPECT_EQ(5, settings[1].subcommand);
    Line line;
    for (const LineSetting& setting : settings) apply(setting, line);
    EXPECT_EQ(9600U, line.baudRate);
    EXPECT_EQ(3U, line.control);
    EXPECT_EQ(0U, line.parity);
}

TEST(TelnetServer, SeparatesDataFromCommandsWhereverTheyAreCut) {
    const std::string stream = bytes("41 FF FF 42 FF FA 2C 02 08 FF F0 43 FF F1 44 FF FB 03 45");
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        TelnetServer server;
        std::string data = server.receive(stream.substr(0, cut));
        data += server.receive(stream.substr(cut));
        EXPECT_BYTES(bytes("41 FF 42 43 44 45"), data) << cut;
        EXPECT_EQ(1U, server.takeSettings().size()) << cut;
    }
}

TEST(TelnetServer, DataGoesOutWithDoubledIac) {
    EXPECT_BYTES(bytes("41 FF FF 42"), TelnetServer::escape(bytes("41 FF 42")));
}

}  // namespace
}  // namespace tesksim
