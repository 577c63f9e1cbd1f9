#include "dornctl/NotificationLog.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include "dornctl/Now.h"
#include "host/AamsWords.h"
#include "host/AnswerTables.h"
#include "host/DecodeError.h"

namespace dornctl {

using namespace teskhost;
using notifyserver::Notification;

namespace {

constexpr int kOneLine = -1;
constexpr std::size_t kRemembered = 256;

Json contentOf(const Notification& notification) {
    try {
        return toJson(AamsContent::decode(notification.message));
    } catch (const DecodeError& e) {
        return {{"code", notification.message.code()},
                {"problem", e.what()},
                {"body", notification.message.body()}};
    }
}

Json lineOf(const Notification& notification, bool repeated, const std::string& answer) {
    Json json = {{"time", nowIso()},
                 {"from", notifyserver::textOf(notification.sender)},
                 {"identifiers", {notification.frame.identifierA, notification.frame.identifierB}},
                 {"repeated", repeated}};
    json.update(contentOf(notification));
    json["answer"] = answer;
    return json;
}

std::string tablesOf(const AamsMessage& message) {
    try {
        const AamsContent content = AamsContent::decode(message);
        std::string text;
        if (!content.fields.empty()) text += Table::ofFields(content.fields).text();
        if (!content.readings.empty()) text += '\n' + tableOf(content.readings).text();
        return text;
    } catch (const DecodeError& e) {
        return Table::ofFields({{"not understood", e.what()}, {"body", message.body()}}).text();
    }
}

std::string textOf(const Notification& notification, bool repeated, const std::string& answer) {
    const int code = notification.message.code();
    return nowText() + "  " + notifyserver::textOf(notification.sender) + "  notification " +
           std::to_string(code) + ": " + aamswords::message(code) +
           (repeated ? " (repeated)" : "") + '\n' + tablesOf(notification.message) +
           "  answered: " + (answer.empty() ? "received" : answer) + "\n\n";
}

}  // namespace

NotificationLog::NotificationLog(const Settings& settings, const std::string& file)
    : settings_(settings) {
    if (file.empty()) return;
    file_.open(file, std::ios::app);
    if (!file_) throw std::runtime_error(file + ": " + std::strerror(errno));
}

void NotificationLog::add(const Notification& notification, const std::string& answer) {
    const bool repeated = isRepeated(notification);
    const Json line = lineOf(notification, repeated, answer);
    std::cout << (settings_.json ? dornctl::textOf(line, kOneLine)
                                 : textOf(notification, repeated, answer))
              << std::flush;
    full_ = full_ || !std::cout;
    if (file_.is_open()) keep(line);
}

void NotificationLog::addProblem(const std::string& sender, const std::string& problem) const {
    const std::string stamp = settings_.json ? "" : nowText() + ": ";
    tell({ExitStatus::Failure, "",
          stamp + "a datagram from " + sender + " is left unanswered: " + problem},
         settings_);
}

// Compares whole datagrams: the gateway's identifiers start again at a restart.
bool NotificationLog::isRepeated(const Notification& notification) {
    const std::string datagram =
        notifyserver::textOf(notification.sender) + notification.frame.encode();
    if (std::find(recent_.begin(), recent_.end(), datagram) != recent_.end()) return true;
    recent_.push_back(datagram);
    if (recent_.size() > kRemembered) recent_.pop_front();
    return false;
}

void NotificationLog::keep(const Json& line) {
    file_ << dornctl::textOf(line, kOneLine) << std::flush;
    full_ = full_ || !file_;
}

}  // namespace dornctl
