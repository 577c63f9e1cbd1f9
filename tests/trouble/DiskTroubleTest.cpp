// A daemon whose disk is read-only, full, missing or planted with traps: it serves all the same.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr char kUpdateFile[] = "config/.sw_update.ini";
constexpr char kDumpFile[] = "tmp/dump_map.ini";
constexpr char kOldStamps[] = "\n[INTERNAL]\n\t SW_UPDATE_A=200101000000\n\t SW_UPDATE_B=x\n\n";

// One machine, an update of the software that the daemon wants to write down, and a disk.
class DiskTrouble : public testing::Test {
  protected:
    static Gateway gatewayOn(Disk disk) {
        return Gateway(1, Config().set("INTERNAL", "ZQ_SW_VERSION", "7.7"),
                       {.disk = std::move(disk)});
    }

    static void expectService(Gateway& gateway) {
        HostClient host = gateway.host();
        host.request(7, "");
        EXPECT_STREQ("7.7", host.readFrame().body.c_str());
        host.request(8, "");
        EXPECT_EQ(0x81, host.readFrame().kind);
        host.request(1, named("\1", codeIdOf(1)));
        EXPECT_EQ(0x81, host.readFrame().kind);
        host.request(kAamsType, aamsPayload(506, "-5!1!1!10"));
        EXPECT_EQ("", host.readFrame().body);
        EXPECT_THAT(ask(host, 505), HasSubstr("-5!1!1!10-"));
    }
};

TEST_F(DiskTrouble, AReadOnlyConfigurationDirectoryIsServedFrom) {
    Gateway gateway = gatewayOn({.readOnly = {"config"}});
    const fs::path root = gateway.daemon().root();
    writeFile(root / kUpdateFile, kOldStamps);
    gateway.startKnown();
    expectService(gateway);
    EXPECT_EQ(kOldStamps, readFile(root / kUpdateFile));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
