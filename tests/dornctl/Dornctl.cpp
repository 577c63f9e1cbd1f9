#include "dornctl/Dornctl.h"

#include <chrono>
#include <ctime>
#include <gtest/gtest.h>
#include <regex>

namespace teskd::test {

namespace {

constexpr std::time_t kDay = 86400;

std::string dateAt(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%d.%m.%y", &local)};
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
    return {status ? status->code : -1, timeless(child.standardOutput()), child.standardError()};
}

}  // namespace

Printed dornctl(const std::vector<std::string>& arguments) {
    ChildProcess::Options options;
    options.command = arguments;
    options.command.insert(options.command.begin(), DORNCTL);
    return run(options);
}

Printed dornctl(std::uint16_t port, std::vector<std::string> arguments) {
    return run(dornctlCommand(port, std::move(arguments)));
}

ChildProcess::Options dornctlCommand(std::uint16_t port, std::vector<std::string> arguments) {
    const std::string host = "127.0.0.1:" + std::to_string(port);
    arguments.insert(arguments.begin(), {DORNCTL, "--host", host});
    ChildProcess::Options options;
    options.command = std::move(arguments);
    return options;
}

std::string timeless(std::string text) {
    const std::time_t now = std::time(nullptr);
    for (const std::time_t time : {now, now - kDay}) replace(text, dateAt(time), "dd.mm.yy");
    static const std::regex time("20[0-9]{2}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}");
    return std::regex_replace(text, time, "YYYY-MM-DD hh:mm:ss");
}

}  // namespace teskd::test
