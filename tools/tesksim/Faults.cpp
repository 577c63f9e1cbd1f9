#include "tesksim/Faults.h"

namespace tesksim {

namespace {

class Words {
  public:
    void add(bool present, const std::string& word) {
        if (!present) return;
        if (!text_.empty()) text_ += ", ";
        text_ += word;
    }
    std::string text() const { return text_.empty() ? "none" : text_; }

  private:
    std::string text_;
};

void addAnswerFaults(Words& words, const Faults& faults) {
    const auto number = [](const char* word, auto value) {
        return word + (" " + std::to_string(value));
    };
    words.add(faults.silent, "silent");
    words.add(faults.delay.count() != 0, number("slow", faults.delay.count()));
    words.add(faults.dribble.count() != 0, number("dribble", faults.dribble.count()));
    words.add(faults.lengthError != 0, number("length", faults.lengthError));
    words.add(faults.closeAfter.has_value(), number("cut", faults.closeAfter.value_or(0)));
    words.add(!faults.garbageBefore.empty() || !faults.garbageAfter.empty(), "garbage");
    words.add(faults.repeatAfter.has_value(),
              number("repeat", faults.repeatAfter.value_or(std::chrono::milliseconds{0}).count()));
    words.add(faults.onlyFor != 0, number("only for", faults.onlyFor));
}

}  // namespace

std::string describe(const Faults& faults) {
    Words words;
    addAnswerFaults(words, faults);
    words.add(faults.negotiation == Negotiation::Refuse, "refuses telnet options");
    words.add(faults.negotiation == Negotiation::Mute, "ignores telnet options");
    words.add(faults.refuse, "refuse");
    words.add(faults.deaf, "deaf");
    return words.text();
}

}  // namespace tesksim
