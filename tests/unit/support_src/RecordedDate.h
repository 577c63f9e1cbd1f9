// What the code under test would have set the machine's clock to. The clock itself is never
// touched.
//
// Ownership: the requests belong to the process; a RecordedDate is a view that starts empty.
// Threads: every operation may be called from any thread. One object at a time.
// Errors: nothing throws.

#pragma once

#include <ctime>
#include <vector>

namespace teskd::test {

class RecordedDate {
  public:
    // Forgets earlier requests and failures.
    RecordedDate();
    ~RecordedDate();
    RecordedDate(const RecordedDate&) = delete;
    RecordedDate& operator=(const RecordedDate&) = delete;

    // Every date asked for, refused ones included.
    std::vector<std::time_t> requests() const;
    // Refuses every request from now on with this error number; 0 grants them again.
    void failWith(int error);

    // Puts the recorder in the place of the machine's clock. Once, before anything sets a date.
    static void install();
};

}  // namespace teskd::test
