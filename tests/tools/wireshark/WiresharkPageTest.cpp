// The commands of docs/wireshark.md.

#include <gtest/gtest.h>
#include <sstream>

#include "support/ChildProcess.h"
#include "support/TempDir.h"
#include "wireshark/Samples.h"

namespace teskd::test {
namespace {

std::vector<std::string> commands() {
    const std::string prompt = "    tshark ";
    std::istringstream page(readFile(WIRESHARK_PAGE));
    std::vector<std::string> result;
    for (std::string line; std::getline(page, line);) {
        if (line.compare(0, prompt.size(), prompt) == 0) result.push_back(line);
    }
    return result;
}

TEST(WiresharkPage, EveryCommandRunsAndHasNothingToComplainOf) {
    const TempDir directory;
    CaptureFile capture;
    for (const Sample& sample : samples()) sample.send(capture, sample.frame().encode());
    capture.write(directory / "capture.pcap");
    writeFile(directory / "tools/wireshark/teskd.lua", readFile(WIRESHARK_PLUGIN));

    ASSERT_EQ(8U, commands().size());
    for (const std::string& command : commands()) {
        ChildProcess::Options options;
        options.command = {"/bin/sh", "-c", "cd \"$0\" && " + command, directory.path()};
        options.environment = {{"HOME", directory.path()}};
        ChildProcess child(options);
        const auto status = child.waitForExit(std::chrono::seconds(60));
        ASSERT_TRUE(status && status->ok()) << command << child.standardError();
        EXPECT_EQ(std::string::npos, child.standardError().find("Lua")) << child.standardError();
    }
}

}  // namespace
}  // namespace teskd::test
