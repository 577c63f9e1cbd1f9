#include "dornctl/Now.h"

#include <ctime>
#include <mutex>
#include <optional>
#include <regex>

namespace dornctl {

namespace {

constexpr int kCentury = 100;  // 2000, counted from 1900

// Guards the C library's time zone, which all threads share and any conversion may reload.
std::mutex zone;

std::tm localNow() {
    const std::lock_guard lock(zone);
    const std::time_t time = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&time, &local);
    return local;
}

std::string text(const std::tm& time, const char* format) {
    const std::lock_guard lock(zone);
    char buffer[32];
    return {buffer, std::strftime(buffer, sizeof buffer, format, &time)};
}

std::time_t secondsOf(std::tm& local) {
    const std::lock_guard lock(zone);
    return std::mktime(&local);
}

// strftime writes the zone as "+hhmm".
std::string iso(const std::tm& time) {
    std::string result = text(time, "%Y-%m-%dT%H:%M:%S%z");
    return result.insert(result.size() - 2, ":");
}

// The time in this process's time zone; no value unless the text is a stamp.
std::optional<std::tm> timeOf(const std::string& stamp) {
    static const std::regex form("[0-9]{12}");
    if (!std::regex_match(stamp, form)) return {};
    const auto pair = [&](std::size_t index) { return std::stoi(stamp.substr(index * 2, 2)); };
    std::tm time{};
    time.tm_year = kCentury + pair(0);
    time.tm_mon = pair(1) - 1;
    time.tm_mday = pair(2);
    time.tm_hour = pair(3);
    time.tm_min = pair(4);
    time.tm_sec = pair(5);
    time.tm_isdst = -1;
    return secondsOf(time) == -1 ? std::nullopt : std::optional(time);
}

}  // namespace

std::string nowStamp() {
    return text(localNow(), "%y%m%d%H%M%S");
}

std::string nowText() {
    return text(localNow(), "%Y-%m-%d %H:%M:%S");
}

std::string nowIso() {
    return iso(localNow());
}

std::string isoStamp(const std::string& stamp) {
    const std::optional<std::tm> time = timeOf(stamp);
    return time ? iso(*time) : stamp;
}

double secondsBetween(const std::string& first, const std::string& second) {
    std::optional<std::tm> from = timeOf(first);
    std::optional<std::tm> to = timeOf(second);
    return from && to ? std::difftime(secondsOf(*to), secondsOf(*from)) : 0;
}

std::string isoDate(const std::string& date) {
    static const std::regex form("([0-9]{2})\\.([0-9]{2})\\.([0-9]{2})");
    return std::regex_replace(date, form, "20$3-$2-$1");
}

}  // namespace dornctl
