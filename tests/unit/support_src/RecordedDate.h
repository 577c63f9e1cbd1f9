// Records the dates to which the code under test would set the system clock, which is never
// changed.
//
// Ownership: the requests are global; a RecordedDate is a view that starts empty.
// Threads: every operation may be called from any thread. One object at a time.
// Errors: nothing throws.

#pragma once

#include <ctime>
#include <vector>

namespace teskd::test {

class RecordedDate {
  public:
    // Removes earlier requests and failures.
    RecordedDate();
    ~RecordedDate();
    RecordedDate(const RecordedDate&) = delete;
    RecordedDate& operator=(const RecordedDate&) = delete;

    // All requested dates, including refused ones.
    std::vector<std::time_t> requests() const;
    // Lets all further requests fail with this error number; 0 lets them succeed.
    void failWith(int error);

    // Replaces the function that sets the clock. Call once, before anything sets a date.
    static void install();
};

}  // namespace teskd::test
