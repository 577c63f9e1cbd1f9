#include "support_src/RecordedDate.h"

#include <cerrno>
#include <mutex>

#include "config/SystemDate.h"

namespace teskd::test {

namespace {

struct Record {
    std::mutex mutex;
    std::vector<std::time_t> requests;  // guarded by mutex
    int error = 0;                      // guarded by mutex
};

Record& record() {
    static Record* const shared = new Record;
    return *shared;
}

int keep(std::time_t seconds) {
    const std::scoped_lock lock(record().mutex);
    record().requests.push_back(seconds);
    if (record().error == 0) return 0;
    errno = record().error;
    return -1;
}

void reset() {
    const std::scoped_lock lock(record().mutex);
    record().requests.clear();
    record().error = 0;
}

}  // namespace

RecordedDate::RecordedDate() {
    reset();
}

RecordedDate::~RecordedDate() {
    reset();
}

std::vector<std::time_t> RecordedDate::requests() const {
    const std::scoped_lock lock(record().mutex);
    return record().requests;
}

void RecordedDate::failWith(int error) {
    const std::scoped_lock lock(record().mutex);
    record().error = error;
}

void RecordedDate::install() {
    record();
    SystemDate::replace(keep);
}

}  // namespace teskd::test
