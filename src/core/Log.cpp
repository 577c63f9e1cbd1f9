#include "core/Log.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <syslog.h>

#include "core/LogSource.h"
#include "core/SystemLog.h"
#include "core/Text.h"

namespace teskd {

static_assert(Log::ERROR == (LOG_LOCAL6 | LOG_ERR) && Log::WARNING == (LOG_LOCAL6 | LOG_WARNING) &&
              Log::NOTICE == (LOG_LOCAL6 | LOG_NOTICE) && Log::INFO == (LOG_LOCAL6 | LOG_INFO) &&
              Log::DEBUG == (LOG_LOCAL6 | LOG_DEBUG));

namespace {

constexpr std::size_t USUAL_SIZE = 512;  // shorter lines are formatted without allocating

// The system log, and the source of all debug lines.
struct Target {
    SystemLog log{"/dev/log"};
    LogSource debugLines{Log::DEBUG_LINES_PER_SECOND, "debug lines"};
};

// Never destroyed, because threads and destructors log until the process ends.
Target& target() {
    static Target& target = *new Target;
    return target;
}

void toSystemLog(int priority, const char* line) {
    target().log.write(priority, line);
}

}  // namespace

Log::Sink Log::sink_ = toSystemLog;

void Log::open(const char* identity, bool copies) {
    target().log.open(identity, copies);
}

void Log::close() {
    target().log.close();
}

void Log::write(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    vwrite(priority, format, arguments);
    va_end(arguments);
}

void Log::vwrite(int priority, const char* format, std::va_list arguments) {
    if (sink_ == toSystemLog && !mayWrite(priority)) return;
    vwriteUnlimited(priority, format, arguments);
}

void Log::writeUnlimited(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    vwriteUnlimited(priority, format, arguments);
    va_end(arguments);
}

void Log::vwriteUnlimited(int priority, const char* format, std::va_list arguments) {
    char line[USUAL_SIZE];
    std::va_list copy;
    va_copy(copy, arguments);
    const int length = std::vsnprintf(line, sizeof line, format, copy);
    va_end(copy);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof line) {
        return writeLong(priority, format, arguments);
    }
    sink_(priority, line);
}

// Only debug lines are limited here. Every other line first reports the debug lines that were
// dropped in an earlier second.
bool Log::mayWrite(int priority) {
    if (priority == DEBUG) return target().debugLines.take(DEBUG);
    target().debugLines.report();
    return true;
}

void Log::writeLong(int priority, const char* format, std::va_list arguments) {
    try {
        sink_(priority, text::vformat(format, arguments).c_str());
    } catch (const std::exception&) {
        sink_(priority, format);  // out of memory: write the format without its arguments
    }
}

void Log::setSink(Sink sink) {
    sink_ = sink == nullptr ? toSystemLog : sink;
}

}  // namespace teskd
