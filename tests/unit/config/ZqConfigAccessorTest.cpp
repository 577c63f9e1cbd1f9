// The typed accessors, on the defaults and on other texts.

#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "StoreFixture.h"
#include "core/Exception.h"

namespace teskd::test {
namespace {

using Texts = std::list<std::string>;
using Numbers = std::vector<int>;
using Mac = std::array<std::uint8_t, 6>;

class ZqConfigAccessor : public StoreFixture {
  protected:
    // The milliseconds between two questions for the date, for each text in the configuration.
    void expectDateTimes(const std::map<std::string, std::uint32_t>& times) {
        for (const auto& [text, milliseconds] : times) {
            set("[RICH_ORA] TOUT_ORA", text);
            EXPECT_EQ(milliseconds, ZqConfig::get_tout_ora_ms()) << text;
        }
    }
};

TEST_F(ZqConfigAccessor, TheDaemonIsEnabledOnlyByTheExactWord) {
    EXPECT_FALSE(ZqConfig::is_tesk_enabled());
    for (const char* other : {"", "TRUE", "True", "1", "true\r", " true", "truetrue"}) {
        set("[INTERNAL] TESKv2_ENABLE", other);
        EXPECT_FALSE(ZqConfig::is_tesk_enabled()) << other;
    }
    set("[INTERNAL] TESKv2_ENABLE", "true");
    EXPECT_TRUE(ZqConfig::is_tesk_enabled());
}

TEST_F(ZqConfigAccessor, TheServerAddressJoinsHostAndPort) {
    EXPECT_EQ("192.168.0.1:5001", ZqConfig::get_server_address());
    set("[IP_ADDRESS] IP_SERVER", "host");
    set("[IP_ADDRESS] UDP_SERVER", "7");
    EXPECT_EQ("host:7", ZqConfig::get_server_address());
}

TEST_F(ZqConfigAccessor, ByDefaultThereIsOneLocalAddress) {
    EXPECT_EQ((Texts{"*:5001"}), ZqConfig::get_local_addresses());
}

TEST_F(ZqConfigAccessor, TheLastLocalPortServesTheRemainingAddresses) {
    set("[IP_ADDRESS] IP_LOCAL", "a b c");
    set("[IP_ADDRESS] TCP_LOCAL", "10 20");
    EXPECT_EQ((Texts{"a:10", "b:20", "c:20"}), ZqConfig::get_local_addresses());
}

TEST_F(ZqConfigAccessor, SurplusLocalPortsAreIgnored) {
    set("[IP_ADDRESS] IP_LOCAL", "a");
    set("[IP_ADDRESS] TCP_LOCAL", "10,20");
    EXPECT_EQ((Texts{"a:10"}), ZqConfig::get_local_addresses());
}

TEST_F(ZqConfigAccessor, WithoutLocalPortsTheyAreEmpty) {
    set("[IP_ADDRESS] IP_LOCAL", "a,b");
    set("[IP_ADDRESS] TCP_LOCAL", " ,;");
    EXPECT_EQ((Texts{"a:", "b:"}), ZqConfig::get_local_addresses());
}

TEST_F(ZqConfigAccessor, WithoutLocalAddressesThereAreNone) {
    set("[IP_ADDRESS] IP_LOCAL", "");
    EXPECT_EQ(Texts{}, ZqConfig::get_local_addresses());
}

TEST_F(ZqConfigAccessor, ListsAreSplitAtBlanksCommasAndSemicolons) {
    set("[IP_ADDRESS] IP_LOCAL", ";a, b;;c ,");
    set("[IP_ADDRESS] TCP_LOCAL", "1, 2;3");
    EXPECT_EQ((Texts{"a:1", "b:2", "c:3"}), ZqConfig::get_local_addresses());
}

TEST_F(ZqConfigAccessor, WhoMayConnectIsToldAsItIsWrittenAndByDefaultNotAtAll) {
    EXPECT_FALSE(ZqConfig::get_hosts_allowed().has_value());
    EXPECT_EQ(0U, getConfig().count("[IP_ADDRESS] HOSTS_ALLOWED"));
    set("[IP_ADDRESS] HOSTS_ALLOWED", "10.0.0.7, all");
    EXPECT_EQ("10.0.0.7, all", ZqConfig::get_hosts_allowed());
    set("[IP_ADDRESS] HOSTS_ALLOWED", "");
    EXPECT_EQ("", ZqConfig::get_hosts_allowed());
}

TEST_F(ZqConfigAccessor, TheSerialPortsAreNumbers) {
    EXPECT_EQ((Numbers{1, 2, 3, 4}), ZqConfig::get_async_ports());
    set("[SLOT_MACHINE] PORT_ASYNC", "1;3");
    EXPECT_EQ((Numbers{1, 3}), ZqConfig::get_async_ports());
    set("[SLOT_MACHINE] PORT_ASYNC", "");
    EXPECT_EQ(Numbers{}, ZqConfig::get_async_ports());
    set("[SLOT_MACHINE] PORT_ASYNC", "5");
    EXPECT_EQ((Numbers{5}), ZqConfig::get_async_ports());
}

TEST_F(ZqConfigAccessor, ASerialPortThatIsNoNumberReadsAsFarAsItGoes) {
    set("[SLOT_MACHINE] PORT_ASYNC", "2x,abc,-1,99999999999");
    EXPECT_EQ((Numbers{2, 0, -1, 2147483647}), ZqConfig::get_async_ports());
}

TEST_F(ZqConfigAccessor, EachSerialPortHasItsEndpoint) {
    EXPECT_EQ("127.0.0.1:2100", ZqConfig::get_port_address(1));
    EXPECT_EQ("127.0.0.1:2200", ZqConfig::get_port_address(2));
    EXPECT_EQ("127.0.0.1:2300", ZqConfig::get_port_address(3));
    EXPECT_EQ("127.0.0.1:2400", ZqConfig::get_port_address(4));
    set("[PORT_ASYNC2] IP_ADDRESS", "host");
    set("[PORT_ASYNC2] TCP_PORT", "7");
    EXPECT_EQ("host:7", ZqConfig::get_port_address(2));
}

TEST_F(ZqConfigAccessor, ASerialPortBeyondTheFourthHasNoDefaults) {
    EXPECT_EQ(":", ZqConfig::get_port_address(5));
    EXPECT_EQ(":", ZqConfig::get_port_address(0));
}

TEST_F(ZqConfigAccessor, TheLineSettingsAreNumbersOrWords) {
    EXPECT_EQ(19200, ZqConfig::get_port_baudrate(1));
    EXPECT_EQ(8, ZqConfig::get_port_datasize(2));
    EXPECT_EQ(1, ZqConfig::get_port_parity(3));
    EXPECT_EQ(1, ZqConfig::get_port_stopsize(4));
    EXPECT_EQ(1, ZqConfig::get_port_flowcontrol(1));
    set("[PORT_ASYNC3] BAUDRATE", "115200");
    set("[PORT_ASYNC3] DATASIZE", "7");
    set("[PORT_ASYNC3] PARITY", "EVEN");
    set("[PORT_ASYNC3] STOPSIZE", "2");
    set("[PORT_ASYNC3] FLOWCONTROL", "CTS/RTS");
    EXPECT_EQ(115200, ZqConfig::get_port_baudrate(3));
    EXPECT_EQ(7, ZqConfig::get_port_datasize(3));
    EXPECT_EQ(3, ZqConfig::get_port_parity(3));
    EXPECT_EQ(2, ZqConfig::get_port_stopsize(3));
    EXPECT_EQ(3, ZqConfig::get_port_flowcontrol(3));
}

TEST_F(ZqConfigAccessor, AnUnknownLineSettingThrows) {
    set("[PORT_ASYNC1] PARITY", "none");
    EXPECT_THROW(ZqConfig::get_port_parity(1), TelnetFeatureNotAvailableException);
    EXPECT_THROW(ZqConfig::get_port_baudrate(5), TelnetFeatureNotAvailableException);
}

TEST_F(ZqConfigAccessor, TheTimeBetweenDateQuestionsIsInMilliseconds) {
    EXPECT_EQ(7200000U, ZqConfig::get_tout_ora_ms());
    expectDateTimes({{"60 s", 60000}, {"soon", 0}});
}

TEST_F(ZqConfigAccessor, TheTimeBetweenDateQuestionsStaysWithinItsRange) {
    expectDateTimes({{"4294967", 4294967000},
                     {"4294968", 4294967295},
                     {"99999999999999999999", 4294967295},
                     {"-1", 0}});
}

TEST_F(ZqConfigAccessor, TheMinutesBetweenPollsAreNeverZero) {
    EXPECT_EQ(1, ZqConfig::get_tmp_app_collegati());
    for (const char* zero : {"0", "abc", ""}) {
        set("[AAMS] TMP_APP_COLLEGATI", zero);
        EXPECT_EQ(1, ZqConfig::get_tmp_app_collegati()) << zero;
    }
    set("[AAMS] TMP_APP_COLLEGATI", "15");
    EXPECT_EQ(15, ZqConfig::get_tmp_app_collegati());
    set("[AAMS] TMP_APP_COLLEGATI", "-3");
    EXPECT_EQ(-3, ZqConfig::get_tmp_app_collegati());
}

TEST_F(ZqConfigAccessor, TheSwitchesAreOnForAnyNumberButZero) {
    EXPECT_TRUE(ZqConfig::get_invio_app_collegati());
    EXPECT_TRUE(ZqConfig::get_invio_no_app_collegati());
    set("[AAMS] INVIO_APP_COLLEGATI", "0");
    EXPECT_FALSE(ZqConfig::get_invio_app_collegati());
    EXPECT_TRUE(ZqConfig::get_invio_no_app_collegati());
    set("[AAMS] INVIO_APP_COLLEGATI", "-2");
    set("[AAMS] INVIO_NO_APP_COLLEGATI", "true");
    EXPECT_TRUE(ZqConfig::get_invio_app_collegati());
    EXPECT_FALSE(ZqConfig::get_invio_no_app_collegati());
}

TEST_F(ZqConfigAccessor, TheMinutesToTheFirstPollAreTakenAsTheyAre) {
    EXPECT_EQ(2, ZqConfig::get_tmp_app_accensione());
    set("[AAMS] TMP_APP_ACCENSIONE", "0");
    EXPECT_EQ(0, ZqConfig::get_tmp_app_accensione());
    set("[AAMS] TMP_APP_ACCENSIONE", "-5x");
    EXPECT_EQ(-5, ZqConfig::get_tmp_app_accensione());
}

TEST_F(ZqConfigAccessor, NumbersSaturateAtThirtyTwoBits) {
    set("[AAMS] TMP_APP_ACCENSIONE", "4294967298");
    EXPECT_EQ(2147483647, ZqConfig::get_tmp_app_accensione());
    set("[AAMS] TMP_APP_ACCENSIONE", "-4294967298");
    EXPECT_EQ(-2147483648LL, ZqConfig::get_tmp_app_accensione());
}

TEST_F(ZqConfigAccessor, TheMacTextIsTheValueWithoutColons) {
    EXPECT_EQ("ffffffffff00", ZqConfig::get_mac_string("eth0"));
    EXPECT_EQ("ffffffffff01", ZqConfig::get_mac_string("eth1"));
    EXPECT_EQ("", ZqConfig::get_mac_string("wlan0"));
    set("[INTERNAL] MAC_ADDR_eth0", "::0a:1b-2C:");
    EXPECT_EQ("0a1b-2C", ZqConfig::get_mac_string("eth0"));
}

TEST_F(ZqConfigAccessor, TheMacBytesAreHexadecimal) {
    Mac bytes{};
    ZqConfig::get_mac_bytes("eth1", bytes);
    EXPECT_EQ((Mac{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}), bytes);
    set("[INTERNAL] MAC_ADDR_eth1", "01:2:0a:Bc:zz:10");
    ZqConfig::get_mac_bytes("eth1", bytes);
    EXPECT_EQ((Mac{0x01, 0x02, 0x0A, 0xBC, 0x00, 0x10}), bytes);
}

TEST_F(ZqConfigAccessor, AShortMacFillsOnlyTheFirstBytes) {
    set("[INTERNAL] MAC_ADDR_eth0", "01:02:03");
    Mac bytes{9, 9, 9, 9, 9, 9};
    ZqConfig::get_mac_bytes("eth0", bytes);
    EXPECT_EQ((Mac{1, 2, 3, 9, 9, 9}), bytes);
}

TEST_F(ZqConfigAccessor, EmptyItemsOfAMacAreDroppedAndSurplusOnesIgnored) {
    set("[INTERNAL] MAC_ADDR_eth0", ":01::02:03:04:05:06:07");
    Mac bytes{};
    ZqConfig::get_mac_bytes("eth0", bytes);
    EXPECT_EQ((Mac{1, 2, 3, 4, 5, 6}), bytes);
}

TEST_F(ZqConfigAccessor, AnAbsentMacTouchesNoByte) {
    Mac bytes{9, 9, 9, 9, 9, 9};
    ZqConfig::get_mac_bytes("wlan0", bytes);
    EXPECT_EQ((Mac{9, 9, 9, 9, 9, 9}), bytes);
}

TEST_F(ZqConfigAccessor, TextsAreReturnedAsStored) {
    EXPECT_EQ("<unknown>", ZqConfig::get_model());
    EXPECT_EQ("<unknown", ZqConfig::get_sw_version());
    EXPECT_EQ("ZEPH WLT", ZqConfig::get_manufacturer_id());
    EXPECT_EQ("3", ZqConfig::get_tesk_connection_type());
    EXPECT_EQ("9", ZqConfig::get_zq_connection_type());
    EXPECT_EQ("YYMMDDHHMMSS", ZqConfig::get_sw_update());
    set("[INTERNAL] ZQ_MODEL", "a model");
    set("[INTERNAL] ZQ_SW_VERSION", "1.2");
    set("[INTERNAL] ZQ_MANUFACTURER_ID", "ABCDEFGH");
    set("[INTERNAL] TESK_CONNECTION_TYPE", "x");
    set("[INTERNAL] ZQ_CONNECTION_TYPE", "");
    set("[INTERNAL] SW_UPDATE_A", "240101000000");
    set("[INTERNAL] SW_UPDATE_B", "240202000000");
    EXPECT_EQ("a model", ZqConfig::get_model());
    EXPECT_EQ("1.2", ZqConfig::get_sw_version());
    EXPECT_EQ("ABCDEFGH", ZqConfig::get_manufacturer_id());
    EXPECT_EQ("x", ZqConfig::get_tesk_connection_type());
    EXPECT_EQ("", ZqConfig::get_zq_connection_type());
    EXPECT_EQ("240202000000", ZqConfig::get_sw_update());
}

TEST_F(ZqConfigAccessor, TheSoftwareIsUpdatedWhenTheStampsDiffer) {
    EXPECT_FALSE(ZqConfig::is_sw_updated());
    set("[INTERNAL] SW_UPDATE_B", "240202000000");
    EXPECT_TRUE(ZqConfig::is_sw_updated());
    set("[INTERNAL] SW_UPDATE_A", "240202000000");
    EXPECT_FALSE(ZqConfig::is_sw_updated());
}

TEST_F(ZqConfigAccessor, AccessorsNeverInsert) {
    const std::size_t before = getConfig().size();
    ZqConfig::get_port_address(77);
    ZqConfig::get_mac_string("wlan0");
    EXPECT_EQ(before, getConfig().size());
}

}  // namespace
}  // namespace teskd::test
