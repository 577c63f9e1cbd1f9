// What a machine's journal keeps of a long life.

#include <gtest/gtest.h>

#include "tesksim/Journal.h"

namespace teskd::test {
namespace {

using tesksim::Journal;
using tesksim::Message;

constexpr Journal::Milliseconds kNow{0};

Message request(int id, const std::string& payload = "") {
    return {id, payload, std::to_string(id) + "~" + payload};
}

TEST(Journal, DropsTheOldestMessagesAndCountsThemAllTheSame) {
    Journal journal;
    constexpr std::size_t kRounds = 2 * Journal::kMostMessages;
    for (std::size_t round = 0; round < kRounds; ++round) {
        journal.message(request(113, std::to_string(round)));
        journal.message(request(tesksim::kAcknowledgement));
    }
    journal.message(request(115));
    EXPECT_EQ(Journal::kMostMessages, journal.messages().size());
    EXPECT_EQ(kRounds + 1, journal.requestCount());
    EXPECT_EQ(kRounds, journal.acknowledgementCount());
    EXPECT_TRUE(journal.waitForRequests(kRounds + 1, kNow));
    EXPECT_FALSE(journal.waitForRequests(kRounds + 2, kNow));
    EXPECT_TRUE(journal.waitForAcknowledgements(kRounds, kNow));
    EXPECT_EQ(std::to_string(kRounds - 1), journal.waitForRequest(113, kRounds, kNow)->payload);
    EXPECT_FALSE(journal.waitForRequest(113, 1, kNow).has_value());
    EXPECT_TRUE(journal.waitForRequest(115, 1, kNow).has_value());

    journal.clear();
    EXPECT_EQ(0U, journal.requestCount());
    EXPECT_EQ(0U, journal.acknowledgementCount());
    journal.message(request(113, "new"));
    EXPECT_EQ("new", journal.waitForRequest(113, 1, kNow)->payload);
}

TEST(Journal, DropsMessagesBySizeButNeverTheLatest) {
    Journal journal;
    const std::string half(Journal::kMostMessageBytes / 2, 'x');
    for (int i = 0; i < 3; ++i) journal.message(request(113, half));
    EXPECT_EQ(1U, journal.messages().size());
    EXPECT_EQ(3U, journal.requestCount());
    journal.message(request(113, half + half));
    EXPECT_EQ(1U, journal.messages().size());
}

TEST(Journal, KeepsTheLatestBytesAndSettings) {
    Journal journal;
    const std::string block(Journal::kMostText / 2, 'x');
    for (int i = 0; i < 3; ++i) {
        journal.received(block);
        journal.data(block);
        journal.sent(block);
    }
    journal.received("1");
    journal.data("2");
    journal.sent("3");
    for (const std::string& text :
         {journal.rawReceived(), journal.dataReceived(), journal.rawSent()}) {
        EXPECT_LE(text.size(), Journal::kMostText);
        EXPECT_GE(text.size(), Journal::kMostText / 2);
    }
    EXPECT_TRUE(journal.rawReceived().ends_with("x1"));
    EXPECT_TRUE(journal.dataReceived().ends_with("x2"));
    EXPECT_TRUE(journal.rawSent().ends_with("x3"));

    constexpr std::size_t kSettings = Journal::kMostSettings + 1;
    for (std::size_t i = 0; i < kSettings; ++i) journal.setting({2, i == 0 ? "\7" : "\10"});
    EXPECT_EQ(Journal::kMostSettings, journal.settings().size());
    EXPECT_EQ("\10", journal.settings().front().value);
    EXPECT_TRUE(journal.waitForSettings(kSettings, kNow));
    EXPECT_FALSE(journal.waitForSettings(kSettings + 1, kNow));
}

}  // namespace
}  // namespace teskd::test
