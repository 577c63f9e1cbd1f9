#include "docs/ExampleServer.h"

#include <regex>
#include <stdexcept>

#include "docs/Page.h"
#include "support/Deadline.h"
#include "support/ProcInfo.h"

namespace teskd::test {

ExampleServer::ExampleServer() {
    startMachines();
    startServer();
}

void ExampleServer::startMachines() {
    for (std::size_t n = 0; n < kLines; ++n) {
        const std::string tty = temp_ / ("ttyS" + std::to_string(n));
        const std::string codeId = "ZA00000000" + std::to_string(n + 1);
        machines_.push_back(std::make_unique<tesksim::Machine>(
            tesksim::Machine::Options{.codeId = codeId, .ptyLink = tty}));
        machines_.back()->start();
    }
}

void ExampleServer::startServer() {
    std::string example = readFile(sourceRoot() / "docs/ser2net.yaml");
    example = std::regex_replace(example, std::regex("127\\.0\\.0\\.1,[0-9]+"), "127.0.0.1,0");
    example = std::regex_replace(example, std::regex("/dev/ttyS"), (temp_ / "ttyS").string());
    writeFile(temp_ / "ser2net.yaml", example);
    ChildProcess::Options options;
    options.command = {
        "setpriv", "--pdeathsig",         "KILL", "--", "/usr/sbin/ser2net", "-d", "-u",
        "-c",      temp_ / "ser2net.yaml"};
    server_ = std::make_unique<ChildProcess>(options);
    const auto listens = [this] { return ports().size() == kLines || !server_->running(); };
    if (!eventually(listens) || !server_->running()) {
        throw std::runtime_error("no serial-port server:\n" + output());
    }
}

std::vector<std::uint16_t> ExampleServer::ports() const {
    return listeningPorts(server_->pid());
}

std::string ExampleServer::output() const {
    return server_->standardOutput() + server_->standardError();
}

}  // namespace teskd::test
