// Every command in the documentation runs: here, or by who is named in Commands.cpp.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <unistd.h>

#include "docs/Commands.h"
#include "docs/Confinement.h"
#include "gateway/Gateway.h"
#include "support/ChildProcess.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using Kind = Runner::Kind;
using testing::Contains;
using testing::IsSupersetOf;

constexpr char kBuild[] = "build/release/";
constexpr char kHost[] = "192.168.0.10";
constexpr char kLog[] = "/var/log/teskd.log";
constexpr char kDump[] = "/tmp/dump_map.ini";
constexpr char kCheckconf[] = "teskd-checkconf";

std::vector<Command> commandsFor(Kind kind) {
    std::vector<Command> commands;
    for (const Command& command : Command::ofAllPages()) {
        if (runnerOf(command).kind == kind) commands.push_back(command);
    }
    return commands;
}

void replace(std::string& text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
}

void expectSuccess(const Command& command, const std::vector<std::string>& run) {
    ChildProcess::Options options;
    options.command = run;
    options.environment = {{"PATH", std::string(TESKD_BUILD ":") + std::getenv("PATH")}};
    ChildProcess child(options);
    const auto status = child.waitForExit();
    EXPECT_TRUE(status && status->ok()) << command.place << ": " << command.text << "\n"
                                        << child.standardOutput() << child.standardError();
}

std::vector<std::string> shell(const std::string& text) {
    return {"sh", "-c", "cd '" TESKD_SOURCE "' && " + text};
}

TEST(Commands, AreAllRunBySomebody) {
    EXPECT_LT(30U, Command::ofAllPages().size());
    for (const Command& command : Command::ofAllPages()) {
        EXPECT_NE(Kind::Nobody, runnerOf(command).kind) << command.place << ": " << command.text;
    }
}

TEST(Commands, ThatNoPageHasAnyMoreAreNotListed) {
    std::set<std::string> used;
    for (const Command& command : Command::ofAllPages()) used.insert(runnerOf(command).start);
    for (const Runner& runner : runners()) EXPECT_THAT(used, Contains(runner.start));
}

TEST(Commands, ThatNeedAGatewayRun) {
    Gateway gateway(1, Config()
                           .set("INTERNAL", "MAC_ADDR_eth0", "02:00:00:00:00:01")
                           .set("INTERNAL", "ZQ_MODEL", "ZQ7"));
    gateway.startKnown();
    TempDir temp;
    std::string log;
    for (const Page::Block& block : Page("docs/operation.md").blocks("log")) {
        log += joined(block.lines);
    }
    writeFile(temp / "teskd.log", log);
    const std::string root = gateway.daemon().root();
    EXPECT_LE(5U, commandsFor(Kind::HereWithDaemon).size());
    for (const Command& command : commandsFor(Kind::HereWithDaemon)) {
        std::string text = command.text;
        replace(text, kBuild, TESKD_BUILD "/");
        replace(text, kHost, "127.0.0.1:" + std::to_string(gateway.daemon().port()));
        replace(text, kLog, temp / "teskd.log");
        replace(text, kDump, root + kDump);
        replace(text, kCheckconf, std::string(kCheckconf) + " --root " + root);
        expectSuccess(command, shell(text));
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// What does not end by itself is told to at its start.
TEST(Commands, ThatNeedNobodyRun) {
    EXPECT_LE(2U, commandsFor(Kind::HereAlone).size());
    for (const Command& command : commandsFor(Kind::HereAlone)) {
        std::string text = command.text;
        replace(text, kBuild, TESKD_BUILD "/");
        if (text.find("tesksim") != std::string::npos) text += " --command quit";
        expectSuccess(command, confined(shell(text)));
    }
}

// ---- What is run elsewhere names what there is.

std::set<std::string> presets() {
    std::set<std::string> names;
    const auto json = nlohmann::json::parse(readFile(sourceRoot() / "CMakePresets.json"));
    for (const auto& preset : json.at("configurePresets")) names.insert(preset.at("name"));
    return names;
}

// The words that follow one, up to the next option, in all commands.
std::set<std::string> wordsBehind(const std::string& option) {
    std::set<std::string> result;
    for (const Command& command : commandsFor(Kind::Elsewhere)) {
        bool follows = false;
        for (const std::string& word : command.words()) {
            if (word.starts_with("-")) {
                follows = word == option;
            } else if (follows) {
                result.insert(word);
            }
        }
    }
    return result;
}

// All matches of the first group, in all commands.
std::set<std::string> matches(const char* pattern) {
    const std::regex regex(pattern);
    std::set<std::string> result;
    for (const Command& command : Command::ofAllPages()) {
        const std::string& text = command.text;
        for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
            result.insert((*it)[1]);
        }
    }
    return result;
}

TEST(Commands, NamePresetsThatThereAre) {
    const std::set<std::string> named = wordsBehind("--preset");
    EXPECT_FALSE(named.empty());
    EXPECT_THAT(presets(), IsSupersetOf(named));
    for (const Command& command : commandsFor(Kind::Elsewhere)) {
        const std::vector<std::string> words = command.words();
        if (words.front() != "script/test") continue;
        EXPECT_THAT(presets(), IsSupersetOf(std::vector(words.begin() + 1, words.end())));
    }
}

TEST(Commands, NameTargetsAndProgramsThatAreBuilt) {
    std::set<std::string> named = wordsBehind("--target");
    named.merge(matches("\\bbuild/(?:release|powerpc)/([a-z_-]+)(?= |$)"));
    EXPECT_LE(5U, named.size());
    std::vector<std::string> query = {"ninja", "-C", TESKD_BUILD, "-t", "query"};
    query.insert(query.end(), named.begin(), named.end());
    expectSuccess({"ninja -t query", "targets"}, query);
}

TEST(Commands, NameScriptsThatAreSoundShell) {
    const std::set<std::string> scripts = matches("^((?:script|\\.ci)/[a-z]+)");
    EXPECT_LE(5U, scripts.size());
    for (const std::string& script : scripts) {
        const fs::path path = sourceRoot() / script;
        EXPECT_EQ(0, ::access(path.c_str(), X_OK)) << script;
        expectSuccess({script, "scripts"}, {"bash", "-n", path});
    }
}

TEST(Commands, NameTestsThatThereAre) {
    std::string sources;
    for (const auto& entry : fs::recursive_directory_iterator(sourceRoot() / "tests")) {
        if (entry.path().extension() == ".cpp") sources += readFile(entry.path());
    }
    const std::set<std::string> filters = matches("(?:--gtest_filter=|-R )'([A-Za-z]+)");
    EXPECT_LE(2U, filters.size());
    for (const std::string& filter : filters) {
        EXPECT_TRUE(std::regex_search(sources, std::regex("\nTEST(_F|_P)?\\(" + filter))) << filter;
    }
}

// What a page asks apt for is on the machine of this test, and so on every one.
TEST(Commands, InstallPackagesThatThereAre) {
    const std::string setup = readFile(sourceRoot() / "script/setup");
    for (const Command& command : commandsFor(Kind::Elsewhere)) {
        if (!command.text.starts_with("apt install")) continue;
        const std::vector<std::string> words = command.words();
        for (std::size_t i = 2; i < words.size(); ++i) {
            if (words[i].find('/') != std::string::npos) {
                // Without that apt takes it for a package's name.
                EXPECT_TRUE(words[i].starts_with("./") || words[i].starts_with("/")) << words[i];
                continue;
            }
            EXPECT_TRUE(std::regex_search(setup, std::regex("\\b" + words[i] + "\\b"))) << words[i];
        }
    }
}

}  // namespace
}  // namespace teskd::test
