// The settings that the package brings along, as the daemon itself reads them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

#include "config/ZqConfig.h"
#include "support/TempDir.h"
#include "support_src/LogRecorder.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr char kExample[] = TESKD_SOURCE "/packaging/tesk_v2.ini";

ZqConfig::Map example() {
    ZqConfig::Map settings;
    ZqConfig::parse_file(kExample, settings);
    return settings;
}

TEST(Example, HoldsTheIntendedSettingsAndNoOther) {
    const LogRecorder log;
    EXPECT_THAT(
        example(),
        UnorderedElementsAre(
            Pair("[INTERNAL] TESKv2_ENABLE", "false"), Pair("[IP_ADDRESS] IP_LOCAL", "*"),
            Pair("[IP_ADDRESS] TCP_LOCAL", "5001"), Pair("[IP_ADDRESS] IP_SERVER", "192.168.0.1"),
            Pair("[IP_ADDRESS] UDP_SERVER", "5001"), Pair("[SLOT_MACHINE] PORT_ASYNC", "1,2,3,4"),
            Pair("[PORT_ASYNC1] IP_ADDRESS", "127.0.0.1"), Pair("[PORT_ASYNC1] TCP_PORT", "2100"),
            Pair("[PORT_ASYNC1] BAUDRATE", "19200"), Pair("[PORT_ASYNC1] DATASIZE", "8"),
            Pair("[PORT_ASYNC1] PARITY", "NONE"), Pair("[PORT_ASYNC1] STOPSIZE", "1"),
            Pair("[PORT_ASYNC1] FLOWCONTROL", "No Flow"), Pair("[PORT_ASYNC2] TCP_PORT", "2200"),
            Pair("[PORT_ASYNC3] TCP_PORT", "2300"), Pair("[PORT_ASYNC4] TCP_PORT", "2400"),
            Pair("[AAMS] TMP_APP_ACCENSIONE", "2"), Pair("[AAMS] TMP_APP_COLLEGATI", "1"),
            Pair("[AAMS] INVIO_APP_COLLEGATI", "1"), Pair("[AAMS] INVIO_NO_APP_COLLEGATI", "1"),
            Pair("[RICH_ORA] TOUT_ORA", "7200")));
    EXPECT_TRUE(log.lines().empty());
}

TEST(Example, ChangesNoDefault) {
    const ZqConfig defaults;
    for (const auto& [key, value] : example()) {
        ASSERT_TRUE(defaults.contains(key)) << key;
        EXPECT_EQ(defaults.at(key), value) << key;
    }
}

TEST(Example, NamesEverySetting) {
    const std::string text = readFile(kExample);
    for (const auto& [key, value] : ZqConfig()) {
        EXPECT_THAT(text, HasSubstr(key.substr(key.find(' ') + 1)));
    }
}

// Then a comment stays one whatever stands in the next version of it.
TEST(Example, HasCommentsThatNobodyCanTakeForASetting) {
    std::istringstream text(readFile(kExample));
    for (std::string line; std::getline(text, line);) {
        EXPECT_TRUE(
            std::regex_match(line, std::regex("|#[^=]*|\\[[A-Z0-9_]+\\]|[A-Za-z0-9_]+=[^\\[=]+")))
            << line;
    }
}

}  // namespace
}  // namespace teskd::test
