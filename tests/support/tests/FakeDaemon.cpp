// A stand-in for the daemon: listens on the configured port, logs what it finds around it, and
// ends on SIGTERM with status 0. With the argument "linger" it ignores SIGTERM, with "fail" it
// ends at once with status 3, with "probe FILE" it tries to write that file.

#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

namespace {

std::string rooted(const std::string& path) {
    const char* const root = std::getenv("TESKD_ROOT");
    return (root == nullptr ? "" : std::string(root)) + path;
}

int configuredPort() {
    const std::string key = "TCP_LOCAL=";
    std::ifstream file(rooted("/etc/tesk_v2.ini"));
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key, 0) == 0) return std::atoi(line.c_str() + key.size());
    }
    return 0;
}

bool listenOn(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           ::listen(fd, 4) == 0;
}

void logCapabilities() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("Cap", 0) == 0) ::syslog(LOG_LOCAL6 | LOG_INFO, "%s", line.c_str());
    }
}

// Tries to write a file outside its own directories.
void logProbe(const std::string& file) {
    const bool written = std::ofstream(file).is_open();
    ::syslog(LOG_LOCAL6 | LOG_WARNING, "written outside: %d", written ? 1 : 0);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    ::openlog("fake", LOG_PID, LOG_LOCAL6);
    if (mode == "fail") {
        std::cerr << "cannot work" << std::endl;
        return 3;
    }
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    logCapabilities();
    std::ofstream(rooted("/tmp/written")) << "by the daemon";
    if (mode == "probe") logProbe(argv[2]);
    if (!listenOn(configuredPort())) return 4;
    int number = 0;
    ::sigwait(&set, &number);
    while (mode == "linger") ::pause();
    std::cout << "ended by " << number << std::endl;
    return 0;
}
