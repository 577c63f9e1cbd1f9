#include "config/SystemDate.h"

namespace teskd {

namespace {

int setMachineClock(std::time_t seconds) {
    timespec time{};
    time.tv_sec = seconds;
    return clock_settime(CLOCK_REALTIME, &time);
}

}  // namespace

SystemDate::Setter SystemDate::setter_ = setMachineClock;

int SystemDate::set(std::time_t seconds) {
    return setter_(seconds);
}

void SystemDate::replace(Setter setter) {
    setter_ = setter == nullptr ? setMachineClock : setter;
}

}  // namespace teskd
