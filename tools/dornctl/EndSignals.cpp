#include "dornctl/EndSignals.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/signalfd.h>
#include <system_error>

namespace dornctl {

EndSignals::EndSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signals_ = teskhost::Descriptor(::signalfd(-1, &set, SFD_CLOEXEC));
    if (!signals_.valid()) throw std::system_error(errno, std::generic_category(), "signalfd");
}

bool EndSignals::arriveWithin(Milliseconds time) const {
    pollfd entry{signals_.get(), POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace dornctl
