// The static daemon where there is nothing else: no library, no shell, no /proc.

#include <cstdlib>
#include <gtest/gtest.h>

#include "gateway/Gateway.h"

namespace teskd::test {
namespace {

// This build's, unless another one is named.
DaemonProcess::Options staticDaemon() {
    DaemonProcess::Options options = std::getenv("TESKD_DAEMON") == nullptr
                                         ? DaemonProcess::Options{.program = TESKD_STATIC_BINARY}
                                         : daemonOptions();
    options.files = Files::EmptyRoot;
    return options;
}

TEST(StaticDaemon, ServesInARootWithNothingButItsConfiguration) {
    Gateway gateway(1, Config().set("INTERNAL", "MAC_ADDR_eth0", "00:11:22:AA:BB:CC"),
                    staticDaemon());
    gateway.startKnown();
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'));
    EXPECT_EQ(0x81, host.readFrame().kind);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
