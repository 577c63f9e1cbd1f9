#include "core/LogSource.h"

#include <chrono>
#include <utility>

#include "core/Log.h"
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
    if (!take()) return false;
    StandardError::inherited().write(head, text);
    return true;
}

void LogSource::report() {
    reportDropped(takeDropped(true));
}

bool LogSource::hasUnreported() const {
    const SynchronizedLock lock(lock_);
    return dropped_ > 0;
}

bool LogSource::write(int priority, const char* format, std::va_list arguments) {
    if (!take()) return false;
    Log::vwrite(priority, format, arguments);
    return true;
}

bool LogSource::take() {
    if (most_ == UNLIMITED) return true;
    unsigned long before = 0;
    {
        const SynchronizedLock lock(lock_);
        if (secondEnd_.hasPassed()) {
            secondEnd_ = Deadline::after(SECOND);
            lines_ = 0;
        }
        if (lines_ >= most_) {
            ++dropped_;
            return false;
        }
        if (lines_++ == 0) before = std::exchange(dropped_, 0);
    }
    reportDropped(before);
    return parent_ == nullptr || parent_->take();
}

unsigned long LogSource::takeDropped(bool secondIsOver) {
    const SynchronizedLock lock(lock_);
    if (secondIsOver && !secondEnd_.hasPassed()) return 0;
    return std::exchange(dropped_, 0);
}

// The line with the count is one of the parent's lines too. If the parent's budget is spent, the
// parent takes over the count, so that no dropped line goes uncounted.
void LogSource::reportDropped(unsigned long dropped) {
    if (dropped == 0) return;
    if (parent_ != nullptr && !parent_->take()) {
        parent_->addDropped(dropped - 1);  // take() has counted one
        return;
    }
    Log::write(Log::NOTICE, "%lu more %s were not logged", dropped, kind_);
}

void LogSource::addDropped(unsigned long lines) {
    const SynchronizedLock lock(lock_);
    dropped_ += lines;
}

}  // namespace teskd
