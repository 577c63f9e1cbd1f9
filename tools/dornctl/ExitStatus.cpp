#include "dornctl/ExitStatus.h"

namespace dornctl {

const char* nameOf(ExitStatus status) {
    constexpr const char* kNames[] = {"success",         "failure",   "bad-arguments",
                                      "unknown-machine", "timed-out", "request-failed",
                                      "no-connection",   "refused"};
    return kNames[static_cast<int>(status)];
}

}  // namespace dornctl
