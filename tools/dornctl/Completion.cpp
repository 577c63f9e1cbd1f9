#include "dornctl/Completion.h"

#include <algorithm>

#include "dornctl/Arguments.h"
#include "dornctl/Dialogue.h"

namespace dornctl {

namespace {

constexpr Milliseconds kPatience{1000};
constexpr char kFile[] = "<file>";

std::string line(const std::string& word, const std::string& description) {
    return word + "\t" + description;
}

bool isOption(const std::string& word) {
    return word.starts_with("-");
}

}  // namespace

std::vector<std::string> Completion::of(const std::vector<std::string>& words) {
    const std::string last = words.empty() ? "" : words.back();
    for (std::size_t i = 0; i + 1 < words.size(); ++i) pass(words[i]);
    if (open_ != nullptr) return values(*open_);
    const std::size_t equals = last.find('=');
    if (isOption(last) && equals != std::string::npos) {
        const CLI::Option* const option = optionOf(last.substr(0, equals));
        return option == nullptr ? std::vector<std::string>() : values(*option);
    }
    if (isOption(last)) return options();
    return subcommand_ == nullptr ? subcommands() : positionals();
}

void Completion::pass(const std::string& word) {
    if (open_ != nullptr) {
        takeHost(*open_, word);
        open_ = nullptr;
    } else if (isOption(word)) {
        const std::size_t equals = word.find('=');
        const CLI::Option* const option = optionOf(word.substr(0, equals));
        if (option == nullptr || option->get_items_expected_max() == 0) return;
        if (equals == std::string::npos) {
            open_ = option;
        } else {
            takeHost(*option, word.substr(equals + 1));
        }
    } else if (subcommand_ != nullptr) {
        ++passed_;
    } else {
        for (const CLI::App* const command : app_.get_subcommands({})) {
            if (command->get_name() == word) subcommand_ = command;
        }
    }
}

const CLI::Option* Completion::optionOf(const std::string& word) const {
    const CLI::Option* option = nullptr;
    if (subcommand_ != nullptr) option = subcommand_->get_option_no_throw(word);
    return option != nullptr ? option : app_.get_option_no_throw(word);
}

void Completion::takeHost(const CLI::Option& option, const std::string& value) {
    if (!option.check_lname("host") || !arguments::endpoint(value).empty()) return;
    settings_.host = teskhost::Endpoint::parse(value, Settings::kPort);
}

std::vector<std::string> Completion::values(const CLI::Option& option) const {
    const std::string type = option.get_type_name();
    if (type == "FILE") return {kFile};
    if (type == "yes|no") return {"yes", "no"};
    return {};
}

std::vector<std::string> Completion::positionals() const {
    std::size_t place = 0;
    for (const CLI::Option* const option : subcommand_->get_options()) {
        if (!option->get_positional() || place++ != passed_) continue;
        const std::string name = option->get_name(true);
        if (name == "MACHINE") return machines();
        if (name == "TIME") return {line("now", "the time of this machine")};
        if (name == "SUBCOMMAND") return subcommands();
    }
    return place > passed_ ? std::vector<std::string>() : options();
}

std::vector<std::string> Completion::options() const {
    std::vector<std::string> result;
    for (const CLI::App* const app : {subcommand_, &app_}) {
        if (app == nullptr) continue;
        for (const CLI::Option* const option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                const std::string text = line("--" + name, option->get_description());
                if (std::count(result.begin(), result.end(), text) == 0) result.push_back(text);
            }
        }
    }
    return result;
}

std::vector<std::string> Completion::subcommands() const {
    std::vector<std::string> result;
    for (const CLI::App* const command : app_.get_subcommands({})) {
        result.push_back(line(command->get_name(), command->get_description()));
    }
    return result;
}

std::vector<std::string> Completion::machines() const {
    std::vector<std::string> names;
    try {
        for (const auto& machine : Dialogue(settings_, kPatience).machines().machines) {
            const std::string where = "serial port " + std::to_string(machine.port);
            if (machine.named()) names.push_back(line(machine.name, where));
        }
    } catch (const std::exception&) {
        return {};
    }
    return names;
}

}  // namespace dornctl
