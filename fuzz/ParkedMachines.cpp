#include "fuzz/ParkedMachines.h"

#include <exception>

#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "net/MemoryInputStream.h"
#include "packet/PacketHandle.h"
#include "support/Listener.h"

namespace teskd::fuzz {

namespace {

constexpr int INTRODUCTION_ID = 120;
constexpr std::uint32_t INTRODUCTION_TIMEOUT = 60000;  // milliseconds

constexpr const char* COUNTERS[] = {"CNTTOTIN", "CNTTOTOT", "CNTCL"};

std::string fixedName(std::size_t n) {
    return "SlotMachine_" + std::to_string(n + 1);
}

// Agrees to line control and answers the first request before it comes.
std::string greeting(std::size_t n) {
    return "\xFF\xFD\x2C" + std::string("120~0025~15.03.21~") + ParkedMachines::nameOf(n) +
           "~00~4711";
}

std::vector<test::Listener> configuredPorts(std::size_t machines) {
    std::vector<test::Listener> ports(machines);
    std::string list = "9";
    for (std::size_t n = 0; n < machines; ++n) {
        const std::string number = std::to_string(n + 1);
        list += "," + number;
        getConfig()["[PORT_ASYNC" + number + "] IP_ADDRESS"] = "127.0.0.1";
        getConfig()["[PORT_ASYNC" + number + "] TCP_PORT"] = std::to_string(ports[n].port());
    }
    getConfig()["[SLOT_MACHINE] PORT_ASYNC"] = list;
    return ports;
}

}  // namespace

ParkedMachines::ParkedMachines(std::size_t machines)
    : parking_(machines), ports_(configuredPorts(machines)) {
    for (std::size_t n = 0; n < machines; ++n) introduce(n);
    parking_.awaitAll();
}

ParkedMachines::~ParkedMachines() {
    parking_.release();
    controller_.shut_down();
}

void ParkedMachines::introduce(std::size_t n) {
    const PacketHandle<TeskPacket> question(new TeskPacket);
    question->set_id(INTRODUCTION_ID);
    question->setAnswerTimeout(INTRODUCTION_TIMEOUT);
    question->addListener(&parking_);
    links_.push_back(&controller_.find(fixedName(n)));
    controller_.send(fixedName(n), question.pointer());
    lines_.push_back(ports_[n].accept());
    lines_.back().sendAll(greeting(n));
}

void ParkedMachines::Parking::park() {
    arrived_.count_down();
    open_.wait();
}

TeskPacket& ParkedMachines::question(std::size_t n) {
    return dynamic_cast<TeskPacket&>(*machine(n).nextPacket());
}

void ParkedMachines::answer(std::size_t n, const std::string& message) {
    const PacketHandle<TeskPacket> packet(&question(n));
    try {
        MemoryInputStream input(message);
        packet->read(input);
        controller_.bind(machine(n), packet->get_code_id());
    } catch (const Exception& e) {
        return machine(n).failAll(e);
    } catch (const std::exception& e) {
        return machine(n).failAll(TeskException(e.what()));
    }
    machine(n).removePacket(packet.pointer());
    packet->notifyCompleted();
}

void ParkedMachines::timeOut(std::size_t n) {
    const PacketHandle<TeskPacket> packet(&question(n));
    machine(n).removePacket(packet.pointer());
    packet->notifyFailed();
}

void ParkedMachines::fail(std::size_t n, const std::string& what) {
    machine(n).failAll(TeskException(what));
}

void ParkedMachines::reset() {
    for (std::size_t n = 0; n < count(); ++n) {
        while (isAsked(n)) timeOut(n);
        controller_.bind(machine(n), fixedName(n));
    }
    for (std::size_t n = 0; n < count(); ++n) {
        controller_.bind(machine(n), nameOf(n));
        for (const char* counter : COUNTERS) machine(n).set_maximum(counter, 0);
    }
}

}  // namespace teskd::fuzz
