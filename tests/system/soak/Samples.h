// What the daemon needs, written down every few seconds: a table from which a picture is drawn.
//
// Ownership: the object owns the file. Threads: one user at a time.
// Errors: the constructor throws std::runtime_error when the file cannot be written.

#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>

namespace teskd::soak {

struct Sample {
    std::size_t kilobytes = 0;  // resident
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t packets = 0;  // references on packets, as the log told last
};

class Samples {
  public:
    // Without a name nothing is written.
    explicit Samples(const std::filesystem::path& file);

    void add(const Sample& sample, bool inTrouble);

  private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point begun_ = Clock::now();
    std::ofstream out_;
};

}  // namespace teskd::soak
