#include "tesksim/Journal.h"

namespace tesksim {

namespace {

void append(std::string& text, std::string_view more) {
    text += more;
    if (text.size() > Journal::kMostText) text.erase(0, text.size() - Journal::kMostText / 2);
}

template <typename Item>
std::vector<Item> listOf(const std::deque<Item>& items) {
    return {items.begin(), items.end()};
}

}  // namespace

template <typename Change>
void Journal::change(Change&& apply) {
    {
        const std::lock_guard lock(mutex_);
        apply();
    }
    changed_.notify_all();
}

template <typename Value>
Value Journal::read(const Value& member) const {
    const std::lock_guard lock(mutex_);
    return member;
}

template <typename Condition>
bool Journal::wait(Milliseconds timeout, Condition&& condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_until(lock, Clock::now() + timeout, condition);
}

void Journal::connected() {
    change([this] {
        ++connections_;
        connected_ = true;
    });
}

void Journal::disconnected() {
    change([this] { connected_ = false; });
}

void Journal::received(std::string_view raw) {
    change([&] { append(raw_, raw); });
}

void Journal::data(std::string_view bytes) {
    change([&] { append(data_, bytes); });
}

void Journal::message(const Message& message) {
    change([&] {
        messages_.push_back(message);
        messageBytes_ += message.raw.size();
        ++(message.isAcknowledgement() ? acknowledgements_ : requests_);
        dropOldMessages();
    });
}

// Keeps the latest message, whatever its size.
void Journal::dropOldMessages() {
    while (messages_.size() > 1 &&
           (messages_.size() > kMostMessages || messageBytes_ > kMostMessageBytes)) {
        const Message& oldest = messages_.front();
        if (!oldest.isAcknowledgement()) ++droppedRequests_[oldest.id];
        messageBytes_ -= oldest.raw.size();
        messages_.pop_front();
    }
}

void Journal::setting(const LineSetting& setting) {
    change([&] {
        settings_.push_back(setting);
        if (settings_.size() > kMostSettings) settings_.pop_front();
        ++settingCount_;
        apply(setting, line_);
    });
}

void Journal::sent(std::string_view raw) {
    change([&] { append(sent_, raw); });
}

std::string Journal::rawReceived() const {
    return read(raw_);
}
std::string Journal::dataReceived() const {
    return read(data_);
}
std::string Journal::rawSent() const {
    return read(sent_);
}
std::vector<Message> Journal::messages() const {
    return listOf(read(messages_));
}
std::vector<LineSetting> Journal::settings() const {
    return listOf(read(settings_));
}
Line Journal::line() const {
    return read(line_);
}
std::size_t Journal::requestCount() const {
    return read(requests_);
}
std::size_t Journal::acknowledgementCount() const {
    return read(acknowledgements_);
}
std::size_t Journal::connections() const {
    return read(connections_);
}
bool Journal::isConnected() const {
    return read(connected_);
}
std::vector<Message> Journal::requests() const {
    return select(false);
}
std::vector<Message> Journal::acknowledgements() const {
    return select(true);
}

void Journal::clear() {
    change([this] {
        raw_.clear();
        data_.clear();
        sent_.clear();
        messages_.clear();
        messageBytes_ = 0;
        requests_ = 0;
        acknowledgements_ = 0;
        droppedRequests_.clear();
        settings_.clear();
        settingCount_ = 0;
        line_ = {};
        connections_ = connected_ ? 1 : 0;
    });
}

std::vector<Message> Journal::select(bool acknowledgements) const {
    const std::lock_guard lock(mutex_);
    std::vector<Message> result;
    for (const Message& message : messages_) {
        if (message.isAcknowledgement() == acknowledgements) result.push_back(message);
    }
    return result;
}

const Message* Journal::findRequest(int id, std::size_t nth) const {
    const auto dropped = droppedRequests_.find(id);
    std::size_t number = dropped == droppedRequests_.end() ? 0 : dropped->second;
    for (const Message& message : messages_) {
        if (message.id != id || message.isAcknowledgement()) continue;
        if (++number == nth) return &message;
    }
    return nullptr;
}

std::optional<Message> Journal::waitForRequest(int id, std::size_t nth,
                                               Milliseconds timeout) const {
    std::optional<Message> result;
    wait(timeout, [&] {
        if (const Message* found = findRequest(id, nth)) result = *found;
        return result.has_value();
    });
    return result;
}

bool Journal::waitForRequests(std::size_t count, Milliseconds timeout) const {
    return wait(timeout, [&] { return requests_ >= count; });
}

bool Journal::waitForAcknowledgements(std::size_t count, Milliseconds timeout) const {
    return wait(timeout, [&] { return acknowledgements_ >= count; });
}

bool Journal::waitForSettings(std::size_t count, Milliseconds timeout) const {
    return wait(timeout, [&] { return settingCount_ >= count; });
}

bool Journal::waitForConnections(std::size_t count, Milliseconds timeout) const {
    return wait(timeout, [&] { return connections_ >= count; });
}

bool Journal::waitForDisconnection(Milliseconds timeout) const {
    return wait(timeout, [&] { return !connected_; });
}

bool Journal::waitForData(std::string_view part, Milliseconds timeout) const {
    return wait(timeout, [&] { return data_.find(part) != std::string::npos; });
}

}  // namespace tesksim
