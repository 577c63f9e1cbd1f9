#include "support_src/MachinePark.h"

#include <gtest/gtest.h>

#include "packet/PacketHandle.h"
#include "support/Deadline.h"
#include "support/Hex.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {

namespace {

// Sent at the start of a connection: the agreement to COM-PORT-OPTION and the first answer. So no
// test waits for the time-out of the negotiation, a second.
std::string greetingOf(const std::string& name) {
    return bytes("FF FD 2C") + "120~0025~15.03.21~" + name + "~00~4711";
}

void configurePort(std::size_t n, std::uint16_t port) {
    const std::string section = "[PORT_ASYNC" + std::to_string(n) + "] ";
    KeptConfig::set(section + "IP_ADDRESS", "127.0.0.1");
    KeptConfig::set(section + "TCP_PORT", std::to_string(port));
    KeptConfig::set(section + "BAUDRATE", "19200");
    KeptConfig::set(section + "DATASIZE", "8");
    KeptConfig::set(section + "PARITY", "NONE");
    KeptConfig::set(section + "STOPSIZE", "1");
    KeptConfig::set(section + "FLOWCONTROL", "No Flow");
}

}  // namespace

MachinePark::MachinePark(std::size_t machines) {
    std::string ports;
    for (std::size_t n = 1; n <= machines; ++n) {
        tesksim::Machine::Options options{.codeId = nameOf(n)};
        options.greeting = greetingOf(nameOf(n));
        machines_.push_back(std::make_unique<tesksim::Machine>(options));
        machine(n).start();
        configurePort(n, machine(n).port());
        ports += std::to_string(n) + ",";
    }
    KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", ports);
    controller_ = std::make_unique<TeskController>();
}

MachinePark::~MachinePark() noexcept {
    shutDown();
}

void MachinePark::makeKnown(std::size_t n) {
    tesksim::Journal& journal = machine(n).journal();
    const std::size_t before = introductions_.outcomes().size();
    const std::size_t acknowledged = journal.acknowledgementCount();
    machine(n).setFaults({.silent = true}, 1);  // the greeting is the answer
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
