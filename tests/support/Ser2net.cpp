#include "support/Ser2net.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/ProcInfo.h"
#include "support/UniqueFd.h"

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

fs::path findProgram(const std::string& name) {
    for (const char* directory : {"/usr/bin", "/usr/sbin", "/usr/local/bin", "/usr/local/sbin"}) {
        fs::path path = fs::path(directory) / name;
        if (fs::exists(path)) return path;
    }
    return {};
}

// Starts a program that the kernel ends together with the test.
std::unique_ptr<ChildProcess> startHelper(std::vector<std::string> command) {
    ChildProcess::Options options;
    options.command = {"setpriv", "--pdeathsig", "KILL", "--"};
    options.command.insert(options.command.end(), command.begin(), command.end());
    return std::make_unique<ChildProcess>(options);
}

}  // namespace

bool Ser2net::available() {
    return !findProgram("ser2net").empty() && !findProgram("socat").empty() &&
           !findProgram("setpriv").empty();
}

Ser2net::Ser2net(const std::string& lineSettings, Deadline deadline) {
    startTtys(deadline);
    startServer(lineSettings, deadline);
}

Ser2net::~Ser2net() = default;

void Ser2net::startTtys(Deadline deadline) {
    const std::string options = "pty,raw,echo=0,link=";
    ttys_ = startHelper(
        {findProgram("socat"), options + serverTty().string(), options + machineTty().string()});
    const auto ready = [this] { return fs::exists(serverTty()) && fs::exists(machineTty()); };
    if (!eventually(ready, deadline)) throw std::runtime_error("no ttys:\n" + output());
}

void Ser2net::startServer(const std::string& lineSettings, Deadline deadline) {
    const fs::path file = temp_ / "server.yaml";
    writeFile(file,
              "connection: &line\n"
              "  accepter: telnet(rfc2217),tcp(nodelay),127.0.0.1,0\n"
              "  connector: serialdev(nouucplock)," +
                  serverTty().string() + "," + lineSettings +
                  ",local\n"
                  "  options:\n"
                  "    chardelay: false\n"
                  "    kickolduser: true\n");
    server_ = startHelper({findProgram("ser2net"), "-d", "-u", "-c", file});
    const auto listens = [this] {
        const auto ports = listeningPorts(server_->pid());
        if (!ports.empty()) port_ = ports.front();
        return port_ != 0 || !server_->running();
    };
    if (!eventually(listens, deadline) || port_ == 0) {
        throw std::runtime_error("no serial-port server:\n" + output());
    }
}

::termios Ser2net::lineSettings() const {
    const UniqueFd tty(::open(serverTty().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    ::termios settings{};
    if (!tty.valid() || ::tcgetattr(tty.get(), &settings) != 0) {
        throw std::system_error(errno, std::generic_category(), serverTty().string());
    }
    return settings;
}

speed_t Ser2net::speed() const {
    const ::termios settings = lineSettings();
    return ::cfgetospeed(&settings);
}

std::string Ser2net::output() const {
    std::string text;
    for (const auto& process : {ttys_.get(), server_.get()}) {
        if (process != nullptr) text += process->standardOutput() + process->standardError();
    }
    return text;
}

}  // namespace teskd::test
