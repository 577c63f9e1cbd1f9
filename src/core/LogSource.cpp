#include "core/LogSource.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "core/StandardError.h"

namespace teskd {

namespace {

constexpr std::chrono::seconds SECOND(1);

}  // namespace

LogSource::~LogSource() noexcept(false) {
    reportDropped(takeDropped(false));
}

// Never destroyed, because threads and destructors log until the process ends.
LogSource& LogSource::unlimited() {
    static LogSource& source = *new LogSource(UNLIMITED);
    return source;
}

bool LogSource::warning(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool written = write(Log::WARNING, format, arguments);
    va_end(arguments);
    return written;
}

bool LogSource::notice(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool written = write(Log::NOTICE, format, arguments);
    va_end(arguments);
    return written;
}

bool LogSource::info(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool written = write(Log::INFO, format, arguments);
    va_end(arguments);
    return written;
}

bool LogSource::debug(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool written = write(Log::DEBUG, format, arguments);
    va_end(arguments);
    return written;
}

bool LogSource::standardError(std::string_view head, std::string_view text) {
    if (!take(Log::NOTICE)) return false;
    StandardError::inherited().write(head, text);
    return true;
}

void LogSource::report() {
    reportDropped(takeDropped(true));
}

bool LogSource::hasUnreported() const {
    const SynchronizedLock lock(lock_);
    return dropped_.lines > 0;
}

bool LogSource::write(int priority, const char* format, std::va_list arguments) {
    if (!take(priority)) return false;
    Log::vwrite(priority, format, arguments);
    return true;
}

bool LogSource::take(int priority) {
    if (most_ == UNLIMITED) return true;
    Dropped before;
    {
        const SynchronizedLock lock(lock_);
        if (secondEnd_.hasPassed()) {
            secondEnd_ = Deadline::after(SECOND);
            lines_ = 0;
        }
        if (lines_ >= most_) {
            ++dropped_.lines;
            dropped_.priority = std::min(dropped_.priority, priority);
            return false;
        }
        if (lines_++ == 0) before = std::exchange(dropped_, {});
    }
    reportDropped(before);
    return parent_ == nullptr || parent_->take(priority);
}

LogSource::Dropped LogSource::takeDropped(bool secondIsOver) {
    const SynchronizedLock lock(lock_);
    if (secondIsOver && !secondEnd_.hasPassed()) return {};
    return std::exchange(dropped_, {});
}

// The line with the count is one of the parent's lines too. If the parent's budget is spent, the
// parent takes over the count, so that no dropped line goes uncounted.
void LogSource::reportDropped(const Dropped& dropped) {
    if (dropped.lines == 0) return;
    if (parent_ != nullptr && !parent_->take(dropped.priority)) {
        parent_->addDropped({dropped.lines - 1, dropped.priority});  // take() has counted one
        return;
    }
    Log::writeUnlimited(dropped.priority, "%lu more %s were not logged", dropped.lines, kind_);
}

void LogSource::addDropped(const Dropped& dropped) {
    const SynchronizedLock lock(lock_);
    dropped_.lines += dropped.lines;
    dropped_.priority = std::min(dropped_.priority, dropped.priority);
}

}  // namespace teskd
