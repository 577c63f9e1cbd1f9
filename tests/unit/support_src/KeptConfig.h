// Changes the global configuration for a test and restores it afterwards.
//
// Ownership: stores a copy of the configuration at construction.
// Threads: the daemon reads the configuration without a lock, so call set() only while none of its
// threads runs, or before passing a packet to the thread that has to see the change.
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

    // `key`: "[SECTION] NAME".
    static void set(const std::string& key, const std::string& value) { getConfig()[key] = value; }

  private:
    const ZqConfig::Map before_;
};

}  // namespace teskd::test
