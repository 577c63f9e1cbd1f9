#include "dornctl/EndSignals.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace dornctl {

namespace {

sigset_t endSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

void endProcess(int /*signal*/) {
    ::_exit(EXIT_SUCCESS);
}

}  // namespace

EndSignals::AtOnce::AtOnce() {
    struct sigaction action {};
    action.sa_handler = endProcess;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    const sigset_t set = endSignals();
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

EndSignals::AtOnce::~AtOnce() {
    const sigset_t set = endSignals();
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
}

EndSignals::EndSignals() {
    const sigset_t set = endSignals();
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    signals_ = tools::UniqueFd(::signalfd(-1, &set, SFD_CLOEXEC));
    if (!signals_.valid()) throw std::system_error(errno, std::generic_category(), "signalfd");
}

bool EndSignals::arriveWithin(Milliseconds time) const {
    pollfd entry{signals_.get(), POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace dornctl
