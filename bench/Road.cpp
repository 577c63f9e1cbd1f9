#include "bench/Road.h"

#include <algorithm>
#include <barrier>
#include <cmath>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

namespace teskd::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t SIGN_SIZE = 4;            // of a frame: start, kind, constant, type
constexpr std::size_t EXPECTED_RATE = 100'000;  // requests of one host in a second

}  // namespace

double Sample::percentile(double percent) const {
    if (latencies.empty()) return 0;
    std::vector<std::uint32_t> sorted = latencies;
    const auto last = static_cast<double>(sorted.size() - 1);
    const auto rank = static_cast<std::ptrdiff_t>(std::ceil(last * percent / 100));
    std::nth_element(sorted.begin(), sorted.begin() + rank, sorted.end());
    return sorted[static_cast<std::size_t>(rank)] / 1e3;
}

void Sample::add(const Sample& other) {
    latencies.insert(latencies.end(), other.latencies.begin(), other.latencies.end());
    seconds += other.seconds;
    used += other.used;
}

Road::Road(Description description) : description_(std::move(description)) {
    for (std::size_t i = 0; i < description_.requests.size(); ++i) {
        hosts_.push_back(connectTo(description_.port));
    }
}

Sample Road::drive(std::chrono::nanoseconds duration) {
    const std::size_t count = hosts_.size();
    std::vector<std::vector<std::uint32_t>> latencies(count);
    std::vector<std::exception_ptr> failures(count);
    std::barrier ready(static_cast<std::ptrdiff_t>(count) + 1);
    const auto seconds = std::chrono::duration<double>(duration).count();
    const auto room = static_cast<std::size_t>(seconds * EXPECTED_RATE) / count;
    const auto serve = [&](std::size_t host) {
        latencies[host].reserve(room);
        std::string answer(description_.answer.size(), '\0');
        ready.arrive_and_wait();
        try {
            const Clock::time_point end = Clock::now() + duration;
            while (Clock::now() < end) latencies[host].push_back(exchange(host, answer));
        } catch (...) {
            failures[host] = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) threads.emplace_back(serve, i);
    const Usage before = Usage::of(pid());
    ready.arrive_and_wait();
    const Clock::time_point start = Clock::now();
    for (std::thread& thread : threads) thread.join();

    Sample sample;
    sample.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    sample.used = Usage::of(pid()) - before;
    for (const auto& host : latencies) {
        sample.latencies.insert(sample.latencies.end(), host.begin(), host.end());
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
    return sample;
}

void Road::ask(std::size_t times) {
    std::string answer(description_.answer.size(), '\0');
    for (std::size_t i = 0; i < times; ++i) exchange(0, answer);
}

std::uint32_t Road::exchange(std::size_t host, std::string& answer) {
    const Clock::time_point start = Clock::now();
    const int fd = hosts_[host].get();
    if (!writeAll(fd, description_.requests[host]) ||
        !readExactly(fd, answer.data(), answer.size())) {
        throwSystemError(("the " + name() + " ended a connection").c_str());
    }
    const auto time = Clock::now() - start;
    if (answer.compare(0, SIGN_SIZE, description_.answer, 0, SIGN_SIZE) != 0) {
        throw std::runtime_error("the " + name() + " gave another answer than before");
    }
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

}  // namespace teskd::bench
