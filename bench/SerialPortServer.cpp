#include "bench/SerialPortServer.h"

#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <termios.h>
#include <utility>

#include "support/Deadline.h"
#include "support/Listener.h"
#include "support/ProcInfo.h"

namespace teskd::bench {

namespace {

struct Terminal {
    UniqueFd machineSide;
    UniqueFd tty;
    std::string name;
};

Terminal openTerminal() {
    Terminal terminal;
    terminal.machineSide = UniqueFd(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    const int fd = terminal.machineSide.get();
    if (fd < 0 || ::grantpt(fd) != 0 || ::unlockpt(fd) != 0) throwSystemError("posix_openpt");
    terminal.name = ::ptsname(fd);
    terminal.tty = UniqueFd(::open(terminal.name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    if (::tcgetattr(terminal.tty.get(), &settings) != 0) throwSystemError("tcgetattr");
    ::cfmakeraw(&settings);
    if (::tcsetattr(terminal.tty.get(), TCSANOW, &settings) != 0) throwSystemError("tcsetattr");
    return terminal;
}

std::string connection(std::size_t number, std::uint16_t port, const std::string& tty) {
    return "connection: &line" + std::to_string(number) +
           "\n"
           "  accepter: telnet(rfc2217),tcp(nodelay),127.0.0.1," +
           std::to_string(port) +
           "\n"
           "  connector: serialdev(nouucplock)," +
           tty +
           ",115200n81,local\n"
           "  options:\n"
           "    chardelay: false\n"
           "    kickolduser: true\n";
}

}  // namespace

SerialPortServer::SerialPortServer(std::size_t lines) {
    std::string configuration;
    for (std::size_t i = 0; i < lines; ++i) {
        Terminal terminal = openTerminal();
        ports_.push_back(test::freeTcpPort());
        configuration += connection(i, ports_.back(), terminal.name);
        machineSides_.push_back(std::move(terminal.machineSide));
        ttys_.push_back(std::move(terminal.tty));
    }
    const auto file = directory_ / "server.yaml";
    test::writeFile(file, configuration);
    test::ChildProcess::Options options;
    options.command = {"setpriv", "--pdeathsig", "KILL", "--", "ser2net", "-d", "-u", "-c", file};
    server_ = std::make_unique<test::ChildProcess>(options);
    const auto listens = [&] {
        return test::listeningPorts(server_->pid()).size() == lines || !server_->running();
    };
    if (!test::eventually(listens) || !server_->running()) {
        throw std::runtime_error("no serial-port server: " + server_->standardError());
    }
}

SerialPortServer::~SerialPortServer() = default;

}  // namespace teskd::bench
