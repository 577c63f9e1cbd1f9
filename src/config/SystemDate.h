// Sets the machine's clock, by a function that tests can replace.
#pragma once

#include <ctime>

namespace teskd {

// Sets the date of the machine, which needs privileges.
//
// Threads: set() from any thread; replace() only while no other thread uses the class (tests).
class SystemDate {
  public:
    // Returns 0, or -1 with errno set.
    using Setter = int (*)(std::time_t seconds);

    static int set(std::time_t seconds);
    // Replaces the function that sets the machine's clock; null restores it.
    static void replace(Setter setter);

  private:
    static Setter setter_;
};

}  // namespace teskd
