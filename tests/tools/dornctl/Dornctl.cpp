#include "dornctl/Dornctl.h"

#include <chrono>
#include <ctime>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <regex>

namespace teskd::test {

namespace {

constexpr std::time_t kDay = 86400;

std::string dateAt(std::time_t time, const char* format) {
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, format, &local)};
}

void replace(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at; (at = text.find(from)) != std::string::npos;) {
        text.replace(at, from.size(), to);
    }
}

// Some print 84,000 entries, also under a sanitizer.
constexpr auto kLongestRun = std::chrono::seconds(60);

Printed run(const ChildProcess::Options& options) {
    ChildProcess child(options);
    const auto status = child.waitForExit(kLongestRun);
    EXPECT_TRUE(status.has_value()) << "the tool does not end";
    return {status ? status->code : -1, timeless(child.standardOutput()),
            timeless(child.standardError())};
}

}  // namespace

Printed dornctl(const std::vector<std::string>& arguments) {
    ChildProcess::Options options;
    options.command = arguments;
    options.command.insert(options.command.begin(), DORNCTL);
    return run(options);
}

Printed dornctl(std::uint16_t port, std::vector<std::string> arguments) {
    Printed printed = run(dornctlCommand(port, std::move(arguments)));
    const std::string gateway = "127.0.0.1:" + std::to_string(port);
    replace(printed.output, gateway, "GATEWAY");
    replace(printed.error, gateway, "GATEWAY");
    return printed;
}

std::string outputOf(std::uint16_t port, const std::vector<std::string>& arguments) {
    const Printed printed = dornctl(port, arguments);
    EXPECT_EQ(0, printed.status);
    EXPECT_EQ("", printed.error);
    return printed.output;
}

std::string compact(const std::string& json) {
    const auto value = nlohmann::ordered_json::parse(json, nullptr, false);
    return value.is_discarded() ? "no JSON: " + json : value.dump();
}

std::string jsonOf(std::uint16_t port, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--json");
    return compact(outputOf(port, arguments));
}

ChildProcess::Options dornctlCommand(std::uint16_t port, std::vector<std::string> arguments) {
    const std::string host = "127.0.0.1:" + std::to_string(port);
    arguments.insert(arguments.begin(), {DORNCTL, "--host", host});
    ChildProcess::Options options;
    options.command = std::move(arguments);
    return options;
}

std::string timeless(std::string text) {
    static const std::regex iso("20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9:]{8}[+-][0-9]{2}:[0-9]{2}");
    static const std::regex time("20[0-9]{2}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}");
    text = std::regex_replace(text, iso, "TIME");
    text = std::regex_replace(text, time, "YYYY-MM-DD hh:mm:ss");
    const std::time_t now = std::time(nullptr);
    for (const std::time_t day : {now, now - kDay}) {
        replace(text, dateAt(day, "%d.%m.%y"), "dd.mm.yy");
        replace(text, dateAt(day, "%Y-%m-%d"), "DATE");
    }
    return text;
}

}  // namespace teskd::test
