// Process entry: command line, enable switch, system log, signals, start and stop of the workers.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <string>
#include <unistd.h>

#include "aams/Aams.h"
#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/Exception.h"
#include "core/FreedMemory.h"
#include "core/Log.h"
#include "core/StandardError.h"
#include "core/SystemPath.h"
#include "core/app/AppObjects.h"
#include "dorn/DornDeamon.h"
#include "dorn/DornNotify.h"

namespace {

using namespace teskd;

constexpr int FAILURE = -1;  // exit status 255

// Whether log lines also go to standard error. Prints the usage and exits for any other argument.
bool wantsDebug(int argc, char* argv[]) {
    if (argc < 2) return false;
    if (std::strcmp(argv[1], "--debug") == 0) return true;
    std::printf("usage: %s [--debug]", argv[0]);
    std::fflush(stdout);
    std::exit(FAILURE);
}

// The signal mask that the process was started with.
sigset_t maskBefore;

sigset_t termination() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    return signals;
}

// Ends the process by a signal, so that it is restarted. The library's own handler writes to
// standard error, and would block for ever if nobody reads it.
[[noreturn]] void endAbnormally() {
    if (std::current_exception() != nullptr) {
        attemptOr([] { throw; },
                  [](const Exception& e) {
                      Log::write(Log::ERROR, "The daemon cannot go on: %s", e.text());
                  });
    }
    std::abort();
}

// Makes a write beyond the limit of file sizes fail with EFBIG instead of ending the process. A
// handler rather than SIG_IGN, which a program that the process becomes would inherit.
void surviveSizeLimit() {
    std::signal(SIGXFSZ, [](int) {});
}

// Runs before every other initialisation, which takes a while (configuration, the objects). SIGTERM
// is blocked, so that it stays pending until main waits for it and ends the process orderly from
// the first moment on. Every thread started afterwards inherits the mask, so only the main thread's
// sigwait receives the signal.
[[gnu::constructor(101)]] void prepareEnds() {
    std::set_terminate(endAbnormally);
    surviveSizeLimit();
    const sigset_t signals = termination();
    sigprocmask(SIG_BLOCK, &signals, &maskBefore);
}

// Restores the signal mask for the other program; a pending SIGTERM ends the process here. Standard
// error gets the reason, since the log is not open.
[[noreturn]] void becomeNotRunning(const char* name) {
    StandardError::inherited().write("teskd is disabled: ", ZqConfig::why_disabled());
    sigprocmask(SIG_SETMASK, &maskBefore, nullptr);
    const std::string program = systemPath("/usr/bin/notrunning");
    execl(program.c_str(), name, nullptr);
    StandardError::inherited().write("teskd cannot become ", program + ": " + std::strerror(errno));
    std::exit(FAILURE);
}

// Retries every second until the worker has started, since the daemon cannot work without it. False
// if SIGTERM arrived meanwhile.
bool startWorker(Thread& worker) {
    constexpr timespec PAUSE{1, 0};
    const sigset_t signals = termination();
    for (;;) {
        const int result = worker.start();
        if (result == 0) return true;
        Log::write(Log::ERROR, "Cannot start thread '%s': %s", worker.getName().c_str(),
                   std::strerror(result));
        if (sigtimedwait(&signals, nullptr, &PAUSE) == SIGTERM) return false;
    }
}

bool startWorkers() {
    return startWorker(getDornDeamon()) && startWorker(getAams()) && startWorker(getDornNotify());
}

void awaitTermination() {
    const sigset_t signals = termination();
    int received = 0;
    while (received != SIGTERM) {
        if (sigwait(&signals, &received) >= 0) continue;
        Log::write(Log::ERROR, "%s", std::strerror(errno));
        received = SIGTERM;
    }
}

void stopWorkers() {
    getAams().stop();
    getDornDeamon().stop();
    getDornNotify().stop();
    sleep(1);
    getAams().join();
    getDornDeamon().join();
    getDornNotify().join();
}

}  // namespace

// Exceptions of other classes are not caught here and end the process (endAbnormally).
int main(int argc, char* argv[]) {
    try {
        const bool debug = wantsDebug(argc, argv);
        if (!ZqConfig::is_tesk_enabled()) becomeNotRunning(argv[0]);
        attempt("The log cannot be opened", [&] { Log::open(argv[0], debug); });
        limitFreedMemory();
        if (startWorkers()) awaitTermination();
        stopWorkers();
    } catch (const Exception& e) {
        Log::write(Log::ERROR, "%s", e.text());
    }
    Log::close();
    return 0;
}
