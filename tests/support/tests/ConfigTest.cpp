#include <gtest/gtest.h>

#include "support/Config.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

TEST(Config, WritesSectionsAndKeys) {
    Config config;
    config.serialPorts({1111, 2222}).server(3333).tcpLocal(4444);
    EXPECT_EQ(
        "[AAMS]\n"
        "TMP_APP_ACCENSIONE=0\n"
        "TMP_APP_COLLEGATI=1\n"
        "[INTERNAL]\n"
        "TESKv2_ENABLE=true\n"
        "[IP_ADDRESS]\n"
        "IP_LOCAL=127.0.0.1\n"
        "IP_SERVER=127.0.0.1\n"
        "TCP_LOCAL=4444\n"
        "UDP_SERVER=3333\n"
        "[PORT_ASYNC1]\n"
        "TCP_PORT=1111\n"
        "[PORT_ASYNC2]\n"
        "TCP_PORT=2222\n"
        "[SLOT_MACHINE]\n"
        "PORT_ASYNC=1,2\n",
        config.text());
}

TEST(Config, RemovedKeysAreNotWritten) {
    Config config;
    config.remove("INTERNAL", "TESKv2_ENABLE");
    EXPECT_FALSE(config.has("INTERNAL", "TESKv2_ENABLE"));
    EXPECT_EQ(std::string::npos, config.text().find("TESKv2_ENABLE"));
}

TEST(ConfigTempDir, IsGoneWithItsContent) {
    std::filesystem::path path;
    {
        const TempDir directory;
        path = directory.path();
        Config().write(directory / "a/b/file.ini");
        EXPECT_EQ(Config().text(), readFile(path / "a/b/file.ini"));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace teskd::test
