// The example of a serial-port server's configuration works as it stands.

#include <gtest/gtest.h>
#include <regex>

#include "docs/ExampleServer.h"
#include "docs/Page.h"
#include "gateway/Gateway.h"
#include "support/Listener.h"

namespace teskd::test {
namespace {

std::size_t countOf(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    return static_cast<std::size_t>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), regex), {}));
}

// The texts of the page's n-th excerpt of a log, counted from 0.
std::vector<std::string> excerpt(std::size_t n) {
    static const std::regex kHead("^.* teskd\\[[0-9]+\\]: ");
    std::vector<std::string> texts;
    const Page::Block block = Page("docs/operation.md").blocks("log").at(n);
    for (const std::string& line : block.lines) {
        // The version, addresses and number of machines of the example are not those of the test,
        // and the test's machines are on other ports.
        const std::string text = std::regex_replace(line, kHead, "");
        texts.push_back(std::regex_replace(
            text, std::regex("^teskd [0-9.]+| on \\*:.*|^'ZA[0-9]+'.*port [0-9]+"), ""));
    }
    return texts;
}

void expectLogged(Gateway& gateway, const std::vector<std::string>& texts) {
    EXPECT_FALSE(texts.empty());
    for (const std::string& text : texts) {
        EXPECT_TRUE(gateway.log().waitFor(text)) << text << "\n" << gateway.log().dump();
    }
}

TEST(SerialPortServerExample, LetsTheDaemonReachAMachineOnEveryLine) {
    ExampleServer server;
    Gateway gateway(0, Config().serialPorts(server.ports()));
    gateway.start();
    for (const auto& machine : server.machines()) {
        EXPECT_TRUE(machine->journal().waitForAcknowledgements(1)) << server.output();
    }
    HostClient host = gateway.host();
    host.request(1, std::string(1, '\0'));
    for (std::size_t n = 0; n < ExampleServer::kLines; ++n) {
        EXPECT_EQ(0x81, host.readFrame().kind);
    }
    expectLogged(gateway, excerpt(0));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SerialPortServerExample, IsMissedInTheLogAsTheDocumentationSays) {
    const std::uint16_t nobody = freeTcpPort();
    Gateway gateway(0, Config().serialPorts({nobody}));
    gateway.start();
    std::vector<std::string> texts = excerpt(1);
    for (std::string& text : texts) {
        text = std::regex_replace(text, std::regex(":2100$"), ":" + std::to_string(nobody));
    }
    expectLogged(gateway, texts);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(SerialPortServerExample, HoldsNothingBackOnAnyLine) {
    const std::string example = readFile(sourceRoot() / "docs/ser2net.yaml");
    EXPECT_EQ(ExampleServer::kLines,
              countOf(example, "\n  accepter: telnet\\(rfc2217\\),tcp\\(nodelay\\),"));
    EXPECT_EQ(ExampleServer::kLines, countOf(example, "\n    chardelay: false\n"));
}

}  // namespace
}  // namespace teskd::test
