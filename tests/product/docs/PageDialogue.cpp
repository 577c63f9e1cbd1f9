#include "docs/PageDialogue.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

#include "host/Frame.h"
#include "support/Bytes.h"
#include "support/ProcInfo.h"

namespace teskd::test {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kIdentifiers = 34;
constexpr std::size_t kIdentifiersSize = 8;
constexpr std::size_t kCode = 46;
constexpr std::size_t kCodeSize = 3;

// The settings of an INI text, added to those of every daemon under test.
Config configOf(const std::string& settings, std::uint16_t serialPort) {
    Config config;
    config.serialPorts({serialPort});
    std::istringstream in(settings);
    std::string section;
    for (std::string line; std::getline(in, line);) {
        const std::size_t equals = line.find('=');
        if (line.front() == '[') section = line.substr(1, line.size() - 2);
        if (equals != std::string::npos) {
            config.set(section, line.substr(0, equals), line.substr(equals + 1));
        }
    }
    return config;
}

std::string codeOf(const std::string& notification) {
    return notification.substr(kCode, kCodeSize);
}

// An answer that nobody waits for: the daemon drops it, and sends what it has meanwhile to tell.
std::string foreignAnswer() {
    return Frame{.type = teskhost::Frame::kAamsType, .identifierA = 0xFFFFFFFF}.encode();
}

}  // namespace

PageDialogue::PageDialogue(const std::string& settings)
    : gateway_(0, configOf(settings, serialPort_.port()),
               DaemonProcess::Options{.waitUntilListening = false}) {
    gateway_.start();
    machine_ = serialPort_.accept();
}

HostClient& PageDialogue::host() {
    if (!host_) {
        EXPECT_TRUE(eventually([this] { return somebodyListens(gateway_.daemon().port()); }));
        host_ = std::make_unique<HostClient>(gateway_.host());
    }
    return *host_;
}

void PageDialogue::play(const AnnotatedBytes& block) {
    if (block.to == "gateway") return send(block);
    const std::string received = receive(block);
    if (!block.matches(received)) {
        EXPECT_BYTES(block.bytes, received);
    }
    if (block.to == "machine") return;
    EXPECT_NO_THROW(teskhost::Frame::decode(received));
}

void PageDialogue::send(const AnnotatedBytes& block) {
    if (block.from == "machine") return machine_.sendAll(block.bytes);
    if (block.from == "host") return host().sendRaw(block.bytes);
    if (block.from == "server") return reply(block.bytes);
    FAIL() << "who is '" << block.from << "'?";
}

std::string PageDialogue::receive(const AnnotatedBytes& block) {
    if (block.to == "machine") return machine_.readExactly(block.bytes.size());
    if (block.to == "host") return receiveFrame();
    if (block.to == "server") return receiveNotification(block);
    ADD_FAILURE() << "who is '" << block.to << "'?";
    return {};
}

std::string PageDialogue::receiveFrame() {
    const std::string header = host().connection().readExactly(Frame::kHeaderSize);
    return header + host().connection().readExactly(frameLength(header));
}

// Notifications come as they arise; the page has them in an order for readers.
std::string PageDialogue::receiveNotification(const AnnotatedBytes& expected) {
    const auto wanted = [&](const std::string& n) { return codeOf(n) == codeOf(expected.bytes); };
    const auto found = [&] {
        if (const auto datagram = gateway_.server().receiveWithin(50ms)) {
            notifications_.push_back(*datagram);
            gateway_.server().reply(foreignAnswer());
        }
        return std::any_of(notifications_.begin(), notifications_.end(), wanted);
    };
    const auto any = std::find_if(notifications_.begin(), notifications_.end(), wanted);
    if (any == notifications_.end() && !eventually(found)) {
        throw Timeout("no notification " + codeOf(expected.bytes));
    }
    const auto it = std::find_if(notifications_.begin(), notifications_.end(), wanted);
    lastNotification_ = *it;
    notifications_.erase(it);
    return lastNotification_;
}

// With the identifiers of the notification that it answers.
void PageDialogue::reply(std::string frame) {
    frame.replace(kIdentifiers, kIdentifiersSize, lastNotification_, kIdentifiers,
                  kIdentifiersSize);
    frame.back() = static_cast<char>(checksumOf(frame.substr(0, frame.size() - 1)));
    gateway_.server().reply(frame);
}

}  // namespace teskd::test
