#include "core/Log.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <syslog.h>

#include "core/SystemLog.h"
#include "core/Text.h"

namespace teskd {

static_assert(Log::ERROR == (LOG_LOCAL6 | LOG_ERR) && Log::WARNING == (LOG_LOCAL6 | LOG_WARNING) &&
              Log::NOTICE == (LOG_LOCAL6 | LOG_NOTICE) && Log::INFO == (LOG_LOCAL6 | LOG_INFO) &&
              Log::DEBUG == (LOG_LOCAL6 | LOG_DEBUG));

namespace {

constexpr std::size_t USUAL_SIZE = 512;  // lines of less are formatted without memory

// Never destroyed: threads and destructors log until the process is gone.
SystemLog& systemLog() {
    static SystemLog& log = *new SystemLog("/dev/log");
    return log;
}

void toSystemLog(int priority, const char* line) {
    systemLog().write(priority, line);
}

}  // namespace

Log::Sink Log::sink_ = toSystemLog;

void Log::open(const char* identity, bool copies) {
    systemLog().open(identity, copies);
}

void Log::close() {
    systemLog().close();
}

void Log::write(int priority, const char* format, ...) {
    char line[USUAL_SIZE];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < sizeof line) {
        sink_(priority, line);
        return;
    }
    va_start(arguments, format);
    writeLong(priority, format, arguments);
    va_end(arguments);
}

void Log::writeLong(int priority, const char* format, std::va_list arguments) {
    try {
        sink_(priority, text::vformat(format, arguments).c_str());
    } catch (const std::exception&) {
        sink_(priority, format);  // out of memory: the bare words are better than nothing
    }
}

void Log::setSink(Sink sink) {
    sink_ = sink == nullptr ? toSystemLog : sink;
}

}  // namespace teskd
