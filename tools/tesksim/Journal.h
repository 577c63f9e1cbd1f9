// A record of what a simulated machine has received and sent, with operations that wait for events.
//
// Ownership: belongs to its machine. Records stay until clear(), also across reconnections. Above
// the limits below the oldest are dropped, but still counted.
// Threads: every operation may be called from any thread; one lock guards all records.
// Errors: the wait operations return no value, or false, after the time-out.

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tesksim/Message.h"
#include "tesksim/TelnetServer.h"

namespace tesksim {

class Journal {
  public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;
    static constexpr Milliseconds kPatience{30000};
    // Bytes kept of each text: at most this many, and at least half as many once they were reached.
    static constexpr std::size_t kMostText = std::size_t{1024} * 1024;
    // Limits of the messages and line settings that are kept.
    static constexpr std::size_t kMostMessages = 10000;
    static constexpr std::size_t kMostMessageBytes = std::size_t{1024} * 1024;
    static constexpr std::size_t kMostSettings = 10000;

    // Called by the machine.
    void connected();
    void disconnected();
    void received(std::string_view raw);
    void data(std::string_view bytes);
    void message(const Message& message);
    void setting(const LineSetting& setting);
    void sent(std::string_view raw);

    // Records so far.
    std::string rawReceived() const;   // with all telnet bytes
    std::string dataReceived() const;  // without telnet bytes
    std::string rawSent() const;
    std::vector<Message> requests() const;
    std::vector<Message> acknowledgements() const;
    std::vector<Message> messages() const;  // requests and acknowledgements, in order
    std::vector<LineSetting> settings() const;
    Line line() const;
    // Counts, including dropped records.
    std::size_t requestCount() const;
    std::size_t acknowledgementCount() const;
    std::size_t connections() const;  // accepted so far
    bool isConnected() const;
    void clear();

    // Wait for an event; `nth` counts from 1. A dropped record is no longer found.
    std::optional<Message> waitForRequest(int id, std::size_t nth = 1,
                                          Milliseconds timeout = kPatience) const;
    bool waitForRequests(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForAcknowledgements(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForSettings(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForConnections(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForDisconnection(Milliseconds timeout = kPatience) const;
    // Waits until the received data contains these bytes.
    bool waitForData(std::string_view part, Milliseconds timeout = kPatience) const;

  private:
    template <typename Change>
    void change(Change&& apply);
    template <typename Value>
    Value read(const Value& member) const;
    template <typename Condition>
    bool wait(Milliseconds timeout, Condition&& condition) const;
    std::vector<Message> select(bool acknowledgements) const;
    const Message* findRequest(int id, std::size_t nth) const;
    void dropOldMessages();

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    // All guarded by mutex_.
    std::string raw_;
    std::string data_;
    std::string sent_;
    std::deque<Message> messages_;
    std::size_t messageBytes_ = 0;
    std::size_t requests_ = 0;
    std::size_t acknowledgements_ = 0;
    std::map<int, std::size_t> droppedRequests_;  // by ID
    std::deque<LineSetting> settings_;
    std::size_t settingCount_ = 0;
    Line line_;
    std::size_t connections_ = 0;
    bool connected_ = false;
};

}  // namespace tesksim
