#include "support_src/LogRecorder.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "core/Log.h"

namespace teskd::test {

namespace {

struct Record {
    std::mutex mutex;
    std::vector<LogEntry> lines;  // guarded by mutex
};

// Never destroyed, because a thread may log while the process exits.
Record& record() {
    static Record* const shared = new Record;
    return *shared;
}

// Does not throw, like the real sink: if a test leaves no memory for a line, it is lost.
void keep(int priority, const char* line) {
    const std::scoped_lock lock(record().mutex);
    try {
        record().lines.push_back({priority, line});
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogEntry& entry) {
    return out << '<' << entry.priority << "> " << entry.text;
}

LogRecorder::LogRecorder() {
    clear();
}

std::vector<LogEntry> LogRecorder::lines() const {
    const std::scoped_lock lock(record().mutex);
    return record().lines;
}

std::size_t LogRecorder::count(const LogEntry& entry) const {
    const std::vector<LogEntry> all = lines();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), entry));
}

void LogRecorder::clear() {
    const std::scoped_lock lock(record().mutex);
    record().lines.clear();
}

bool LogRecorder::waitFor(const LogEntry& entry, Deadline deadline) const {
    return eventually([&] { return count(entry) > 0; }, deadline);
}

bool LogRecorder::waitForText(const std::string& part, Deadline deadline) const {
    const auto hasPart = [&](const LogEntry& entry) {
        return entry.text.find(part) != std::string::npos;
    };
    return eventually(
        [&] {
            const std::vector<LogEntry> all = lines();
            return std::any_of(all.begin(), all.end(), hasPart);
        },
        deadline);
}

void LogRecorder::install() {
    record();
    Log::setSink(keep);
}

}  // namespace teskd::test
