// What a request costs when nobody does anything about it: the bytes of a conversation, passed on
// by one blocking thread per connection.
//
// With lines, it reads a request from a host, writes the machine's request to the line, reads the
// machine's answer, writes the acknowledgement and then the host's answer. Without lines, it
// answers the host at once. The n-th host uses the n-th line; hosts that share one take turns.

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/Sockets.h"

namespace {

using namespace teskd::bench;

// What goes over the sockets. Requests of hosts and answers of machines are only counted.
struct Conversation {
    std::size_t hostRequest = 0;
    std::string machineRequest;
    std::size_t machineAnswer = 0;
    std::string acknowledgement;
    std::string hostAnswer;
};

struct Line {
    UniqueFd socket;
    std::mutex turn;
};

std::string contents(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool askMachine(Line& line, const Conversation& talk, std::vector<char>& answer) {
    const std::lock_guard lock(line.turn);
    return writeAll(line.socket.get(), talk.machineRequest) &&
           readExactly(line.socket.get(), answer.data(), talk.machineAnswer) &&
           writeAll(line.socket.get(), talk.acknowledgement);
}

void serveHost(UniqueFd host, Line* line, const Conversation& talk) {
    std::vector<char> request(talk.hostRequest);
    std::vector<char> answer(talk.machineAnswer);
    while (readExactly(host.get(), request.data(), request.size())) {
        if (line != nullptr && !askMachine(*line, talk, answer)) return;
        if (!writeAll(host.get(), talk.hostAnswer)) return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Passes requests on, or answers them, and does nothing else");
    Conversation talk;
    std::string directory;
    std::vector<std::uint16_t> ports;
    int greeting = 0;
    app.add_option("--conversation", directory, "Directory with the bytes")->required();
    app.add_option("--host-request", talk.hostRequest, "Bytes of a host's request")->required();
    app.add_option("--machine-answer", talk.machineAnswer, "Bytes of a machine's answer");
    app.add_option("--lines", ports, "TCP ports of the machines");
    app.add_option("--greeting", greeting,
                   "Lines greet first; so many milliseconds of silence end that");
    CLI11_PARSE(app, argc, argv);
    talk.machineRequest = contents(directory + "/machine-request");
    talk.acknowledgement = contents(directory + "/acknowledgement");
    talk.hostAnswer = contents(directory + "/host-answer");

    std::vector<Line> lines(ports.size());
    for (std::size_t i = 0; i < ports.size(); ++i) lines[i].socket = connectTo(ports[i]);
    if (greeting > 0) {
        for (const Line& line : lines) drainUntilQuiet(line.socket.get(), greeting);
    }
    const UniqueFd listener = listenAnywhere();
    std::printf("%u\n", static_cast<unsigned>(portOf(listener)));
    std::fflush(stdout);
    for (std::size_t n = 0;; ++n) {
        UniqueFd host = acceptFrom(listener);
        if (!host.valid()) return 1;
        Line* const line = lines.empty() ? nullptr : &lines[n % lines.size()];
        std::thread(serveHost, std::move(host), line, std::cref(talk)).detach();
    }
}
