#include "support_src/MachinePark.h"

#include <gtest/gtest.h>

#include "packet/PacketHandle.h"
#include "support/Deadline.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {

MachinePark::MachinePark(std::size_t machines) {
    std::string ports;
    for (std::size_t n = 1; n <= machines; ++n) {
        machines_.push_back(
            std::make_unique<tesksim::Machine>(tesksim::Machine::Options{.codeId = nameOf(n)}));
        machines_.back()->start();
        const std::string number = std::to_string(n);
        const std::string section = "[PORT_ASYNC" + number + "] ";
        KeptConfig::set(section + "IP_ADDRESS", "127.0.0.1");
        KeptConfig::set(section + "TCP_PORT", std::to_string(machines_.back()->port()));
        ports += number + ",";
    }
    KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", ports);
    controller_ = std::make_unique<TeskController>();
}

MachinePark::~MachinePark() {
    shutDown();
}

void MachinePark::makeKnown(std::size_t n) {
    tesksim::Journal& journal = machine(n).journal();
    const std::size_t before = introductions_.outcomes().size();
    const std::size_t acknowledged = journal.acknowledgements().size();
    const PacketHandle<TeskPacket> question(new TeskPacket);
    question->set_id(120);
    question->setAnswerTimeout(10000);
    question->addListener(&introductions_);
    controller_->send("SlotMachine_" + std::to_string(n), question.pointer());
    ASSERT_TRUE(eventually([&] { return introductions_.outcomes().size() > before; }));
    ASSERT_EQ("completed", introductions_.outcomes().back().kind);
    ASSERT_TRUE(journal.waitForAcknowledgements(acknowledged + 1));
    journal.clear();
}

void MachinePark::makeAllKnown() {
    for (std::size_t n = 1; n <= machines_.size(); ++n) makeKnown(n);
}

}  // namespace teskd::test
