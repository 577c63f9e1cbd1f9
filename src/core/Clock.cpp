#include "core/Clock.h"

#include <chrono>
#include <sys/time.h>

namespace teskd {

namespace {

using SteadyClock = std::chrono::steady_clock;

class SystemClock final : public Clock {
  public:
    std::int64_t now() override {
        timeval time{};
        gettimeofday(&time, nullptr);
        return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec;
    }

    std::int64_t steady() override {
        using std::chrono::duration_cast, std::chrono::microseconds;
        return duration_cast<microseconds>(SteadyClock::now().time_since_epoch()).count();
    }

    bool wait(Synchronized& held, std::int64_t microseconds) override TESKD_REQUIRES(held) {
        return held.waitLocked(microseconds);
    }
};

}  // namespace

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}

}  // namespace teskd
