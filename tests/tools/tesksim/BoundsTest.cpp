// What the simulator keeps of endless input.

#include <gtest/gtest.h>

#include "tesksim/Message.h"
#include "tesksim/TelnetServer.h"

namespace teskd::test {
namespace {

TEST(TelnetServerBounds, ASubnegotiationIsCutWhateverItsBytes) {
    constexpr std::size_t kMost = 4096;
    for (const std::string unit : {"x", "\xFF\xFF", "\xFF\x01"}) {
        tesksim::TelnetServer server;
        server.receive("\xFF\xFA\x2C\x01");
        for (int i = 0; i < 100000; ++i) server.receive(unit);
        server.receive("\xFF\xF0");
        const auto settings = server.takeSettings();
        ASSERT_EQ(1U, settings.size());
        EXPECT_EQ(kMost - 1, settings[0].value.size());
        EXPECT_LE(server.takeReply().size(), 2 * kMost + 8);
        EXPECT_EQ("data", server.receive("data"));
    }
}

TEST(MessageParserBounds, TheLatestJunkIsKept) {
    tesksim::MessageParser parser;
    const std::string block(1000, 'x');
    for (int i = 0; i < 100; ++i) {
        parser.feed(block);
        EXPECT_FALSE(parser.next().has_value());
    }
    parser.feed("y113~0008");
    EXPECT_TRUE(parser.next().has_value());
    EXPECT_LE(parser.junk().size(), 8192U);
    EXPECT_TRUE(parser.junk().ends_with("xy"));
}

}  // namespace
}  // namespace teskd::test
