// Keeps every fuzzer away from the machine: log lines are formatted and dropped, and the daemon's
// files lie in a directory that does not exist unless the fuzzer names another.

#include <cstdlib>

#include "core/Log.h"

namespace {

struct Quiet {
    Quiet() {
        ::setenv("TESKD_ROOT", "/nonexistent", 0);
        teskd::Log::setSink([](int, const char*) {});
    }
};

const Quiet quiet;

}  // namespace
