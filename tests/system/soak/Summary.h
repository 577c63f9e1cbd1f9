// What a soak has done so far, counted by kind, and printed at its end.
//
// Ownership: the soak's; everybody refers to it. Threads: every operation from any thread; one
// lock. Errors: none.

#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

namespace teskd::soak {

class Summary {
  public:
    void count(const std::string& group, const std::string& kind, std::size_t times = 1);
    // Keeps the highest value.
    void highest(const std::string& what, std::size_t value);
    std::size_t total(const std::string& group) const;
    void print(std::ostream& out) const;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, std::map<std::string, std::size_t>> counts_;  // guarded by mutex_
    std::map<std::string, std::size_t> highest_;                        // guarded by mutex_
};

}  // namespace teskd::soak
