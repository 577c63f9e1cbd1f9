// What the checker prints for files as an administrator writes them, and its exit status.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

class Checkconf : public testing::Test {
  protected:
    static constexpr char kSound[] =
        "TESKv2_ENABLE=true\nMAC_ADDR_eth0=00:11:22:33:44:55\nZQ_MODEL=ZQ7\n";

    // Below the directory that the checker is told to look under.
    void write(const std::string& file, const std::string& text) { writeFile(root_ / file, text); }

    void run(const std::vector<std::string>& arguments) {
        ChildProcess::Options options;
        options.command = arguments;
        options.command.insert(options.command.begin(), CHECKCONF);
        ChildProcess child(options);
        const auto status = child.waitForExit();
        ASSERT_TRUE(status.has_value());
        status_ = status->code;
        output_ = child.standardOutput();
        error_ = child.standardError();
        for (std::size_t at; (at = output_.find(rootName())) != std::string::npos;) {
            output_.erase(at, rootName().size());
        }
    }
    // The findings alone, for a main file with this text. Unless the test has a file behind it,
    // that enables the daemon and tells it who it is.
    std::string findings(const std::string& text) {
        if (!std::filesystem::exists(root_ / "config/config.ini")) {
            write("config/config.ini", kSound);
        }
        write("etc/tesk_v2.ini", text);
        run({"--quiet", "--root", rootName()});
        return output_;
    }
    std::string rootName() const { return root_.path().string(); }

    TempDir root_;
    int status_ = -1;
    std::string output_;
    std::string error_;
};

TEST_F(Checkconf, TellsEveryKeyAndWhereItCameFrom) {
    write("etc/tesk_v2.ini",
          "a comment\n\nTESKv2_ENABLE = "
          "true\nZQ_CONFIG_FILE=site.ini\nMAC_ADDR_eth0=00:11:22:33:44:55\nZQ_MODEL=ZQ7\n"
          "[AAMS]\nTMP_APP_COLLEGATI=5\n");
    write("config/.sw_update.ini", "[INTERNAL]\nSW_UPDATE_B=260315120000\n");
    write("config/site.ini", "[AAMS]\n\nTMP_APP_COLLEGATI=7\n[PORT_ASYNC2]\nPARITY=EVEN\n");
    run({"--root", rootName()});
    EXPECT_EQ(0, status_);
    EXPECT_EQ("", error_);
    // The rule below the last title is as long as the longest path.
    EXPECT_EQ(
        "key                              value              from\n"
        "-------------------------------  -----------------  ----\n"
        "[AAMS] INVIO_APP_COLLEGATI       1                  default\n"
        "[AAMS] INVIO_NO_APP_COLLEGATI    1                  default\n"
        "[AAMS] TMP_APP_ACCENSIONE        2                  default\n"
        "[AAMS] TMP_APP_COLLEGATI         7                  /config/site.ini:3\n"
        "[INTERNAL] MAC_ADDR_eth0         00:11:22:33:44:55  /etc/tesk_v2.ini:5\n"
        "[INTERNAL] MAC_ADDR_eth1         ff:ff:ff:ff:ff:01  default\n"
        "[INTERNAL] SW_UPDATE_A           YYMMDDHHMMSS       default\n"
        "[INTERNAL] SW_UPDATE_B           260315120000       /config/.sw_update.ini:2\n"
        "[INTERNAL] TESK_CONNECTION_TYPE  3                  default\n"
        "[INTERNAL] TESKv2_ENABLE         true               /etc/tesk_v2.ini:3\n"
        "[INTERNAL] ZQ_CONFIG_FILE        site.ini           /etc/tesk_v2.ini:4\n"
        "[INTERNAL] ZQ_CONNECTION_TYPE    9                  default\n"
        "[INTERNAL] ZQ_MANUFACTURER_ID    ZEPH WLT           default\n"
        "[INTERNAL] ZQ_MODEL              ZQ7                /etc/tesk_v2.ini:6\n"
        "[INTERNAL] ZQ_SW_VERSION         <unknown           default\n"
        "[IP_ADDRESS] IP_LOCAL            *                  default\n"
        "[IP_ADDRESS] IP_SERVER           192.168.0.1        default\n"
        "[IP_ADDRESS] TCP_LOCAL           5001               default\n"
        "[IP_ADDRESS] UDP_SERVER          5001               default\n"
        "[PORT_ASYNC1] BAUDRATE           19200              default\n"
        "[PORT_ASYNC1] DATASIZE           8                  default\n"
        "[PORT_ASYNC1] FLOWCONTROL        No Flow            default\n"
        "[PORT_ASYNC1] IP_ADDRESS         127.0.0.1          default\n"
        "[PORT_ASYNC1] PARITY             NONE               default\n"
        "[PORT_ASYNC1] STOPSIZE           1                  default\n"
        "[PORT_ASYNC1] TCP_PORT           2100               default\n"
        "[PORT_ASYNC2] BAUDRATE           19200              default\n"
        "[PORT_ASYNC2] DATASIZE           8                  default\n"
        "[PORT_ASYNC2] FLOWCONTROL        No Flow            default\n"
        "[PORT_ASYNC2] IP_ADDRESS         127.0.0.1          default\n"
        "[PORT_ASYNC2] PARITY             EVEN               /config/site.ini:5\n"
        "[PORT_ASYNC2] STOPSIZE           1                  default\n"
        "[PORT_ASYNC2] TCP_PORT           2200               default\n"
        "[PORT_ASYNC3] BAUDRATE           19200              default\n"
        "[PORT_ASYNC3] DATASIZE           8                  default\n"
        "[PORT_ASYNC3] FLOWCONTROL        No Flow            default\n"
        "[PORT_ASYNC3] IP_ADDRESS         127.0.0.1          default\n"
        "[PORT_ASYNC3] PARITY             NONE               default\n"
        "[PORT_ASYNC3] STOPSIZE           1                  default\n"
        "[PORT_ASYNC3] TCP_PORT           2300               default\n"
        "[PORT_ASYNC4] BAUDRATE           19200              default\n"
        "[PORT_ASYNC4] DATASIZE           8                  default\n"
        "[PORT_ASYNC4] FLOWCONTROL        No Flow            default\n"
        "[PORT_ASYNC4] IP_ADDRESS         127.0.0.1          default\n"
        "[PORT_ASYNC4] PARITY             NONE               default\n"
        "[PORT_ASYNC4] STOPSIZE           1                  default\n"
        "[PORT_ASYNC4] TCP_PORT           2400               default\n"
        "[RICH_ORA] TOUT_ORA              7200               default\n"
        "[SLOT_MACHINE] PORT_ASYNC        1,2,3,4            default\n",
        std::regex_replace(output_, std::regex("  -+\n"), "  ----\n"));
}

TEST_F(Checkconf, FilesGivenAreMergedInTheirOrder) {
    write("a",
          "ZQ_MODEL=first\nZQ_SW_VERSION=1\nTESKv2_ENABLE=true\nMAC_ADDR_eth0=00:11:22:33:44:55\n");
    write("b", "ZQ_MODEL=second\n");
    run({root_ / "a", root_ / "b"});
    EXPECT_EQ(0, status_);
    EXPECT_THAT(output_, testing::ContainsRegex("\\[INTERNAL\\] ZQ_MODEL +second +/b:1\n"));
    EXPECT_THAT(output_, testing::ContainsRegex("\\[INTERNAL\\] ZQ_SW_VERSION +1 +/a:2\n"));
}

TEST_F(Checkconf, UnknownNamesAreFound) {
    EXPECT_EQ(
        "/etc/tesk_v2.ini:1: unknown section [IP]\n"
        "/etc/tesk_v2.ini:3: unknown section [aams]; did you mean [AAMS]?\n"
        "/etc/tesk_v2.ini:5: unknown key \"TMP\" in [AAMS]\n"
        "/etc/tesk_v2.ini:7: unknown key \"Parity\" in [PORT_ASYNC1]; did you mean "
        "[PORT_ASYNC1] PARITY?\n",
        findings("[IP]\nANY=1\n[aams]\n[AAMS]\nTMP=1\n[PORT_ASYNC1]\nParity=NONE\n"));
    EXPECT_EQ(1, status_);
}

TEST_F(Checkconf, LinesThatStoreNothingAreFoundUnlessTheyAreComments) {
    EXPECT_EQ(R"json(/etc/tesk_v2.ini:6: stores nothing: no "=" behind ZQ_MODEL
/etc/tesk_v2.ini:7: stores nothing: no "=" behind ZQ_MODEL
/etc/tesk_v2.ini:8: stores nothing: a name and a value are expected around the "="
/etc/tesk_v2.ini:9: stores nothing: a name and a value are expected around the "="
/etc/tesk_v2.ini:10: more than one "=": the value ends at the second
)json",
              findings("# ZQ_MODEL is the model\n#ZQ_MODEL=x\n; = ;\njust words\n\n"
                       "ZQ_MODEL\nZQ_MODEL: x\nZQ_MODEL=\n=value\nZQ_MODEL=a=b\n"));
}

TEST_F(Checkconf, SpoiledHeadersAndCarriageReturnsAreFound) {
    EXPECT_EQ(R"json(/etc/tesk_v2.ini:1: section header without "]" at its end: [INTERNAL] goes on
/etc/tesk_v2.ini:2: section header without "]" at its end: [INTERNAL] goes on
/etc/tesk_v2.ini:4: carriage return at the end of 2 lines: it becomes part of the value, and spoils a header
)json",
              findings("[AAMS\n[IP_ADDRESS] \n[INTERNAL]\nZQ_MODEL=x\r\n\r\n"));
}

TEST_F(Checkconf, ValuesThatDoNotConvertAreFound) {
    write("config/config.ini", "ZQ_MODEL=ZQ7\n");
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:1: [INTERNAL] TESKv2_ENABLE: "yes" is neither true nor false; the daemon stays disabled
/etc/tesk_v2.ini:2: [INTERNAL] MAC_ADDR_eth0: "00:11" is no hardware address of six pairs of digits
/etc/tesk_v2.ini:4: [AAMS] TMP_APP_COLLEGATI: "0" is no number from 1 to 71582; it is taken for 1
/etc/tesk_v2.ini:5: [AAMS] TMP_APP_ACCENSIONE: "2x" is no number from 0 to 71582; it is taken for 2
/etc/tesk_v2.ini:6: [AAMS] INVIO_APP_COLLEGATI: "yes" is no number from 0 to 1; it is taken for 0
/etc/tesk_v2.ini:8: [RICH_ORA] TOUT_ORA: "-1" is no number from 1 to 4294967; the date is asked for at the start alone
/etc/tesk_v2.ini:10: [PORT_ASYNC1] BAUDRATE: "fast" is no number from 1 to 2147483647
/etc/tesk_v2.ini:11: [PORT_ASYNC1] DATASIZE: "NONE" is no number from 5 to 8
/etc/tesk_v2.ini:12: [PORT_ASYNC1] PARITY: "8N" is no parity from 1 to 5
/etc/tesk_v2.ini:13: [PORT_ASYNC1] TCP_PORT: "70000" is no port number from 1 to 65535
)json",
        findings("TESKv2_ENABLE=yes\nMAC_ADDR_eth0=00:11\n[AAMS]\nTMP_APP_COLLEGATI=0\n"
                 "TMP_APP_ACCENSIONE=2x\nINVIO_APP_COLLEGATI=yes\n[RICH_ORA]\nTOUT_ORA=-1\n"
                 "[PORT_ASYNC1]\nBAUDRATE=fast\nDATASIZE=NONE\nPARITY=8N\nTCP_PORT=70000\n"
                 "[PORT_ASYNC9]\nPARITY=never used\n"));
}

TEST_F(Checkconf, LineSettingsThatMeanSomethingElseAreFound) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:2: [PORT_ASYNC1] PARITY: "SPACE" is taken for MARK; 5 stands for space parity
/etc/tesk_v2.ini:3: [PORT_ASYNC1] FLOWCONTROL: "MARK" is no flow control; it is sent as 4, and the line keeps the one it has
/etc/tesk_v2.ini:4: [PORT_ASYNC1] DATASIZE: "+8" is no number from 5 to 8
/etc/tesk_v2.ini:5: [PORT_ASYNC1] BAUDRATE: "99999999999" is no number from 1 to 2147483647
/etc/tesk_v2.ini:7: [PORT_ASYNC2] PARITY: "CTS/RTS" is no parity; it is taken for EVEN
/etc/tesk_v2.ini:8: [PORT_ASYNC2] FLOWCONTROL: "ODD" is no flow control; it is taken for XON/XOFF
/etc/tesk_v2.ini:10: [PORT_ASYNC3] PARITY: "260" is no parity from 1 to 5
/etc/tesk_v2.ini:11: [PORT_ASYNC3] FLOWCONTROL: "5" is no flow control from 1 to 3
/etc/tesk_v2.ini:14: [PORT_ASYNC4] FLOWCONTROL: "none" is no flow control; No Flow, XON/XOFF, CTS/RTS or a number from 1 to 3 is one
)json",
        findings(
            "[PORT_ASYNC1]\nPARITY=SPACE\nFLOWCONTROL=MARK\nDATASIZE=+8\nBAUDRATE=99999999999\n"
            "[PORT_ASYNC2]\nPARITY=CTS/RTS\nFLOWCONTROL=ODD\n"
            "[PORT_ASYNC3]\nPARITY=260\nFLOWCONTROL=5\n"
            "[PORT_ASYNC4]\nPARITY=5\nFLOWCONTROL=none\n"));
    EXPECT_EQ("", findings("[PORT_ASYNC1]\nPARITY=MARK\nFLOWCONTROL=XON/XOFF\n"
                           "[PORT_ASYNC2]\nPARITY=3\nFLOWCONTROL=3\n"
                           "[PORT_ASYNC3]\nPARITY=ODD\nFLOWCONTROL=NONE\n"));
}

TEST_F(Checkconf, ValuesThatTheDaemonTakesSilentlyForSomethingElseAreFound) {
    write("config/config.ini", "TESKv2_ENABLE=true\nMAC_ADDR_eth0=00:11:22:33:44:55\n");
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:1: [INTERNAL] ZQ_MODEL: "-" separates the fields of the identification, so that hosts read the rest as the next field
/etc/tesk_v2.ini:2: [INTERNAL] ZQ_SW_VERSION: longer than 30 characters; hosts that ask for the version see no more
/etc/tesk_v2.ini:4: [AAMS] INVIO_APP_COLLEGATI: "2" is no number from 0 to 1; any number but 0 is yes
/etc/tesk_v2.ini:5: [AAMS] TMP_APP_COLLEGATI: "+3" is no number from 1 to 71582; it is taken for 3
/etc/tesk_v2.ini:7: [IP_ADDRESS] IP_SERVER: "0.0.0.0" is no address of a server
/etc/tesk_v2.ini:9: [PORT_ASYNC1] IP_ADDRESS: "0.0.0.0" is no address of a server
)json",
        findings("ZQ_MODEL=ZQ-7\nZQ_SW_VERSION=1234567890123456789012345678901\n"
                 "[AAMS]\nINVIO_APP_COLLEGATI=2\nTMP_APP_COLLEGATI=+3\n"
                 "[IP_ADDRESS]\nIP_SERVER=0.0.0.0\n[PORT_ASYNC1]\nIP_ADDRESS=0.0.0.0\n"));
}

TEST_F(Checkconf, ANamedFileThatIsNamedTooLateIsFound) {
    write("config/config.ini", "ZQ_CONFIG_FILE=other.ini\n");
    EXPECT_EQ("/config/config.ini:1: [INTERNAL] ZQ_CONFIG_FILE: comes too late to choose a file\n",
              findings(kSound));
}

TEST_F(Checkconf, KeysThatAreSetTwiceInOneFileAreFound) {
    EXPECT_EQ(
        "/etc/tesk_v2.ini:4: [INTERNAL] ZQ_MODEL was set in line 1 already, to another value\n",
        findings("ZQ_MODEL=a\n[AAMS]\n[INTERNAL]\nZQ_MODEL=b\nZQ_MODEL=b\n"));
}

// As a loss of power may leave a file.
TEST_F(Checkconf, ZeroBytesAreFound) {
    using namespace std::string_literals;
    EXPECT_EQ("/etc/tesk_v2.ini:2: 3 zero bytes from this line on: the file is damaged\n",
              findings("TESKv2_ENABLE=true\n\0\0\n\0"s));
    EXPECT_EQ("/etc/tesk_v2.ini:1: 1 zero byte from this line on: the file is damaged\n",
              findings("\0\n"s));
}

TEST_F(Checkconf, BracketsQuotesAndByteOrderMarksAreFound) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:1: byte order mark at the start of the file: it belongs to the first line, and spoils a header
/etc/tesk_v2.ini:2: the value in brackets is a header: what follows is in [AAMS]
/etc/tesk_v2.ini:4: the quotes are part of the value
)json",
        findings("\xEF\xBB\xBF[AAMS]\nZQ_MODEL=[AAMS]\n[INTERNAL]\nZQ_MODEL=\"x\"\n"));
}

TEST_F(Checkconf, AddressesThatAreNoneAreFound) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:2: [IP_ADDRESS] IP_SERVER: "server" is no IPv4 address; names are not looked up
/etc/tesk_v2.ini:3: [IP_ADDRESS] UDP_SERVER: "0" is no port number from 1 to 65535
/etc/tesk_v2.ini:4: [IP_ADDRESS] IP_LOCAL: "300.1.1.1" is no IPv4 address; names are not looked up
/etc/tesk_v2.ini:5: [IP_ADDRESS] TCP_LOCAL: more ports than addresses in [IP_ADDRESS] IP_LOCAL; those that are left over are not used
/etc/tesk_v2.ini:7: [PORT_ASYNC2] IP_ADDRESS: "*" is no IPv4 address; names are not looked up
)json",
        findings("[IP_ADDRESS]\nIP_SERVER=server\nUDP_SERVER=0\nIP_LOCAL=*,300.1.1.1\n"
                 "TCP_LOCAL=5001,5002,5003\n[PORT_ASYNC2]\nIP_ADDRESS=*\n"));
}

TEST_F(Checkconf, AllowedHostsThatKeepEverybodyAwayAreFound) {
    EXPECT_EQ("", findings("[IP_ADDRESS]\nHOSTS_ALLOWED=192.168.1.0/24,10.0.0.7;0.0.0.0/0\n"));
    EXPECT_EQ(0, status_);
    const std::string empty =
        "/etc/tesk_v2.ini:2: [IP_ADDRESS] HOSTS_ALLOWED: no address and no network; nobody but "
        "this "
        "machine itself may connect\n";
    EXPECT_EQ(empty, findings("[IP_ADDRESS]\nHOSTS_ALLOWED=\n"));
    EXPECT_EQ(empty, findings("[IP_ADDRESS]\nHOSTS_ALLOWED=,;\n"));
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:2: [IP_ADDRESS] HOSTS_ALLOWED: "10.0.0.0/33" is no IPv4 address or network; nobody but this machine itself may connect
/etc/tesk_v2.ini:2: [IP_ADDRESS] HOSTS_ALLOWED: "*" is no IPv4 address or network; nobody but this machine itself may connect
/etc/tesk_v2.ini:2: [IP_ADDRESS] HOSTS_ALLOWED: "10.1.2.3/24" stands for its whole network, in which 10.1.2.3 is one address of many
)json",
        findings("[IP_ADDRESS]\nHOSTS_ALLOWED=10.0.0.0/33 10.0.0.7 * 10.1.2.3/24\n"));
}

TEST_F(Checkconf, AllowedHostsUnderAnotherNameAreFound) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:1: unknown key "HOSTS_ALLOWED" in [INTERNAL]; it belongs to [IP_ADDRESS]
/etc/tesk_v2.ini:3: unknown key "Hosts_Allowed" in [IP_ADDRESS]; did you mean [IP_ADDRESS] HOSTS_ALLOWED?
/etc/tesk_v2.ini:4: stores nothing: no "=" behind HOSTS_ALLOWED
)json",
        findings("HOSTS_ALLOWED=10.0.0.7\n[IP_ADDRESS]\nHosts_Allowed=10.0.0.7\n"
                 "HOSTS_ALLOWED 10.0.0.7\n"));
}

TEST_F(Checkconf, PortsOnOneEndpointAreFound) {
    EXPECT_EQ(R"json(/etc/tesk_v2.ini:2: [SLOT_MACHINE] PORT_ASYNC: serial port 2 is named twice
/etc/tesk_v2.ini:2: [SLOT_MACHINE] PORT_ASYNC: serial port 5 has no [PORT_ASYNC5] IP_ADDRESS, and there is no default beyond port 4
/etc/tesk_v2.ini:2: [SLOT_MACHINE] PORT_ASYNC: "x" is no number of a serial port
/etc/tesk_v2.ini:4: [PORT_ASYNC2] TCP_PORT: serial ports 1 and 2 are both on 127.0.0.1:2100
/etc/tesk_v2.ini:6: [IP_ADDRESS] IP_LOCAL: the port of 127.0.0.1:5001 is taken already
)json",
              findings("[SLOT_MACHINE]\nPORT_ASYNC=1;2,2 5 x\n[PORT_ASYNC2]\nTCP_PORT=2100\n"
                       "[IP_ADDRESS]\nIP_LOCAL=127.0.0.1,127.0.0.1\n"));
}

TEST_F(Checkconf, MorePortsThanTheDaemonServesAreFound) {
    std::string list;
    for (int port = 1; port <= 4098; ++port) list += std::to_string(port) + ",";
    std::string sections;
    for (int port = 5; port <= 4096; ++port) {
        const std::string n = std::to_string(port);
        sections += "[PORT_ASYNC" + n +
                    "]\nIP_ADDRESS=127.0.0.1\nTCP_PORT=" + std::to_string(10'000 + port) +
                    "\nBAUDRATE=9600\nDATASIZE=8\nPARITY=NONE\nSTOPSIZE=1\nFLOWCONTROL=No Flow\n";
    }
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:2: [SLOT_MACHINE] PORT_ASYNC: more than 4096 serial ports; the others are left out
)json",
        findings("[SLOT_MACHINE]\nPORT_ASYNC=" + list + "\n" + sections));
}

TEST_F(Checkconf, NumbersBeyondTheirLimitsAreFound) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:2: [AAMS] TMP_APP_COLLEGATI: "-3" is no number from 1 to 71582; it is taken for 1
/etc/tesk_v2.ini:3: [AAMS] TMP_APP_ACCENSIONE: "71583" is no number from 0 to 71582; it is taken for a little more than the highest
/etc/tesk_v2.ini:5: [PORT_ASYNC1] DATASIZE: "99" is no number from 5 to 8
/etc/tesk_v2.ini:6: [PORT_ASYNC1] STOPSIZE: "0" is no number from 1 to 3
)json",
        findings("[AAMS]\nTMP_APP_COLLEGATI=-3\nTMP_APP_ACCENSIONE=71583\n"
                 "[PORT_ASYNC1]\nDATASIZE=99\nSTOPSIZE=0\n"));
}

TEST_F(Checkconf, HeadersThatTheDaemonDoesNotReadAreFound) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:3: blanks before "[", so it is no header: [PORT_ASYNC1] goes on
/etc/tesk_v2.ini:4: unknown section [PORT_ASYNC03]
)json",
        findings("[PORT_ASYNC1]\nTCP_PORT=2101\n [PORT_ASYNC2]\n[PORT_ASYNC03]\n"));
}

TEST_F(Checkconf, AllAddressesAndOneOnTheSamePortAreFound) {
    EXPECT_EQ(
        "/etc/tesk_v2.ini:2: [IP_ADDRESS] IP_LOCAL: the port of 127.0.0.1:5001 is taken already\n",
        findings("[IP_ADDRESS]\nIP_LOCAL=0.0.0.0 127.0.0.1\n"));
    EXPECT_EQ("/etc/tesk_v2.ini:3: [IP_ADDRESS] TCP_LOCAL: the port of *:5007 is taken already\n",
              findings("[IP_ADDRESS]\nIP_LOCAL=127.0.0.1 127.0.0.2 *\nTCP_LOCAL=5007 5008 5007\n"));
}

TEST_F(Checkconf, FilesThatAreNotThereAreFound) {
    run({"-q", "--root", rootName()});
    EXPECT_EQ(1, status_);
    EXPECT_THAT(output_, HasSubstr("/etc/tesk_v2.ini: no configuration file is there\n"));
    EXPECT_THAT(output_,
                HasSubstr("TESKv2_ENABLE: no file sets it to true; the daemon is disabled\n"));
    EXPECT_EQ("/etc/tesk_v2.ini:1: [INTERNAL] ZQ_CONFIG_FILE: there is no file /config/gone.ini\n",
              findings("ZQ_CONFIG_FILE=gone.ini\n" + std::string(kSound)));
    std::filesystem::remove(root_ / "config/config.ini");
    std::filesystem::create_directories(root_ / "config/config.ini");
    EXPECT_EQ(
        "/config/config.ini: the file cannot be read, is none, or is larger than 1 MiB: unless a "
        "later one has HOSTS_ALLOWED, only this machine itself may connect\n",
        findings(kSound));
}

TEST_F(Checkconf, ADisabledDaemonIsFound) {
    write("config/config.ini", "MAC_ADDR_eth0=00:11:22:33:44:55\nZQ_MODEL=ZQ7\n");
    EXPECT_EQ("/etc/tesk_v2.ini:1: [INTERNAL] TESKv2_ENABLE: \"false\": the daemon is disabled\n",
              findings("TESKv2_ENABLE=false\n"));
    EXPECT_EQ(1, status_);
    EXPECT_THAT(findings("[AAMS]\nTESKv2_ENABLE\n"),
                testing::StartsWith("default: [INTERNAL] TESKv2_ENABLE: no file sets it to true; "
                                    "the daemon is disabled\n"));
    EXPECT_EQ("", findings("TESKv2_ENABLE=true\n"));
    EXPECT_EQ(0, status_);
}

TEST_F(Checkconf, AGatewayThatCannotBeToldFromAnotherIsFound) {
    write("config/config.ini", "TESKv2_ENABLE=true\n");
    EXPECT_EQ(
        R"json(default: [INTERNAL] MAC_ADDR_eth0: "ff:ff:ff:ff:ff:00" is no card's own address; hosts and the notification server cannot tell this gateway from another one
default: [INTERNAL] ZQ_MODEL: no file sets it; hosts and the notification server are told "<unknown>"
)json",
        findings(""));
    for (const char* nobodys : {"00:00:00:00:00:00", "FF:FF:FF:FF:FF:FF", "01:00:5e:00:00:01"}) {
        EXPECT_THAT(findings("ZQ_MODEL=ZQ7\nMAC_ADDR_eth0=" + std::string(nobodys) + "\n"),
                    testing::StartsWith("/etc/tesk_v2.ini:2: [INTERNAL] MAC_ADDR_eth0: \"" +
                                        std::string(nobodys) + "\" is no card's own address"));
    }
    EXPECT_EQ("", findings("ZQ_MODEL=ZQ7\nMAC_ADDR_eth0=02:42:ac:11:00:02\n"));
}

// The owners of the files below are this test's user; the service is another one.
TEST_F(Checkconf, FilesThatAnotherUserHasLeftAreFound) {
    namespace fs = std::filesystem;
    const std::string accounts = "root:x:0:0::/:/bin/sh\nteskd:x:64999:64999::/:/bin/false\nme:x:" +
                                 std::to_string(getuid()) + ":" + std::to_string(getgid()) +
                                 "::/:/bin/sh\n";
    write("tmp/dump_map.ini", "stale");
    write("config/.sw_update.ini", "");
    fs::permissions(root_ / "config/.sw_update.ini", fs::perms(0600));
    fs::permissions(root_ / "tmp", fs::perms(01777));
    EXPECT_EQ("", findings("")) << "there is no service here";
    write("etc/passwd", accounts);
    EXPECT_EQ(
        "/config/.sw_update.ini: the service (user teskd) may not read and write it; change its "
        "owner to teskd\n"
        "/tmp/dump_map.ini: left by another user; the service (user teskd) cannot replace it, so "
        "it may be stale; delete it\n",
        findings(""));
    fs::permissions(root_ / "config/.sw_update.ini", fs::perms(0666));
    fs::permissions(root_ / "tmp", fs::perms(0777));
    EXPECT_EQ("", findings("")) << "the service may replace both";
    fs::permissions(root_ / "tmp", fs::perms(01777));
    write("etc/default/teskd", "# a comment\nRUN_AS=\"me\"\n");
    EXPECT_EQ("", findings("")) << "both are the service's own";
}

TEST_F(Checkconf, PortsThatTheServiceMayNotListenOnAreFound) {
    EXPECT_EQ(
        "/etc/tesk_v2.ini:2: [IP_ADDRESS] TCP_LOCAL: 1023 is a privileged port; the service, an "
        "ordinary user, may not listen there\n",
        findings("[IP_ADDRESS]\nTCP_LOCAL=1023\n"));
    EXPECT_EQ("", findings("[IP_ADDRESS]\nTCP_LOCAL=1024\n"));
}

TEST_F(Checkconf, AMachineOnAPortOfTheDaemonsOwnIsFound) {
    EXPECT_EQ(
        "/etc/tesk_v2.ini:2: [PORT_ASYNC1] TCP_PORT: on 127.0.0.1:5001 the daemon itself listens "
        "for hosts\n",
        findings("[PORT_ASYNC1]\nTCP_PORT=5001\n"));
    EXPECT_EQ(
        "/etc/tesk_v2.ini:3: [IP_ADDRESS] TCP_LOCAL: on 127.0.0.1:2300 the daemon itself listens "
        "for hosts\n",
        findings("[IP_ADDRESS]\nIP_LOCAL=127.0.0.1\nTCP_LOCAL=2300\n"));
    EXPECT_EQ("", findings("[IP_ADDRESS]\nIP_LOCAL=10.0.0.1\n[PORT_ASYNC1]\nTCP_PORT=5001\n"));
    EXPECT_EQ("", findings("[PORT_ASYNC1]\nIP_ADDRESS=10.0.0.2\nTCP_PORT=5001\n"));
}

TEST_F(Checkconf, AKeyUnderTheWrongSectionNamesTheRightOne) {
    EXPECT_EQ(
        R"json(/etc/tesk_v2.ini:1: unknown key "Tcp_Local" in [INTERNAL]; it belongs to [IP_ADDRESS]
/etc/tesk_v2.ini:3: unknown key "PARITY" in [AAMS]; it belongs to the section of a serial port
)json",
        findings("Tcp_Local=1\n[AAMS]\nPARITY=ODD\n"));
}

TEST_F(Checkconf, OutputThatIsNotTakenIsNotClean) {
    write("etc/tesk_v2.ini", kSound);
    ChildProcess child(
        {.command = {"sh", "-c", CHECKCONF " --root " + rootName() + " > /dev/full"}});
    EXPECT_EQ(1, child.waitForExit().value_or(ExitStatus{}).code);
    EXPECT_EQ("teskd-checkconf: standard output cannot be written\n", child.standardError());
}

TEST_F(Checkconf, BadArgumentsAreStatus2) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"--root"}, {"--root", rootName() + "/none"}, {"--other"}, {rootName() + "/none"}}) {
        run(arguments);
        EXPECT_EQ(2, status_);
        EXPECT_EQ("", output_);
        EXPECT_NE("", error_);
    }
    run({"--help"});
    EXPECT_EQ(0, status_);
    EXPECT_THAT(output_, HasSubstr("teskd-checkconf --root /mnt/image"));
}

}  // namespace
}  // namespace teskd::test
