#include "controller/Controller.h"

#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

constexpr char kImages[] = TESKD_SOURCE "/build/controller/";
constexpr char kBoot[] = TESKD_SOURCE "/tools/controller/boot";
// Ends what a command writes; the quotes keep the command itself from looking like it.
constexpr char kMark[] = "@@";
constexpr char kWrittenMark[] = "@''@";
constexpr std::size_t kSector = 512;
constexpr std::chrono::seconds kLong{60};

Connection connectTo(const fs::path& path) {
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const auto* const plain = reinterpret_cast<const sockaddr*>(&address);
    if (!eventually([&] { return ::connect(fd.get(), plain, sizeof address) == 0; })) {
        throw std::runtime_error("nobody listens on " + path.string());
    }
    return Connection(std::move(fd));
}

// As a disk.
void writeSettings(const Config& config, const fs::path& file) {
    std::string text = config.text();
    text.resize((text.size() / kSector + 1) * kSector, '\0');
    writeFile(file, text);
}

}  // namespace

Config Controller::config(const std::vector<std::uint16_t>& machines, std::uint16_t server) {
    Config config;
    config.set("IP_ADDRESS", "IP_LOCAL", "*").set("IP_ADDRESS", "IP_SERVER", kOutside);
    config.tcpLocal(5001).server(server).serialPorts(machines);
    for (std::size_t n = 1; n <= machines.size(); ++n) {
        config.set("PORT_ASYNC" + std::to_string(n), "IP_ADDRESS", kOutside);
    }
    return config;
}

Controller::Controller(const Config& config, Options options) : options_(std::move(options)) {
    for (const char* image : {"root.ext4", "flash.jffs2"}) {
        fs::copy_file(std::string(kImages) + image, files_ / image);
    }
    writeSettings(config, files_ / "settings");
}

std::vector<std::string> Controller::command() const {
    std::vector<std::string> words = {kBoot};
    const auto add = [&words](const std::string& option, const std::string& value) {
        words.insert(words.end(), {option, value});
    };
    add("--root", files_ / "root.ext4");
    add("--flash", files_ / "flash.jffs2");
    add("--settings", files_ / "settings");
    add("--orders", files_ / "shell");
    add("--memory", options_.memory);
    add("--host-port", std::to_string(port_.number()));
    if (!options_.cable.empty()) add("--cable", options_.cable);
    words.push_back("--");
    add("-chardev", "stdio,id=console,signal=off");
    add("-serial", "chardev:console");
    add("-monitor", "unix:" + (files_ / "monitor").string() + ",server=on,wait=off");
    if (!options_.date.empty()) add("-rtc", "base=" + options_.date);
    add("-action", "reboot=shutdown");
    return words;
}

bool Controller::says(const std::string& text) const {
    const auto said = [&] { return console().find(text) != std::string::npos; };
    return eventually([&] { return said() || !emulator_->running(); }, kLong) && said();
}

void Controller::boot() {
    emulator_ = std::make_unique<ChildProcess>(ChildProcess::Options{.command = command()});
    if (!says("controller: listening")) {
        throw std::runtime_error("it does not boot:\n" + console() + emulator_->standardError());
    }
    shell_ = connectTo(files_ / "shell");
}

std::string Controller::readUntilMark(Deadline deadline) {
    std::string text;
    const auto complete = [&] {
        if (shell_.readableWithin(std::chrono::milliseconds(5))) text += shell_.readAvailable();
        const std::size_t mark = text.find(kMark);
        return mark != std::string::npos && text.find('\n', mark) != std::string::npos;
    };
    if (!eventually(complete, deadline)) throw Timeout("the shell does not end:\n" + text);
    return text;
}

std::string Controller::finishCommand(const std::string& command, Deadline deadline, int& status) {
    shell_.sendAll("{ " + command + "\n} 2>&1; echo " + kWrittenMark + "$?\n");
    const std::string text = readUntilMark(deadline);
    const std::size_t mark = text.rfind(kMark);
    status = std::stoi(text.substr(mark + std::strlen(kMark)));
    return text.substr(0, mark);
}

std::string Controller::run(const std::string& command, Deadline deadline) {
    int status = 0;
    std::string text = finishCommand(command, deadline, status);
    if (status != 0)
        throw std::runtime_error(command + ": " + std::to_string(status) + ": " + text);
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

int Controller::status(const std::string& command) {
    int status = 0;
    finishCommand(command, std::chrono::seconds(30), status);
    return status;
}

long Controller::statusValue(const std::string& name) {
    return std::stol(run("sed -n 's/^" + name + ":[^0-9]*//p' /proc/$(cat /run/teskd.pid)/status"));
}

// Its prompt comes once before and once behind what an order prints.
void Controller::tellMonitor(const std::string& order) {
    constexpr char kPrompt[] = "(qemu) ";
    Connection monitor = connectTo(files_ / "monitor");
    monitor.sendAll(order + "\n");
    std::string text;
    const auto done = [&] {
        if (monitor.readableWithin(std::chrono::milliseconds(5))) text += monitor.readAvailable();
        return text.find(kPrompt) != std::string::npos &&
               text.find(kPrompt, text.find(kPrompt) + 1) != std::string::npos;
    };
    if (!eventually(done)) throw Timeout("the monitor does not answer:\n" + text);
}

void Controller::setCable(bool in) {
    tellMonitor(std::string("set_link card ") + (in ? "on" : "off"));
}

void Controller::forward(std::uint16_t port, const std::string& address) {
    tellMonitor("hostfwd_add tcp:127.0.0.1:" + std::to_string(port) + "-" + address + ":5001");
}

bool Controller::powerOff() {
    shell_.sendAll("poweroff\n");
    return emulator_->waitForExit(kLong).has_value();
}

void Controller::cutPower() {
    emulator_->signal(SIGKILL);
    emulator_->waitForExit();
    fs::remove(files_ / "shell");
    fs::remove(files_ / "monitor");
}

}  // namespace teskd::test
