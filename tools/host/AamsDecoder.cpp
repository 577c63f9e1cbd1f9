#include "host/AamsDecoder.h"

#include <sstream>

#include "host/AamsWords.h"
#include "host/DecodeError.h"

namespace teskhost {

namespace {

constexpr std::size_t kShortCodeSize = 2;  // contexts and check codes, unlike time stamps

}  // namespace

AamsDecoder::AamsDecoder(const AamsMessage& message) : reader_(message.body()) {
    content_.code = message.code();
}

AamsContent AamsDecoder::run() {
    if (!reader_.atEnd()) {
        addText("MAC address", "mac");
        byCode();
    }
    if (!reader_.atEnd()) throw DecodeError("fields are left over: " + reader_.field());
    return content_;
}

void AamsDecoder::byCode() {
    const int code = content_.code;
    if (code == 1 || code == 2) return;
    if (code == 5) return failedCheck();
    if (!addResult()) return;
    if (code == 3 || code == 501) identification();
    if (code == 4 || code == 502) machines();
    if (code == 503) history();
    if (code == 504) failedChecks();
    if (code == 505) parameters();
}

void AamsDecoder::identification() {
    addText("model", "model");
    addText("software version", "software_version");
    addStamp("software installed", "software_installed");
    addText("manufacturer", "manufacturer");
    addNumber("Tesk connection type", "tesk_connection_type");
    addNumber("connection type", "connection_type");
    addAnswered();
}

void AamsDecoder::machines() {
    addState();
    while (!reader_.atEnd()) {
        AamsReader ahead = reader_;
        ahead.field();
        if (ahead.atEnd()) return addAnswered();
        addReading("");
    }
}

void AamsDecoder::history() {
    while (reader_.peek().size() == kShortCodeSize) {
        const std::string context = reader_.field();
        addReading(context);
    }
    addAnswered();
}

void AamsDecoder::failedChecks() {
    addState();
    while (reader_.peek().size() == kShortCodeSize) addCheck();
    addReading("");
    addReading("");
    addAnswered();
}

void AamsDecoder::parameters() {
    std::istringstream values(reader_.field());
    const auto next = [&] {
        std::string value;
        std::getline(values, value, '!');
        return value;
    };
    addMinutes("between two polling passes", "every_minutes", next());
    addFlag("report polling passes", "report", next());
    addFlag("report passes nobody answered", "report_unanswered", next());
    addMinutes("start to first polling pass", "first_minutes", next());
    addAnswered();
}

void AamsDecoder::failedCheck() {
    addText("context", "context");
    addCheck();
    AamsReading reading;
    reading.message = TeskText::decode(reader_.message());
    addText("machine", "machine", reading.message.machine);
    addStamp("time of the report", "reported");
    if (!reader_.atEnd()) {
        reader_.message();
        reading.stamp = reader_.field();
        addStamp("time of the reading", "read", reading.stamp);
    }
    content_.readings.push_back(reading);
}

void AamsDecoder::addText(const char* name, const char* key, const std::string& text) {
    content_.fields.push_back({name, text, key, Field::Kind::Text, text});
}

void AamsDecoder::addNumber(const char* name, const char* key) {
    const std::string text = reader_.field();
    content_.fields.push_back({name, text, key, Field::Kind::Number, text});
}

void AamsDecoder::addMinutes(const char* name, const char* key, const std::string& text) {
    content_.fields.push_back({name, text + " min", key, Field::Kind::Number, text});
}

void AamsDecoder::addFlag(const char* name, const char* key, const std::string& text) {
    content_.fields.push_back({name, text == "0" ? "no" : "yes", key, Field::Kind::Flag, text});
}

void AamsDecoder::addStamp(const char* name, const char* key, const std::string& text) {
    content_.fields.push_back({name, aamswords::stamp(text), key, Field::Kind::Stamp, text});
}

void AamsDecoder::addCode(const char* name, const char* key, const std::string& code,
                          const std::string& words) {
    content_.fields.push_back(
        {name, code + " (" + words + ")", key, Field::Kind::Code, code, words});
}

void AamsDecoder::addState() {
    const std::string code = reader_.field();
    addCode("state", "state", code, aamswords::state(code));
}

void AamsDecoder::addCheck() {
    const std::string code = reader_.field();
    addCode("failed check", "failed_check", code, aamswords::check(code));
}

bool AamsDecoder::addResult() {
    const std::string code = reader_.field();
    addCode("result", "result", code, aamswords::result(code));
    return code == "00";
}

void AamsDecoder::addReading(const std::string& context) {
    const std::string stamp = reader_.field();
    const std::string text = reader_.message();
    if (!text.empty()) content_.readings.push_back({context, stamp, TeskText::decode(text)});
}

}  // namespace teskhost
