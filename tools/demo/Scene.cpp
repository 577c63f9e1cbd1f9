#include "demo/Scene.h"

#include <cstdio>
#include <ctime>
#include <stdexcept>

#include "support/TempDir.h"

namespace demo {

using teskd::test::Config;

namespace {

constexpr int kClockNotification = 1;
constexpr int kParametersNotification = 2;

constexpr char kSoftwareFile[] = "config/.sw_update.ini";

// Software stamps at the last start and now.
std::string software(const std::string& before, const std::string& now) {
    return "[INTERNAL]\nSW_UPDATE_A=" + before + "\nSW_UPDATE_B=" + now + "\n";
}

Config configuration(const SlotMachines& machines, std::uint16_t serverPort) {
    Config config;
    config.serialPorts(machines.ports()).server(serverPort);
    config.set("INTERNAL", "ZQ_MODEL", "DEMO BOX");
    config.set("INTERNAL", "ZQ_SW_VERSION", Scene::kVersion);
    config.set("INTERNAL", "MAC_ADDR_eth0", "02:00:5e:00:53:01");
    return config;
}

}  // namespace

Scene::Scene(const std::filesystem::path& daemon)
    : daemon_({.program = daemon}, configuration(machines_, server_.port())) {
    teskd::test::writeFile(daemon_.root() / kSoftwareFile,
                           software("260115093000", "260115093000"));
    server_.setAnswer(kClockNotification, [](const auto&) { return nowStamp(); });
    answerParametersWith("1!1!1!1");
}

void Scene::start() {
    machines_.forget();
    server_.forget();
    daemon_.log().clear();
    started_ = std::chrono::steady_clock::now();
    daemon_.start();
    if (!machines_.awaitPoll()) throw std::runtime_error("not every machine was polled");
}

void Scene::prepareSecondStart(std::size_t machineToTurnBack) {
    teskd::test::writeFile(daemon_.root() / kSoftwareFile,
                           software("260115093000", "260302141500"));
    answerParametersWith("1!1!1!0", machineToTurnBack);
}

void Scene::answerParametersWith(const std::string& text, std::size_t machineToTurnBack) {
    server_.setAnswer(kParametersNotification, [this, text, machineToTurnBack](const auto&) {
        machines_.awaitPoll();
        if (machineToTurnBack != 0) machines_.turnBack(machineToTurnBack);
        return text;
    });
}

std::string Scene::sinceStart(std::chrono::steady_clock::time_point time) const {
    return seconds(time - started_);
}

std::string seconds(std::chrono::steady_clock::duration time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", std::chrono::duration<double>(time).count());
    return text;
}

std::string nowStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%y%m%d%H%M%S", &local)};
}

}  // namespace demo
