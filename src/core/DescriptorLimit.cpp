#include "core/DescriptorLimit.h"

#include <cerrno>
#include <cstring>
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

}  // namespace teskd
