#include "packaging/Service.h"

#include <algorithm>
#include <csignal>
#include <stdexcept>

#include "support/Config.h"
#include "support/ProcInfo.h"
#include "support/TempDir.h"

namespace teskd::test {

namespace {

constexpr char kPidFile[] = "tmp/daemon-under-test";

}  // namespace

Service::Service(InstalledRoot& root) : root_(root) {
    machine_.start();
}

Service::~Service() {
    if (!process_ || !process_->running()) return;
    if (pid() > 0) ::kill(pid(), SIGKILL);
    process_->waitForExit();
}

void Service::configure() {
    Config()
        .serialPorts({machine_.port()})
        .server(server_.port())
        .tcpLocal(port())
        .write(root_ / "config/config.ini");
}

void Service::start(const Words& command, const InstalledRoot::Confinement& confinement) {
    Words words = {"/bin/sh", "-c", "echo $$ > /" + std::string(kPidFile) + " && exec \"$@\"",
                   "sh"};
    words.insert(words.end(), command.begin(), command.end());
    configure();
    process_ = root_.start(words, confinement);
    eventually([this] { return listens() || !process_->running(); });
    if (!listens()) throw std::runtime_error("the service does not listen:\n" + story());
}

bool Service::listens() const {
    const auto ports = listeningPorts(pid());
    return std::find(ports.begin(), ports.end(), port()) != ports.end();
}

ExitStatus Service::stop() {
    ::kill(pid(), SIGTERM);
    const auto status = process_->waitForExit();
    if (!status) throw Timeout("the service does not end:\n" + story());
    std::filesystem::remove(root_ / kPidFile);
    return *status;
}

pid_t Service::pid() const {
    const std::filesystem::path file = root_ / kPidFile;
    const std::string text = std::filesystem::exists(file) ? readFile(file) : "";
    return text.ends_with('\n') ? std::stoi(text) : -1;
}

std::string Service::story() const {
    return process_ ? process_->standardOutput() + process_->standardError() : "";
}

}  // namespace teskd::test
