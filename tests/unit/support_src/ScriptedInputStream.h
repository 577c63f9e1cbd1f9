// An input stream with a script of bytes, pauses and time-outs.
//
// Ownership: plain values. Threads: one at a time. Errors: SocketTimeoutException where the script
// has a TimeOut.

#pragma once

#include <algorithm>
#include <deque>
#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

#include "core/Exception.h"
#include "net/InputStream.h"

namespace teskd::test {

// No more bytes are available; a read waits, and then gets the next ones.
struct Pause {};
// The next read fails with a time-out, once.
struct TimeOut {};

class ScriptedInputStream : public InputStream {
  public:
    using Event = std::variant<std::string, Pause, TimeOut>;

    ScriptedInputStream(std::initializer_list<Event> script) : script_(script) {}
    explicit ScriptedInputStream(std::vector<Event> script)
        : script_(script.begin(), script.end()) {}

    unsigned available() override {
        std::size_t count = 0;
        for (const Event& event : script_) {
            const auto* const chunk = std::get_if<std::string>(&event);
            if (chunk == nullptr) break;
            count += chunk->size();
        }
        return static_cast<unsigned>(count);
    }
    void close() override { closed = true; }
    int read() override {
        char byte = 0;
        return read(&byte, 1) < 1 ? -1 : static_cast<unsigned char>(byte);
    }
    // Reads one chunk, or its beginning.
    int read(char* buffer, int len) override {
        requests.push_back(len);
        while (!script_.empty() && std::holds_alternative<Pause>(script_.front())) {
            script_.pop_front();
        }
        if (script_.empty()) return -1;
        if (std::holds_alternative<TimeOut>(script_.front())) {
            script_.pop_front();
            throw SocketTimeoutException("scripted");
        }
        auto& chunk = std::get<std::string>(script_.front());
        const std::size_t n = std::min(chunk.size(), static_cast<std::size_t>(len));
        std::copy_n(chunk.data(), n, buffer);
        chunk.erase(0, n);
        if (chunk.empty()) script_.pop_front();
        return static_cast<int>(n);
    }
    void setTimeout(int milliseconds) override { timeouts.push_back(milliseconds); }
    int getTimeout() override { return timeouts.empty() ? 0 : timeouts.back(); }

    // Calls of the stream.
    bool closed = false;
    std::vector<int> requests;  // the len of every read
    std::vector<int> timeouts;

  private:
    std::deque<Event> script_;
};

}  // namespace teskd::test
