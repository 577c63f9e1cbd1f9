#include "host/AamsWords.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace teskhost::aamswords {

namespace {

template <typename Key>
std::string lookUp(const std::map<Key, std::string>& words, const Key& key) {
    const auto found = words.find(key);
    return found == words.end() ? "not known" : found->second;
}

}  // namespace

std::string message(int code) {
    static const std::map<int, std::string> kWords = {
        {1, "what are date and time?"},
        {2, "what are the external parameters?"},
        {3, "identification after a software change"},
        {4, "result of a polling pass"},
        {5, "a counter reading failed a check"},
        {501, "identification"},
        {502, "machines and their newest readings"},
        {503, "all readings of a machine"},
        {504, "failed checks of a machine"},
        {505, "external parameters"},
        {506, "set the external parameters"},
        {507, "set date and time"},
    };
    return lookUp(kWords, code);
}

std::string result(const std::string& code) {
    static const std::map<std::string, std::string> kWords = {
        {"00", "success"},
        {"0A", "identification not available"},
        {"0B", "no machine has been read yet"},
        {"0C", "unknown machine"},
        {"0D", "no reading of this machine"},
        {"0E", "no failed check"},
        {"0F", "parameters not available"},
        {"FF", "date and time could not be set"},
    };
    return lookUp(kWords, code);
}

std::string check(const std::string& code) {
    static const std::map<std::string, std::string> kWords = {
        {"31", "item 3 is negative or not a whole number"},
        {"32", "CNTTOTIN is not a whole number"},
        {"33", "item 4 is negative or not a whole number"},
        {"34", "CNTTOTOT is not a whole number"},
        {"35", "item 5 is negative"},
        {"36", "CNTCL is 0, but items 3 and 4 differ from CNTTOTIN and CNTTOTOT"},
        {"37", "CNTCL is above 0, but item 3 or 4 exceeds CNTTOTIN or CNTTOTOT"},
        {"38", "a counter went backwards"},
        {"39", "item 3 is no multiple of 50"},
        {"40", "CNTTOTIN is no multiple of 50"},
        {"41", "item 5 is above 14000"},
    };
    return lookUp(kWords, code);
}

std::string state(const std::string& character) {
    static const std::map<std::string, std::string> kWords = {
        {"1", "not polled yet"},
        {"3", "first polling pass"},
        {"4", "a later polling pass"},
    };
    return lookUp(kWords, character);
}

std::string stamp(const std::string& text) {
    const auto isDigit = [](unsigned char c) { return std::isdigit(c) != 0; };
    if (text.size() != 12 || !std::all_of(text.begin(), text.end(), isDigit)) return text;
    const auto pair = [&](std::size_t index) { return text.substr(index * 2, 2); };
    return "20" + pair(0) + "-" + pair(1) + "-" + pair(2) + " " + pair(3) + ":" + pair(4) + ":" +
           pair(5);
}

}  // namespace teskhost::aamswords
