// The bodies of replies and notifications.

#include <gtest/gtest.h>
#include <list>
#include <stdexcept>
#include <string>

#include "aams/AamsCache.h"
#include "aams/AamsReply.h"
#include "core/Exception.h"
#include "support_src/AtRelease.h"

namespace teskd::test {
namespace {

const aamsreply::Origin kOrigin{"001122AABBCC", "210315123456"};
const aamsreply::Identity kIdentity{"MODEL", "1.2.3", "210315", "MAKER", "3", "9"};

// The answer from a cache that forgets its machine ZA behind the nth release of a lock meanwhile.
template <class Answer>
std::string whileForgotten(std::size_t n, Answer answer) {
    AamsCache cache;
    cache.add_reading("ZA", "01", "stamp1", "message1", {"31"});
    atRelease(n, [&cache] {
        for (std::size_t other = 0; other < AamsCache::MOST_CODES; ++other) {
            cache.add_reading("ZB" + std::to_string(other), "", "", "", {});
        }
    });
    const std::string text = answer(cache);
    atRelease(0, nullptr);
    return text;
}

class AamsReply : public testing::Test {
  protected:
    ~AamsReply() noexcept override {}

    void add(const std::string& code, const std::string& n, const std::list<std::string>& errors) {
        cache.add_reading(code, "0" + n, "stamp" + n, "message" + n, errors);
    }

    AamsCache cache;
};

TEST_F(AamsReply, AQuestionIsTheAddressAlone) {
    EXPECT_EQ("-001122AABBCC", aamsreply::address("001122AABBCC"));
}

TEST_F(AamsReply, IdentificationHasEverythingThatTellsTheGatewayApart) {
    EXPECT_EQ("-001122AABBCC-00-MODEL-1.2.3-210315-MAKER-3-9-210315123456",
              aamsreply::identification(kOrigin, kIdentity));
}

TEST_F(AamsReply, ABodyThatCannotBeBuiltIsAFailure) {
    const auto mac = [] { return std::string("001122AABBCC"); };
    const auto broken = []() -> std::string { throw std::runtime_error("unreadable"); };
    EXPECT_EQ("-001122AABBCC-0A", aamsreply::or_failure(mac, "0A", broken));
    EXPECT_EQ("-001122AABBCC-0F", aamsreply::or_failure(mac, "0F", broken));
    const auto outside = []() -> std::string { throw OutOfBoundException("unreadable"); };
    EXPECT_EQ("-001122AABBCC-0A", aamsreply::or_failure(mac, "0A", outside));
}

TEST_F(AamsReply, ConnectedListWithoutMachinesIsAFailure) {
    EXPECT_EQ("-001122AABBCC-0B", aamsreply::connected_list(kOrigin, cache, '1'));
}

TEST_F(AamsReply, ConnectedListHasTheNewestReadingOfEveryMachineInOrder) {
    add("ZB", "1", {});
    add("ZA", "2", {"31"});
    add("ZB", "3", {"32"});
    EXPECT_EQ("-001122AABBCC-00-4-stamp2-message2-stamp3-message3-210315123456",
              aamsreply::connected_list(kOrigin, cache, '4'));
}

TEST_F(AamsReply, SlotReadingsOfAnUnknownMachineIsAFailure) {
    add("ZA", "1", {});
    EXPECT_EQ("-001122AABBCC-0C", aamsreply::slot_readings(kOrigin, cache, "ZB"));
    EXPECT_EQ("-001122AABBCC-0C", aamsreply::slot_readings(kOrigin, cache, ""));
}

TEST_F(AamsReply, SlotReadingsHasEveryReadingNewestFirst) {
    add("ZA", "1", {});
    add("ZB", "2", {});
    add("ZA", "3", {"31"});
    EXPECT_EQ("-001122AABBCC-00-03-stamp3-message3-01-stamp1-message1-210315123456",
              aamsreply::slot_readings(kOrigin, cache, "ZA"));
}

TEST_F(AamsReply, SlotReadingsHasFiftyReadingsAtMost) {
    std::string fifty;
    for (int n = 1; n <= 51; ++n) {
        add("ZA", std::to_string(n), {});
        const std::string number = std::to_string(n);
        if (n > 1) fifty = "-0" + number + "-stamp" + number + "-message" + number + fifty;
    }
    EXPECT_EQ("-001122AABBCC-00" + fifty + "-210315123456",
              aamsreply::slot_readings(kOrigin, cache, "ZA"));
}

TEST_F(AamsReply, SlotErrorsOfAnUnknownMachineIsAFailure) {
    add("ZA", "1", {"31"});
    EXPECT_EQ("-001122AABBCC-0C", aamsreply::slot_errors(kOrigin, cache, "ZB", '1'));
}

TEST_F(AamsReply, SlotErrorsOfAGoodReadingIsAFailure) {
    add("ZA", "1", {"31"});
    add("ZA", "2", {});
    EXPECT_EQ("-001122AABBCC-0E", aamsreply::slot_errors(kOrigin, cache, "ZA", '1'));
}

TEST_F(AamsReply, SlotErrorsHasTheNewestErrorsAndTheTwoNewestReadings) {
    add("ZA", "1", {"41"});
    add("ZA", "2", {});
    add("ZA", "3", {"31", "38", "38"});
    EXPECT_EQ("-001122AABBCC-00-3-31-38-38-stamp3-message3-stamp2-message2-210315123456",
              aamsreply::slot_errors(kOrigin, cache, "ZA", '3'));
}

TEST_F(AamsReply, SlotErrorsOfASingleReadingHasEmptyTextsForTheOneBefore) {
    add("ZA", "1", {"31"});
    EXPECT_EQ("-001122AABBCC-00-1-31-stamp1-message1---210315123456",
              aamsreply::slot_errors(kOrigin, cache, "ZA", '1'));
}

// Other machines may push a machine out of the cache while it is answered for.
TEST_F(AamsReply, AMachineThatIsForgottenMeanwhileIsKnownWholeOrNotAtAll) {
    const std::string unknown = "-001122AABBCC-0C";
    for (std::size_t n = 1; n <= 4; ++n) {
        const std::string readings = whileForgotten(
            n, [](const AamsCache& all) { return aamsreply::slot_readings(kOrigin, all, "ZA"); });
        EXPECT_TRUE(readings == unknown ||
                    readings == "-001122AABBCC-00-01-stamp1-message1-210315123456")
            << n << ": " << readings;
        const std::string errors = whileForgotten(n, [](const AamsCache& all) {
            return aamsreply::slot_errors(kOrigin, all, "ZA", '1');
        });
        EXPECT_TRUE(errors == unknown ||
                    errors == "-001122AABBCC-00-1-31-stamp1-message1---210315123456")
            << n << ": " << errors;
    }
}

TEST_F(AamsReply, ExternalParametersAreJoinedByExclamationMarks) {
    ExternalParameters parameters;
    parameters.tmp_app_collegati = 10;
    parameters.invio_no_app_collegati = false;
    parameters.tmp_app_accensione = -5;
    EXPECT_EQ("-001122AABBCC-00-10!1!0!-5-210315123456",
              aamsreply::external_parameters(kOrigin, parameters));
}

TEST_F(AamsReply, ADateThatCouldNotBeSet) {
    EXPECT_EQ("-001122AABBCC-FF", aamsreply::date_not_set("001122AABBCC"));
}

TEST_F(AamsReply, APassThatNobodyAnswered) {
    EXPECT_EQ("-001122AABBCC-00-4", aamsreply::nobody_answered("001122AABBCC"));
}

TEST_F(AamsReply, AFailedCheckNamesContextErrorAndMessage) {
    const AamsCache::Reading reading{"04", "210315123400", "113~000B", {"31", "35"}};
    EXPECT_EQ("-001122AABBCC-04-35-113~000B-210315123456",
              aamsreply::failed_check(kOrigin, reading, "35"));
}

TEST_F(AamsReply, ACounterThatWentBackRepeatsMessageAndTimeOfTheReading) {
    const AamsCache::Reading reading{"04", "210315123400", "113~000B", {"38"}};
    EXPECT_EQ("-001122AABBCC-04-38-113~000B-210315123456-113~000B-210315123400",
              aamsreply::failed_check(kOrigin, reading, "38"));
}

TEST_F(AamsReply, ALongMessageIsRepeatedAsFarAsTheCacheKeepsIt) {
    const std::string kept(std::size_t{16} * 1024, 'm');
    const AamsCache::Reading reading{"04", "210315123400", kept + "rest", {"38"}};
    EXPECT_EQ("-001122AABBCC-04-38-" + kept + "rest-210315123456-" + kept + "-210315123400",
              aamsreply::failed_check(kOrigin, reading, "38"));
}

}  // namespace
}  // namespace teskd::test
