// The bounded history of readings.

#include <cstddef>
#include <gtest/gtest.h>
#include <list>
#include <malloc.h>
#include <string>
#include <thread>
#include <utility>

#include "aams/AamsCache.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using Texts = std::list<std::string>;

const std::string kCode = "ZA000000001";

// Readings first to last; of each, the fields end with its number.
void addReadings(AamsCache& cache, int first, int last, const std::string& code = kCode) {
    for (int n = first; n <= last; ++n) {
        const std::string number = std::to_string(n);
        cache.add_reading(code, "context" + number, "stamp" + number, "message" + number,
                          {"error" + number});
    }
}

TEST(AamsCache, KnowsNoMachineAtFirst) {
    const AamsCache cache;
    EXPECT_EQ(Texts{}, cache.codes());
    EXPECT_FALSE(cache.contains(kCode));
    EXPECT_EQ(0, cache.reading_count(kCode));
    EXPECT_TRUE(cache.newest(kCode, 50).empty());
}

TEST(AamsCache, KeepsEveryFieldOfAReading) {
    AamsCache cache;
    cache.add_reading(kCode, "04", "210315134500", "113~000B", {"31", "38", "38"});
    EXPECT_TRUE(cache.contains(kCode));
    EXPECT_EQ(1, cache.reading_count(kCode));
    EXPECT_EQ("04", cache.context_at(kCode, 0));
    EXPECT_EQ("210315134500", cache.stamp_at(kCode, 0));
    EXPECT_EQ("113~000B", cache.message_at(kCode, 0));
    EXPECT_EQ((Texts{"31", "38", "38"}), cache.errors_at(kCode, 0));
}

TEST(AamsCache, TheNewestReadingHasIndexZero) {
    AamsCache cache;
    addReadings(cache, 1, 3);
    EXPECT_EQ(3, cache.reading_count(kCode));
    for (const std::uint32_t index : {0U, 1U, 2U}) {
        const std::string number = std::to_string(3 - index);
        EXPECT_EQ("context" + number, cache.context_at(kCode, index));
        EXPECT_EQ("stamp" + number, cache.stamp_at(kCode, index));
        EXPECT_EQ("message" + number, cache.message_at(kCode, index));
        EXPECT_EQ(Texts{"error" + number}, cache.errors_at(kCode, index));
    }
}

TEST(AamsCache, KeepsFiftyReadingsOfAMachine) {
    AamsCache cache;
    addReadings(cache, 1, 50);
    EXPECT_EQ(50, cache.reading_count(kCode));
    EXPECT_EQ("message1", cache.message_at(kCode, 49));
}

TEST(AamsCache, TheFiftyFirstReadingOfAMachinePushesOutTheFirst) {
    AamsCache cache;
    addReadings(cache, 1, 51);
    EXPECT_EQ(50, cache.reading_count(kCode));
    EXPECT_EQ("context2", cache.context_at(kCode, 49));
    EXPECT_EQ("stamp2", cache.stamp_at(kCode, 49));
    EXPECT_EQ("message2", cache.message_at(kCode, 49));
    EXPECT_EQ(Texts{"error2"}, cache.errors_at(kCode, 49));
    EXPECT_EQ("", cache.context_at(kCode, 50));
    EXPECT_EQ("", cache.stamp_at(kCode, 50));
    EXPECT_EQ("", cache.message_at(kCode, 50));
    EXPECT_EQ(Texts{}, cache.errors_at(kCode, 50));
    EXPECT_EQ("message51", cache.message_at(kCode, 0));
}

TEST(AamsCache, TheReadingsOfOneMachinePushOutNoneOfAnother) {
    AamsCache cache;
    addReadings(cache, 1, 1, "other");
    addReadings(cache, 1, 60);
    EXPECT_EQ(1, cache.reading_count("other"));
    EXPECT_EQ("message1", cache.message_at("other", 0));
    EXPECT_EQ("message11", cache.message_at(kCode, 49));
}

TEST(AamsCache, ListsCodesInAscendingOrderOfTheirBytes) {
    AamsCache cache;
    for (const char* const code : {"ZB", "\xC8", "ZA2", "a", "ZA10", "ZB", "ZA"}) {
        addReadings(cache, 1, 1, code);
    }
    EXPECT_EQ((Texts{"ZA", "ZA10", "ZA2", "ZB", "a", "\xC8"}), cache.codes());
}

TEST(AamsCache, AnIndexedReadOfAnUnknownMachineThrows) {
    AamsCache cache;
    addReadings(cache, 1, 1);
    const std::string message = "Unknown CodeId: unknown";
    EXPECT_EQ(message,
              messageOf<UnknownCodeIdException>([&] { (void)cache.context_at("unknown", 0); }));
    EXPECT_EQ(message,
              messageOf<UnknownCodeIdException>([&] { (void)cache.stamp_at("unknown", 0); }));
    EXPECT_EQ(message,
              messageOf<UnknownCodeIdException>([&] { (void)cache.message_at("unknown", 0); }));
    EXPECT_EQ(message,
              messageOf<UnknownCodeIdException>([&] { (void)cache.errors_at("unknown", 0); }));
    EXPECT_FALSE(cache.contains("unknown"));
}

TEST(AamsCache, AnIndexBeyondTheNumberOfReadingsThrows) {
    AamsCache cache;
    addReadings(cache, 1, 3);
    const std::string message = "Out-Of-Bound: Condition not met for ZA000000001:  0 <= 4 < 3";
    EXPECT_EQ(message, messageOf<OutOfBoundException>([&] { (void)cache.context_at(kCode, 4); }));
    EXPECT_EQ(message, messageOf<OutOfBoundException>([&] { (void)cache.stamp_at(kCode, 4); }));
    EXPECT_EQ(message, messageOf<OutOfBoundException>([&] { (void)cache.message_at(kCode, 4); }));
    EXPECT_EQ(message, messageOf<OutOfBoundException>([&] { (void)cache.errors_at(kCode, 4); }));
}

TEST(AamsCache, TheHighestIndexIsReportedAsASignedNumber) {
    AamsCache cache;
    addReadings(cache, 1, 3);
    EXPECT_EQ("Out-Of-Bound: Condition not met for ZA000000001:  0 <= -1 < 3",
              messageOf<OutOfBoundException>([&] { (void)cache.stamp_at(kCode, 0xFFFFFFFF); }));
}

TEST(AamsCache, AnIndexEqualToTheNumberOfReadingsReadsAsEmpty) {
    AamsCache cache;
    addReadings(cache, 1, 1);
    EXPECT_EQ("", cache.context_at(kCode, 1));
    EXPECT_EQ("", cache.stamp_at(kCode, 1));
    EXPECT_EQ("", cache.message_at(kCode, 1));
    EXPECT_EQ(Texts{}, cache.errors_at(kCode, 1));
}

TEST(AamsCache, NewestGivesAsManyAsThereAreUpToTheLimit) {
    AamsCache cache;
    addReadings(cache, 1, 3);
    EXPECT_TRUE(cache.newest(kCode, 0).empty());
    ASSERT_EQ(2U, cache.newest(kCode, 2).size());
    ASSERT_EQ(3U, cache.newest(kCode, 4).size());
    const AamsCache::Reading second = cache.newest(kCode, 2)[1];
    EXPECT_EQ("context2", second.context);
    EXPECT_EQ("stamp2", second.stamp);
    EXPECT_EQ("message2", second.message);
    EXPECT_EQ(Texts{"error2"}, second.errors);
}

TEST(AamsCache, AReadingIsSeenWholeWhileOthersAreAdded) {
    AamsCache cache;
    addReadings(cache, 1, 1);
    std::thread writer([&cache] { addReadings(cache, 2, 500); });
    std::string newest;
    while (newest != "message500") {
        for (const AamsCache::Reading& reading : cache.newest(kCode, 2)) {
            const std::string number = reading.message.substr(7);
            EXPECT_EQ("context" + number, reading.context);
            EXPECT_EQ("stamp" + number, reading.stamp);
            EXPECT_EQ(Texts{"error" + number}, reading.errors);
        }
        newest = cache.message_at(kCode, 0);
    }
    writer.join();
    EXPECT_EQ(50, cache.reading_count(kCode));
}

TEST(AamsCache, AMessageIsKeptWholeUpToSixteenKibibytesAndCutThere) {
    AamsCache cache;
    cache.add_reading(kCode, "04", "210315134500", std::string(16384, 'x'), {});
    EXPECT_EQ(std::string(16384, 'x'), cache.message_at(kCode, 0));
    cache.add_reading(kCode, "04", "210315134600", std::string(16385, 'y'), {});
    EXPECT_EQ(std::string(16384, 'y'), cache.message_at(kCode, 0));
}

TEST(AamsCache, FiftyOfTheLongestMessagesOfAMachineAreKept) {
    AamsCache cache;
    for (int n = 1; n <= 51; ++n) {
        cache.add_reading(kCode, "04", std::to_string(n), std::string(20000, 'x'), {});
    }
    EXPECT_EQ(50, cache.reading_count(kCode));
    EXPECT_EQ("2", cache.stamp_at(kCode, 49));
}

// 50 readings of 16 KiB each from six machines would be 4.7 MiB.
TEST(AamsCache, WhenAllMachinesTogetherHaveTooMuchTheOldestReadingsOfAnyGo) {
    AamsCache cache;
    const std::string message(16384, 'x');
    const auto codeOf = [](int n) { return "ZA" + std::to_string(n); };
    for (int n = 0; n < 50 * 6; ++n) {
        cache.add_reading(codeOf(n / 50), "04", std::to_string(n), message, {});
    }
    EXPECT_LT(cache.reading_count(codeOf(0)), 10);
    for (int n = 1; n < 6; ++n) EXPECT_EQ(50, cache.reading_count(codeOf(n))) << n;
    for (int n = 300; n < 350; ++n) {
        cache.add_reading(codeOf(5), "04", std::to_string(n), message, {});
    }
    EXPECT_EQ("300", cache.stamp_at(codeOf(5), 49)) << "its own oldest did not go";
    EXPECT_EQ(50, cache.reading_count(codeOf(1)));
}

TEST(AamsCache, AMachineWhoseLastReadingWentIsUnknown) {
    AamsCache cache;
    cache.add_reading("first", "04", "1", "short", {});
    for (int n = 0; n < 300; ++n) {
        cache.add_reading("ZA" + std::to_string(n / 50), "04", "2", std::string(16384, 'x'), {});
    }
    EXPECT_FALSE(cache.contains("first"));
    EXPECT_EQ(0, cache.reading_count("first"));
}

// What the process has allocated, in bytes; 0 where a sanitizer does the allocations.
std::size_t allocated() {
    return ::mallinfo2().uordblks;
}

// Whatever a reading is made of, the cache holds no more than 4 MiB of memory.
class AamsCacheFull : public testing::TestWithParam<std::pair<std::size_t, std::size_t>> {};

TEST_P(AamsCacheFull, TakesFourMebibytesOfMemory) {
    const auto [messageSize, errorCount] = GetParam();
    const std::string message(messageSize, 'x');
    const Texts errors(errorCount, "31");
    const std::size_t before = allocated();
    AamsCache cache;
    for (int n = 0; n < 256 * 60; ++n) {
        cache.add_reading("ZA" + std::to_string(n % 256), "04", "210315134500", message, errors);
    }
    EXPECT_LE(allocated() - before, 4'300'000U);
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, AamsCacheFull,
                         testing::Values(std::pair(0, 0), std::pair(40, 0), std::pair(40, 30),
                                         std::pair(1000, 2), std::pair(16384, 0),
                                         std::pair(1 << 20, 2)));

TEST(AamsCache, TheCodeThatWasSilentLongestGivesWayToTheTwoHundredAndFiftySeventh) {
    AamsCache cache;
    for (int n = 1; n <= 256; ++n) addReadings(cache, n, n, "ZA" + std::to_string(1000 + n));
    addReadings(cache, 257, 257, "ZA1001");
    EXPECT_EQ(256U, cache.codes().size());
    addReadings(cache, 258, 258, "ZA1257");
    EXPECT_EQ(256U, cache.codes().size());
    EXPECT_TRUE(cache.contains("ZA1001"));
    EXPECT_FALSE(cache.contains("ZA1002"));
    EXPECT_TRUE(cache.contains("ZA1003"));
    EXPECT_TRUE(cache.contains("ZA1257"));
}

}  // namespace
}  // namespace teskd::test
