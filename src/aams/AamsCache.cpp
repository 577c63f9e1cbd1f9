#include "aams/AamsCache.h"

#include <algorithm>
#include <iterator>

#include "core/Exception.h"
#include "core/Text.h"

namespace teskd {

void AamsCache::add_reading(const std::string& code, const std::string& context,
                            const std::string& stamp, const std::string& message,
                            const std::list<std::string>& errors) {
    const SynchronizedLock lock(lock_);
    // Whole before anything changes: where memory ends, the history stays as it was.
    std::list<Reading> reading{{context, stamp, message.substr(0, LONGEST_MESSAGE), errors}};
    Record& record = records_[code];
    record.bytes += reading.front().message.size();
    record.latest = ++readings_;
    record.readings.splice(record.readings.begin(), reading);
    while (record.readings.size() > capacity_ || record.bytes > LARGEST_HISTORY) {
        drop_oldest(record);
    }
    if (records_.size() > MOST_CODES) drop_most_silent();
}

void AamsCache::drop_oldest(Record& record) {
    record.bytes -= record.readings.back().message.size();
    record.readings.pop_back();
}

void AamsCache::drop_most_silent() {
    records_.erase(std::min_element(
        records_.begin(), records_.end(),
        [](const auto& a, const auto& b) { return a.second.latest < b.second.latest; }));
}

bool AamsCache::contains(const std::string& code) const {
    const SynchronizedLock lock(lock_);
    return records_.contains(code);
}

std::int32_t AamsCache::reading_count(const std::string& code) const {
    const SynchronizedLock lock(lock_);
    const auto found = records_.find(code);
    return found == records_.end() ? 0 : static_cast<std::int32_t>(found->second.readings.size());
}

std::list<std::string> AamsCache::codes() const {
    const SynchronizedLock lock(lock_);
    std::list<std::string> codes;
    for (const auto& [code, record] : records_) codes.push_back(code);
    return codes;
}

std::vector<AamsCache::Reading> AamsCache::newest(const std::string& code,
                                                  std::size_t limit) const {
    const SynchronizedLock lock(lock_);
    std::vector<Reading> readings;
    const auto found = records_.find(code);
    if (found == records_.end()) return readings;
    for (const Reading& reading : found->second.readings) {
        if (readings.size() == limit) break;
        readings.push_back(reading);
    }
    return readings;
}

const AamsCache::Record& AamsCache::find(const std::string& code) const {
    const auto found = records_.find(code);
    if (found == records_.end()) throw UnknownCodeIdException(code);
    return found->second;
}

AamsCache::Reading AamsCache::at(const std::string& code, std::uint32_t index) const {
    const std::list<Reading>& readings = find(code).readings;
    const auto length = static_cast<std::uint32_t>(readings.size());
    if (length < index) {
        throw OutOfBoundException(text::format("Condition not met for %s:  0 <= %d < %u",
                                               code.c_str(), static_cast<int>(index), length));
    }
    return index == length ? Reading() : *std::next(readings.begin(), index);
}

std::list<std::string> AamsCache::errors_at(const std::string& code, std::uint32_t index) const {
    const SynchronizedLock lock(lock_);
    return at(code, index).errors;
}

std::string AamsCache::context_at(const std::string& code, std::uint32_t index) const {
    const SynchronizedLock lock(lock_);
    return at(code, index).context;
}

std::string AamsCache::stamp_at(const std::string& code, std::uint32_t index) const {
    const SynchronizedLock lock(lock_);
    return at(code, index).stamp;
}

std::string AamsCache::message_at(const std::string& code, std::uint32_t index) const {
    const SynchronizedLock lock(lock_);
    return at(code, index).message;
}

}  // namespace teskd
