#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "support/LogLine.h"
#include "support/LogSocket.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

TEST(LogSocketLine, IsTakenApart) {
    const auto line = parseLogLine("<180>Nov  1 09:08:07 /usr/bin/teskd[123]: Lost: all");
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(180, line->priority);
    EXPECT_EQ("Nov  1 09:08:07", line->timestamp);
    EXPECT_EQ("/usr/bin/teskd", line->ident);
    EXPECT_EQ(123, line->pid);
    EXPECT_EQ("Lost: all", line->text);
}

TEST(LogSocketLine, MayLackTheProcessId) {
    const auto line = parseLogLine("<13>Nov  1 09:08:07 me: text");
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ("me", line->ident);
    EXPECT_EQ(0, line->pid);
}

TEST(LogSocketLine, MayHaveAnEmptyText) {
    const auto line = parseLogLine("<13>Nov  1 09:08:07 me: ");
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ("", line->text);
}

TEST(LogSocketLine, OtherFormsAreRefused) {
    for (const char* text : {"", "text", "<>Nov  1 09:08:07 me: x", "<1", "<180>me: x",
                             "<180>Nov  1 09:08:07 me", "<180>Nov  1 09:08:07 me[x]: y"}) {
        EXPECT_FALSE(parseLogLine(text).has_value()) << text;
    }
}

class LogSocketTest : public testing::Test {
  protected:
    void send(const std::string& text) const {
        const UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, log_.path().c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(static_cast<ssize_t>(text.size()),
                  ::sendto(fd.get(), text.data(), text.size(), 0,
                           reinterpret_cast<const sockaddr*>(&address), sizeof address));
    }

    TempDir directory_;
    LogSocket log_{directory_ / "log"};
};

TEST_F(LogSocketTest, WaitsForLinesByTextPatternAndNumber) {
    send("<180>Nov  1 09:08:07 me[1]: first line");
    send("<182>Nov  1 09:08:08 me[1]: second line");
    const auto second = log_.waitFor("second");
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(182, second->priority);
    EXPECT_TRUE(log_.waitForMatch("^first .*$").has_value());
    EXPECT_TRUE(log_.waitForCount("line", 2));
    EXPECT_EQ(2U, log_.count("line"));
    EXPECT_EQ(2U, log_.lines().size());
    EXPECT_EQ("<180> first line\n<182> second line\n", log_.dump());
}

TEST_F(LogSocketTest, GivesUpAtTheDeadline) {
    EXPECT_FALSE(log_.waitFor("never", 20ms).has_value());
    EXPECT_FALSE(log_.waitForMatch("never", 20ms).has_value());
    EXPECT_FALSE(log_.waitForCount("never", 1, 20ms));
}

TEST_F(LogSocketTest, KeepsWhatDoesNotParse) {
    send("no log line");
    const auto line = log_.waitFor("no log line");
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(-1, line->priority);
    log_.clear();
    EXPECT_TRUE(log_.lines().empty());
}

}  // namespace
}  // namespace teskd::test
