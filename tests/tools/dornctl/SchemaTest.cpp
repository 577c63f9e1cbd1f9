// What --json prints is what the installed schemas say, for every subcommand.

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "dornctl/Dornctl.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

std::string schemaOf(const std::string& command) {
    return DORNCTL_SCHEMAS "/dornctl-" + command + ".schema.json";
}

class Schema : public testing::Test {
  protected:
    void SetUp() override {
        gateway_.machine(1).answers().setBody(113, "110~200~1~100~200~0");
        gateway_.machine(2).answers().setBody(113, "x~200~1~100~200");
        gateway_.startKnown();
        HostClient host = gateway_.host();
        ASSERT_TRUE(eventually([&] { return ask(host, 502).size() > 150; }));
    }
    void TearDown() override {
        validate();
        EXPECT_CLEAN_STOP(gateway_.daemon());
    }

    // Each line of JSON, or the whole text if it is no such line, has to be what the schema says.
    void expectValid(const std::string& text, const std::string& schema) {
        std::istringstream lines(text);
        std::string line;
        std::getline(lines, line);
        const bool document = !nlohmann::json::accept(line);
        std::istringstream again(text);
        while (!document && std::getline(again, line)) add(line, schema);
        if (document) add(text, schema);
    }

    void expectValid(std::vector<std::string> arguments) {
        const std::string command = arguments.front();
        arguments.insert(arguments.begin(), {"--json", "--progress"});
        ChildProcess tool(dornctlCommand(gateway_.daemon().port(), arguments));
        tool.waitForExit();
        expectValid(tool.standardOutput(), command);
        if (!tool.standardError().empty()) expectValid(tool.standardError(), "messages");
    }

    // All at once, since an interpreter takes a second to start.
    void validate() {
        ChildProcess::Options options;
        options.command = {"/usr/bin/python3", "-c",
                           "import json, sys\n"
                           "from jsonschema import Draft202012Validator as Validator\n"
                           "for i in range(1, len(sys.argv), 2):\n"
                           "    schema = json.load(open(sys.argv[i]))\n"
                           "    Validator.check_schema(schema)\n"
                           "    for error in Validator(schema).iter_errors(json.loads("
                           "open(sys.argv[i + 1]).read())):\n"
                           "        print(sys.argv[i], error)\n"
                           "print('done')\n"};
        options.command.insert(options.command.end(), checks_.begin(), checks_.end());
        ChildProcess python(options);
        python.waitForExit();
        EXPECT_EQ("done\n", python.standardOutput()) << python.standardError();
    }

    void add(const std::string& json, const std::string& schema) {
        const std::string file = directory_ / std::to_string(checks_.size());
        writeFile(file, json);
        checks_.insert(checks_.end(), {schemaOf(schema), file});
        checked_.insert(schema);
    }

    Gateway gateway_{2};
    const TempDir directory_;
    std::vector<std::string> checks_{};
    std::set<std::string> checked_{};
};

TEST_F(Schema, FitsWhatEverySubcommandPrints) {
    const std::vector<std::vector<std::string>> all = {
        {"machines"},
        {"version"},
        {"meters"},
        {"meters", "ZA000000009"},
        {"value", "118"},
        {"list-by-fields", "A", "B", "ZA000000001"},
        {"list-by-numbers", "1", "2", "ZA000000001"},
        {"times", "A", "B"},
        {"raw", "113", "ZA000000001"},
        {"identification"},
        {"readings"},
        {"history", "ZA000000001"},
        {"history", "ZA000000009"},
        {"checks", "ZA000000001"},
        {"checks", "ZA000000009"},
        {"parameters"},
        {"set-parameters", "--every", "1", "--report", "no", "--report-unanswered", "no", "--first",
         "1"},
        {"set-clock", "now"},
        {"watch", "--count", "2", "--interval", "100"},
    };
    for (const auto& arguments : all) expectValid(arguments);
    checked_.insert("listen");  // which has a test of its own
    std::set<std::string> installed;
    for (const auto& file : std::filesystem::directory_iterator(DORNCTL_SCHEMAS)) {
        const std::string name = file.path().filename();
        installed.insert(name.substr(8, name.find('.') - 8));
    }
    EXPECT_EQ(installed, checked_);
}

TEST_F(Schema, FitsEveryNotification) {
    ChildProcess tool({.command = {DORNCTL, "--json", "listen", "--bind", "127.0.0.1:0"}});
    EXPECT_TRUE(eventually([&] { return tool.standardError().ends_with('\n'); }));
    const std::string address =
        nlohmann::json::parse(tool.standardError(), nullptr, false).value("listening", ":1");
    const std::string reading = "113~0030~15.03.26~ZA01~00~100~200~1~100~200~0-9X";
    const std::vector<std::pair<int, std::string>> all = {
        {1, "-MAC"},
        {2, "-MAC"},
        {3, "-MAC-00-BOX-1.2-260302141500-ZEPH-3-9-261121062325"},
        {4, "-MAC-00-4-261121062325-" + reading + "-261121062326"},
        {4, "-MAC-00-4"},
        {5, "-MAC-04-38-" + reading + "-261121062326-" + reading + "-261121062325"},
        {5, "-MAC-04"},
    };
    UdpPeer gateway;
    const auto port = static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1)));
    for (const auto& [code, text] : all) {
        Frame notification{.type = kAamsType, .body = aamsPayload(code, text)};
        gateway.sendTo(port, notification.encode());
    }
    gateway.sendTo(port, "junk");
    EXPECT_TRUE(eventually(
        [&] { return tool.standardError().find("is left unanswered") != std::string::npos; }));
    tool.signal(SIGTERM);
    tool.waitForExit();
    expectValid(tool.standardOutput(), "listen");
    expectValid(tool.standardError(), "messages");
    EXPECT_EQ(2 * (all.size() + 2), checks_.size())
        << tool.standardOutput() << tool.standardError();
}

}  // namespace
}  // namespace teskd::test
