#include "dornctl/Now.h"

#include <ctime>

namespace dornctl {

namespace {

std::string now(const char* format) {
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&time, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &local)};
}

}  // namespace

std::string nowStamp() {
    return now("%y%m%d%H%M%S");
}

std::string nowText() {
    return now("%Y-%m-%d %H:%M:%S");
}

}  // namespace dornctl
