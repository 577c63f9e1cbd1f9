#include "core/DescriptorLimit.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/resource.h>

#include "core/Log.h"

namespace teskd {

void raiseDescriptorLimit() {
    rlimit limit{};
    bool done = ::getrlimit(RLIMIT_NOFILE, &limit) == 0;
    if (done && limit.rlim_cur == limit.rlim_max) return;
    limit.rlim_cur = limit.rlim_max;
    done = done && ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
    if (done) return;
    Log::write(Log::WARNING, "Cannot raise the limit of open files: %s", std::strerror(errno));
}

std::size_t descriptorLimit() {
    constexpr rlim_t HIGHEST = std::numeric_limits<int>::max();
    rlimit limit{};
    const bool known = ::getrlimit(RLIMIT_NOFILE, &limit) == 0;
    return known ? static_cast<std::size_t>(std::min(limit.rlim_cur, HIGHEST)) : HIGHEST;
}

}  // namespace teskd
