// The seam between the daemon and the machine's clock as something that can be set.
#pragma once

#include <ctime>

namespace teskd {

// Sets the date of the machine, which needs privilege.
//
// Threads: set() from any thread; replace() only while no other thread uses the class (tests).
class SystemDate {
  public:
    // Returns 0, or -1 with errno set.
    using Setter = int (*)(std::time_t seconds);

    static int set(std::time_t seconds);
    // Puts another setter in place of the machine's; null restores it.
    static void replace(Setter setter);

  private:
    static Setter setter_;
};

}  // namespace teskd
