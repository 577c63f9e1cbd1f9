#include "bench/Reference.h"

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "support/Deadline.h"

namespace teskd::bench {

Reference::Reference(const Setup& setup, const Conversation& talk)
    : setup_(setup), talk_(talk), lines_(setup) {
    test::writeFile(directory_ / "machine-request", talk.machineRequest);
    test::writeFile(directory_ / "acknowledgement", talk.acknowledgement);
    test::writeFile(directory_ / "host-answer", talk.hostAnswer);
    test::ChildProcess::Options options;
    options.command = {setup.relay, "--conversation", directory_.path(), "--host-request",
                       std::to_string(talk.hostRequest.size())};
    if (!setup.isImmediate()) {
        options.command.insert(options.command.end(),
                               {"--machine-answer", std::to_string(talk.machineAnswer.size())});
        if (setup.serial) options.command.insert(options.command.end(), {"--greeting", "300"});
        options.command.push_back("--lines");
        for (const auto port : lines_.ports()) options.command.push_back(std::to_string(port));
    }
    program_ = std::make_unique<test::ChildProcess>(options);
    const auto settled = [this] {
        return program_->standardOutput().ends_with("\n") || !program_->running();
    };
    if (!test::eventually(settled) || !program_->running()) {
        throw std::runtime_error("the reference does not start: " + program_->standardError());
    }
    port_ = static_cast<std::uint16_t>(std::atoi(program_->standardOutput().c_str()));
}

Road::Description Reference::road() const {
    const std::vector<std::string> requests(setup_.hosts, talk_.hostRequest);
    return {setup_.isImmediate() ? "echo" : "relay", port_, program_->pid(), requests,
            talk_.hostAnswer};
}

}  // namespace teskd::bench
