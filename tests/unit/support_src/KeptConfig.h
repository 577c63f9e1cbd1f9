// The one configuration store, edited for a test and put back afterwards.
//
// Ownership: remembers the store as it was at construction.
// Threads: the daemon reads the store without a lock, so set() only while no thread of it runs, or
// before a packet is handed to the thread that is to see the change.
// Errors: nothing throws.

#pragma once

#include <string>

#include "config/ZqConfig.h"

namespace teskd::test {

class KeptConfig {
  public:
    KeptConfig() : before_(getConfig()) {}
    ~KeptConfig() { static_cast<ZqConfig::Map&>(getConfig()) = before_; }
    KeptConfig(const KeptConfig&) = delete;
    KeptConfig& operator=(const KeptConfig&) = delete;

    // The key as the store has it: "[SECTION] NAME".
    static void set(const std::string& key, const std::string& value) { getConfig()[key] = value; }

  private:
    const ZqConfig::Map before_;
};

}  // namespace teskd::test
