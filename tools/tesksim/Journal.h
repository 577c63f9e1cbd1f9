// What a simulated machine has received and sent, with waiting for what is to come.
//
// Ownership: belongs to its machine. Records stay until clear(), over reconnections too, but of a
// machine that runs for long the oldest are dropped. They count all the same.
// Threads: every operation may be called from any thread; one lock guards all records.
// Errors: the wait operations return no value, or false, when the time is over.

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
    // Of each text between half as many bytes and so many are kept.
    static constexpr std::size_t kMostText = std::size_t{1024} * 1024;
    // So many messages, of so many bytes together, and line settings are kept.
    static constexpr std::size_t kMostMessages = 10000;
    static constexpr std::size_t kMostMessageBytes = std::size_t{1024} * 1024;
    static constexpr std::size_t kMostSettings = 10000;

    // For the machine.
    void connected();
    void disconnected();
    void received(std::string_view raw);
    void data(std::string_view bytes);
    void message(const Message& message);
    void setting(const LineSetting& setting);
    void sent(std::string_view raw);

    // Records so far.
    std::string rawReceived() const;   // with all telnet bytes
    std::string dataReceived() const;  // without them
    std::string rawSent() const;
    std::vector<Message> requests() const;
    std::vector<Message> acknowledgements() const;
    std::vector<Message> messages() const;  // both kinds, in the order they came
    std::vector<LineSetting> settings() const;
    Line line() const;
    // How many there were, dropped ones included.
    std::size_t requestCount() const;
    std::size_t acknowledgementCount() const;
    std::size_t connections() const;  // accepted so far
    bool isConnected() const;
    void clear();

    // Waiting; `nth` counts from 1. One that was dropped does not come any more.
    std::optional<Message> waitForRequest(int id, std::size_t nth = 1,
                                          Milliseconds timeout = kPatience) const;
    bool waitForRequests(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForAcknowledgements(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForSettings(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForConnections(std::size_t count, Milliseconds timeout = kPatience) const;
    bool waitForDisconnection(Milliseconds timeout = kPatience) const;
    // Until the data received contains these bytes.
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
    std::map<int, std::size_t> droppedRequests_;  // by their IDs
    std::deque<LineSetting> settings_;
    std::size_t settingCount_ = 0;
    Line line_;
    std::size_t connections_ = 0;
    bool connected_ = false;
};

}  // namespace tesksim
