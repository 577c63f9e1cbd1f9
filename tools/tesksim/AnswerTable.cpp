#include "tesksim/AnswerTable.h"

#include <utility>

namespace tesksim {

namespace {

std::string complete(Answer answer, const Message& request, const std::string& codeId,
                     int lengthError) {
    if (answer.id == 0) answer.id = request.id;
    if (answer.codeId.empty()) answer.codeId = codeId;
    return encode(answer, lengthError);
}

Answer withBody(std::string body) {
    Answer answer;
    answer.body = std::move(body);
    return answer;
}

}  // namespace

std::string defaultBody(int code) {
    switch (code) {
        case 113:
            return "100~200~1~100~200~0";
        case 115:
            return "CNTTOTIN~01=100!02=200~CNTTOTOT~01=300";
        case 117:
            return "OPENDOOR~12:34:5!23:59:1~POWERUP ~00:01:0";
        case 118:
            return "A1B2C3D4E5";
        case 119:
            return "ERRORS  ~10=7!11=8~RESETS  ~12=9";
        default:
            return "4711";
    }
}

void AnswerTable::set(int code, Answer answer) {
    const std::lock_guard lock(mutex_);
    entries_[code] = std::move(answer);
}

void AnswerTable::setBody(int code, std::string body) {
    set(code, withBody(std::move(body)));
}

void AnswerTable::setLiteral(int code, std::string bytes) {
    const std::lock_guard lock(mutex_);
    entries_[code] = std::move(bytes);
}

void AnswerTable::setCallback(int code, Callback callback) {
    const std::lock_guard lock(mutex_);
    entries_[code] = std::move(callback);
}

void AnswerTable::reset(int code) {
    const std::lock_guard lock(mutex_);
    entries_.erase(code);
}

std::string AnswerTable::answerTo(const Message& request, const std::string& codeId,
                                  int lengthError) const {
    Entry entry = withBody(defaultBody(request.id));
    {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(request.id);
        if (found != entries_.end()) entry = found->second;
    }
    if (const auto* literal = std::get_if<std::string>(&entry)) return *literal;
    if (const auto* callback = std::get_if<Callback>(&entry)) entry = (*callback)(request);
    return complete(std::get<Answer>(entry), request, codeId, lengthError);
}

}  // namespace tesksim
