#include <gtest/gtest.h>

#include "host/AamsContent.h"
#include "host/DecodeError.h"

namespace {

using teskhost::AamsContent;
using teskhost::AamsMessage;
using teskhost::DecodeError;

constexpr char kReading[] = "113~0030~15.03.26~ZA01~00~100~200~1~100~200~0-9X";
constexpr char kLower[] = "113~002A~15.03.26~ZA01~00~50~200~1~50~0~0x";

AamsContent decode(int code, const std::string& body) {
    return AamsContent::decode(AamsMessage(code, body));
}

TEST(HostAamsContent, NamesTheFieldsOfTheIdentification) {
    for (const int code : {3, 501}) {
        const AamsContent content =
            decode(code, "-ffffffffff00-00-BOX-1.2-260302141500-ZEPH-3-9-261121062325");
        EXPECT_EQ("ffffffffff00", content.value("MAC address"));
        EXPECT_EQ("00 (success)", content.value("result"));
        EXPECT_EQ("1.2", content.value("software version"));
        EXPECT_EQ("2026-03-02 14:15:00", content.value("software installed"));
        EXPECT_EQ("9", content.value("connection type"));
    }
}

TEST(HostAamsContent, FindsMachinesMessagesByTheirLength) {
    const std::string body = std::string("-MAC-00-4-261121062325-") + kReading + "-261121062326";
    const AamsContent content = decode(502, body);
    ASSERT_EQ(1U, content.readings.size());
    EXPECT_EQ("ZA01", content.readings[0].message.machine);
    EXPECT_EQ("261121062325", content.readings[0].stamp);
    EXPECT_EQ("0-9X", content.readings[0].message.items().at(5));
    EXPECT_EQ("4 (a later polling pass)", content.value("state"));
    EXPECT_EQ("2026-11-21 06:23:26", content.value("time of the answer"));
}

TEST(HostAamsContent, ReadsAPassThatNobodyAnswered) {
    const AamsContent content = decode(4, "-MAC-00-4");
    EXPECT_TRUE(content.readings.empty());
    EXPECT_EQ("4 (a later polling pass)", content.value("state"));
}

TEST(HostAamsContent, ReadsTheHistoryOfAMachine) {
    const std::string body = std::string("-MAC-00-04-261121062325-") + kLower +
                             "-04-261121062225-" + kReading + "-261121062326";
    const AamsContent content = decode(503, body);
    ASSERT_EQ(2U, content.readings.size());
    EXPECT_EQ("04", content.readings[1].context);
    EXPECT_EQ("50", content.readings[0].message.items().at(0));
}

TEST(HostAamsContent, ReadsFailedChecksWithTheReadingAndTheOneBefore) {
    const std::string one = std::string("-MAC-00-4-38-41-261121062325-") + kLower;
    const AamsContent both = decode(504, one + "-261121062225-" + kReading + "-261121062326");
    EXPECT_EQ("38 (a counter went backwards)", both.value("failed check"));
    EXPECT_EQ(2U, both.readings.size());
    EXPECT_EQ(1U, decode(504, one + "---261121062326").readings.size());
}

TEST(HostAamsContent, ReadsTheParameters) {
    const AamsContent content = decode(505, "-MAC-00-5!1!0!2-261121062326");
    EXPECT_EQ("5 min", content.value("between two polling passes"));
    EXPECT_EQ("yes", content.value("report polling passes"));
    EXPECT_EQ("no", content.value("report passes nobody answered"));
    EXPECT_EQ("2 min", content.value("start to first polling pass"));
}

TEST(HostAamsContent, ReadsAFailedCheck) {
    const std::string body =
        std::string("-MAC-04-38-") + kLower + "-261121062326-" + kLower + "-261121062325";
    const AamsContent content = decode(5, body);
    EXPECT_EQ("38 (a counter went backwards)", content.value("failed check"));
    EXPECT_EQ("ZA01", content.value("machine"));
    EXPECT_EQ("2026-11-21 06:23:25", content.value("time of the reading"));
}

TEST(HostAamsContent, ReadsFailuresAndEmptyAnswers) {
    EXPECT_EQ("0C (unknown machine)", decode(503, "-MAC-0C").value("result"));
    EXPECT_EQ("FF (date and time could not be set)", decode(507, "-MAC-FF").value("result"));
    EXPECT_EQ("MAC", decode(1, "-MAC").value("MAC address"));
    EXPECT_TRUE(decode(506, "").fields.empty());
}

TEST(HostAamsContent, RefusesWhatIsIncompleteOrTooLong) {
    EXPECT_THROW(decode(501, "-MAC-00-BOX"), DecodeError);
    EXPECT_THROW(decode(505, "-MAC-00-1!1!1!0-261121062326-x"), DecodeError);
    EXPECT_THROW(decode(502, "-MAC-00-4-261121062325-113~0FFF~x-261121062326"), DecodeError);
    EXPECT_THROW(decode(502, "MAC"), DecodeError);
}

}  // namespace
