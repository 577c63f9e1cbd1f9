// What the codecs cost, each by itself and in memory.

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "aams/ReadingCheck.h"
#include "core/Log.h"
#include "core/LogSource.h"
#include "dorn/DornPacketType1.h"
#include "dorn/DornPacketType2.h"
#include "host/Frame.h"
#include "host/Request.h"
#include "net/BufferedInputStream.h"
#include "net/MemoryInputStream.h"
#include "net/OutputStream.h"
#include "packet/PacketHandle.h"
#include "support/TempDir.h"
#include "support_src/NoOptions.h"
#include "telnet/TelnetDecoder.h"
#include "telnet/TelnetOutputStream.h"
#include "tesk/TeskPacket.h"
#include "tesksim/Message.h"

namespace teskd {

namespace {

constexpr char COUNTERS[] = "100~200~1~100~200~0";

// Takes everything and keeps nothing.
class Drain : public OutputStream {
  public:
    void write(int b) override { benchmark::DoNotOptimize(b); }
    void write(const char* buffer, std::size_t) override { benchmark::DoNotOptimize(buffer); }
    void write(const std::string& bytes) override { write(bytes.data(), bytes.size()); }
};

// Opens what makes pages of an answer.
class Paging : public DornPacketType2 {
  public:
    std::vector<std::string> pages(const TeskPacket& answer) const {
        Progress progress;
        progress.date = "15.03.21";
        return encode(answer, progress);
    }
};

std::string answer(const std::string& body) {
    tesksim::Answer answer;
    answer.id = 115;
    answer.codeId = "ZA000000001";
    answer.body = body;
    return tesksim::encode(answer);
}

// So many names with a value each. Without a length that four digits could not hold.
std::string pairs(long count) {
    std::string body;
    for (long i = 0; i < count; ++i) body += i == 0 ? "CNT00001~01=5" : "~CNT00001~01=5";
    return body;
}

std::string request() {
    teskhost::Frame frame;
    frame.type = teskhost::Request::kCounters;
    frame.body = teskhost::Request::counters("ZA000000001").body;
    return frame.encode();
}

void processed(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void dornRead(benchmark::State& state) {
    const std::string bytes = request();
    for (auto _ : state) {
        const PacketHandle<DornPacket> packet(new DornPacketType1);
        MemoryInputStream memory(bytes);
        BufferedInputStream input(memory);
        packet->read(input);
    }
    processed(state, bytes.size());
}
BENCHMARK(dornRead);

void dornWrite(benchmark::State& state) {
    const std::string bytes = request();
    const PacketHandle<DornPacket> packet(new DornPacketType1);
    MemoryInputStream memory(bytes);
    packet->read(memory);
    Drain drain;
    for (auto _ : state) packet->write(drain);
    processed(state, bytes.size());
}
BENCHMARK(dornWrite);

void teskRead(benchmark::State& state) {
    const std::string bytes = answer(COUNTERS);
    for (auto _ : state) {
        const PacketHandle<TeskPacket> packet(new TeskPacket);
        MemoryInputStream memory(bytes);
        packet->read(memory);
    }
    processed(state, bytes.size());
}
BENCHMARK(teskRead);

void teskWrite(benchmark::State& state) {
    const PacketHandle<TeskPacket> packet(new TeskPacket);
    packet->set_id(115);
    packet->set_body("CNT00001~CNT99999");
    Drain drain;
    for (auto _ : state) packet->write(drain);
}
BENCHMARK(teskWrite);

void type2Paging(benchmark::State& state) {
    const PacketHandle<TeskPacket> message(new TeskPacket);
    message->set_body(pairs(state.range(0)));
    const PacketHandle<Paging> packet(new Paging);
    for (auto _ : state) benchmark::DoNotOptimize(packet->pages(*message));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(type2Paging)->Arg(60)->Arg(600)->Arg(6000)->Complexity(benchmark::oN);

void telnetInput(benchmark::State& state) {
    const std::string bytes = answer(pairs(600));
    test::NoOptions options;
    TelnetDecoder decoder(options, LogSource::unlimited());
    for (auto _ : state) {
        for (const char byte : bytes) {
            benchmark::DoNotOptimize(decoder.feed(static_cast<unsigned char>(byte)));
        }
    }
    processed(state, bytes.size());
}
BENCHMARK(telnetInput);

void telnetOutput(benchmark::State& state) {
    const std::string bytes = answer(pairs(600));
    Drain drain;
    TelnetOutputStream output(drain);
    for (auto _ : state) output.write(bytes);
    processed(state, bytes.size());
}
BENCHMARK(telnetOutput);

void checkReading(benchmark::State& state) {
    for (auto _ : state) {
        const auto values = ReadingCheck::parse(COUNTERS);
        benchmark::DoNotOptimize(ReadingCheck::errors(*values, {100, 200, 1}, false));
    }
}
BENCHMARK(checkReading);

}  // namespace

}  // namespace teskd

// Log lines are formatted and dropped; the daemon's files, which reading the settings writes, are
// in a directory that goes again.
int main(int argc, char** argv) {
    const teskd::test::TempDir root;
    for (const char* folder : {"etc", "config", "tmp"}) {
        std::filesystem::create_directory(root / folder);
    }
    ::setenv("TESKD_ROOT", root.path().c_str(), 1);
    teskd::Log::setSink([](int, const char*) {});
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
}
