// What each slot machine reported last.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "core/Synchronized.h"

namespace teskd {

// A bounded history of checked readings per machine code, newest first: context text, time stamp,
// message text and the errors that the checks found. Never written to disk.
//
// Memory is bounded, since a machine might send a new code or an endless message with every answer:
// - A message is cut at LONGEST_MESSAGE.
// - Above MOST_CODES, the code whose newest reading is the oldest is dropped.
// - Above MOST_MEMORY, the oldest readings of all machines are dropped.
// A machine whose last reading was dropped is unknown again.
//
// Owner: the Aams engine. Threads: any. Locks: its own, innermost.
// Errors: indexed reads throw UnknownCodeIdException for an unknown code and OutOfBoundException
// for an index above the number of readings; an index equal to that number reads as empty.
class AamsCache {
  public:
    static constexpr std::size_t LONGEST_MESSAGE = std::size_t{16} * 1024;    // bytes kept of one
    static constexpr std::size_t MOST_MEMORY = std::size_t{4} * 1024 * 1024;  // bytes of all
    static constexpr std::size_t MOST_CODES = 256;
    static constexpr std::size_t MOST_READINGS = 50;  // of each machine

    AamsCache() = default;
    virtual ~AamsCache() noexcept(false) = default;

    void add_reading(const std::string& code, const std::string& context, const std::string& stamp,
                     const std::string& message, const std::list<std::string>& errors);
    bool contains(const std::string& code) const;
    // 0 for an unknown code.
    std::int32_t reading_count(const std::string& code) const;
    // Every machine code, in ascending order.
    std::list<std::string> codes() const;

    // One reading as it was added.
    struct Reading {
        std::string context;
        std::string stamp;
        std::string message;
        std::list<std::string> errors;
    };
    // The newest readings of a machine, at most that many, as they stand at one moment; none for an
    // unknown code.
    std::vector<Reading> newest(const std::string& code, std::size_t limit) const;

    std::list<std::string> errors_at(const std::string& code, std::uint32_t index) const;
    std::string context_at(const std::string& code, std::uint32_t index) const;
    std::string stamp_at(const std::string& code, std::uint32_t index) const;
    std::string message_at(const std::string& code, std::uint32_t index) const;

  private:
    struct Entry {
        Reading reading;
        std::uint64_t number = 0;  // counted over all machines
        std::size_t bytes = 0;     // memory of the whole entry
    };
    using Record = std::list<Entry>;  // newest first; never empty between two operations
    using Records = std::map<std::string, Record>;

    // Bytes of a map entry, without its readings.
    static std::size_t memory_of(const Records::value_type& record);
    void drop_oldest_of(Records::iterator record) TESKD_REQUIRES(lock_);
    void drop_oldest() TESKD_REQUIRES(lock_);
    void drop_most_silent() TESKD_REQUIRES(lock_);

    const Record& find(const std::string& code) const TESKD_REQUIRES(lock_);
    Reading at(const std::string& code, std::uint32_t index) const TESKD_REQUIRES(lock_);

    Records records_ TESKD_GUARDED_BY(lock_);
    std::size_t bytes_ TESKD_GUARDED_BY(lock_) = 0;       // memory of all readings and codes
    std::uint64_t readings_ TESKD_GUARDED_BY(lock_) = 0;  // added so far
    mutable Synchronized lock_;
};

}  // namespace teskd
