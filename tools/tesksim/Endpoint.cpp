#include "tesksim/Endpoint.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tesksim {

namespace {

constexpr int kBacklog = 16;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

tools::UniqueFd bindPort(std::uint16_t port) {
    tools::UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) fail("socket");
    const int on = 1;
    ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("port " + std::to_string(port));
    }
    return fd;
}

std::uint16_t portOf(const tools::UniqueFd& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        fail("getsockname");
    }
    return ntohs(address.sin_port);
}

tools::UniqueFd listenOn(std::uint16_t port) {
    tools::UniqueFd fd = bindPort(port);
    if (::listen(fd.get(), kBacklog) != 0) fail("listen");
    return fd;
}

tools::UniqueFd openTty(const std::string& path, const SerialLine& line) {
    tools::UniqueFd fd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    termios settings{};
    if (!fd.valid() || ::tcgetattr(fd.get(), &settings) != 0) return tools::UniqueFd();
    line.apply(settings);
    if (::tcsetattr(fd.get(), TCSANOW, &settings) != 0) return tools::UniqueFd();
    return fd;
}

void requireTty(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) fail(path);
    if (::access(path.c_str(), R_OK | W_OK) != 0) fail(path);
    if (S_ISCHR(status.st_mode)) return;
    errno = ENOTTY;
    fail(path);
}

tools::UniqueFd makeWakeUp() {
    tools::UniqueFd fd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!fd.valid()) fail("eventfd");
    return fd;
}

void wakeUp(const tools::UniqueFd& wake) {
    ::eventfd_write(wake.get(), 1);
}

void clearWakeUp(const tools::UniqueFd& wake) {
    eventfd_t count = 0;
    ::eventfd_read(wake.get(), &count);
}

}  // namespace tesksim
