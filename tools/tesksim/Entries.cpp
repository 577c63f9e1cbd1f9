#include "tesksim/Entries.h"

#include <cstdio>
#include <functional>

namespace tesksim {

namespace {

constexpr std::size_t kNames = 1000;
constexpr std::size_t kMinutes = 60;
constexpr std::size_t kHours = 24;
constexpr std::size_t kDigits = 10;

using Format = std::function<int(char* text, std::size_t size, std::size_t n)>;

std::string list(std::size_t count, const Format& format) {
    std::string body;
    for (std::size_t n = 1; n <= count; ++n) {
        char entry[64];
        format(entry, sizeof entry, n);
        body += (n == 1 ? "" : "~") + std::string(entry);
    }
    return body;
}

}  // namespace

std::string numberedEntries(std::size_t count) {
    return list(count, [](char* text, std::size_t size, std::size_t n) {
        return std::snprintf(text, size, "EVENT%03zu~01=%zu!02=%zu", n % kNames, n, n * n);
    });
}

std::string timedEntries(std::size_t count) {
    return list(count, [](char* text, std::size_t size, std::size_t n) {
        return std::snprintf(text, size, "EVENT%03zu~%02zu:%02zu:%zu", n % kNames,
                             n / kMinutes % kHours, n % kMinutes, n % kDigits);
    });
}

}  // namespace tesksim
