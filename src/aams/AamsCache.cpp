#include "aams/AamsCache.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "core/Exception.h"
#include "core/Text.h"

namespace teskd {

namespace {

// Overhead of one allocation, its rounding included: on a 32-bit machine the alignment may be four
// pointers.
constexpr std::size_t OVERHEAD = alignof(std::max_align_t);
constexpr std::size_t LIST_NODE = 2 * sizeof(void*) + OVERHEAD;  // without its element
constexpr std::size_t MAP_NODE = 4 * sizeof(void*) + OVERHEAD;

// Heap memory of a text, without the object itself.
std::size_t outside(const std::string& text) {
    return text.capacity() > std::string().capacity() ? text.capacity() + 1 + OVERHEAD : 0;
}

std::size_t memory_of_fields(const AamsCache::Reading& reading) {
    std::size_t bytes =
        outside(reading.context) + outside(reading.stamp) + outside(reading.message);
    for (const std::string& error : reading.errors) {
        bytes += LIST_NODE + sizeof(std::string) + outside(error);
    }
    return bytes;
}

}  // namespace

void AamsCache::add_reading(const std::string& code, const std::string& context,
                            const std::string& stamp, const std::string& message,
                            const std::list<std::string>& errors) {
    const SynchronizedLock lock(lock_);
    // Build the entry before changing anything: if memory runs out, the history is unchanged.
    Record added(1);
    Entry& entry = added.front();
    entry.reading = {context, stamp, message.substr(0, LONGEST_MESSAGE), errors};
    entry.bytes = LIST_NODE + sizeof entry + memory_of_fields(entry.reading);
    const auto [record, isNew] = records_.try_emplace(code);
    if (isNew) bytes_ += memory_of(*record);
    bytes_ += entry.bytes;
    entry.number = ++readings_;
    record->second.splice(record->second.begin(), added);
    if (record->second.size() > MOST_READINGS) drop_oldest_of(record);
    if (records_.size() > MOST_CODES) drop_most_silent();
    while (bytes_ > MOST_MEMORY) drop_oldest();
}

std::size_t AamsCache::memory_of(const Records::value_type& record) {
    return MAP_NODE + sizeof record + outside(record.first);
}

void AamsCache::drop_oldest_of(Records::iterator record) {
    bytes_ -= record->second.back().bytes;
    record->second.pop_back();
    if (!record->second.empty()) return;
    bytes_ -= memory_of(*record);
    records_.erase(record);
}

void AamsCache::drop_oldest() {
    drop_oldest_of(
        std::min_element(records_.begin(), records_.end(), [](const auto& a, const auto& b) {
            return a.second.back().number < b.second.back().number;
        }));
}

void AamsCache::drop_most_silent() {
    const auto silent =
        std::min_element(records_.begin(), records_.end(), [](const auto& a, const auto& b) {
            return a.second.front().number < b.second.front().number;
        });
    for (std::size_t left = silent->second.size(); left > 0; --left) drop_oldest_of(silent);
}

bool AamsCache::contains(const std::string& code) const {
    const SynchronizedLock lock(lock_);
    return records_.contains(code);
}

std::int32_t AamsCache::reading_count(const std::string& code) const {
    const SynchronizedLock lock(lock_);
    const auto found = records_.find(code);
    return found == records_.end() ? 0 : static_cast<std::int32_t>(found->second.size());
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
    for (const Entry& entry : found->second) {
        if (readings.size() == limit) break;
        readings.push_back(entry.reading);
    }
    return readings;
}

const AamsCache::Record& AamsCache::find(const std::string& code) const {
    const auto found = records_.find(code);
    if (found == records_.end()) throw UnknownCodeIdException(code);
    return found->second;
}

AamsCache::Reading AamsCache::at(const std::string& code, std::uint32_t index) const {
    const Record& record = find(code);
    const auto length = static_cast<std::uint32_t>(record.size());
    if (length < index) {
        throw OutOfBoundException(text::format("Condition not met for %s:  0 <= %d < %u",
                                               code.c_str(), static_cast<int>(index), length));
    }
    return index == length ? Reading() : std::next(record.begin(), index)->reading;
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
