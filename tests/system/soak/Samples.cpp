#include "soak/Samples.h"

#include <stdexcept>

namespace teskd::soak {

Samples::Samples(const std::filesystem::path& file) {
    if (file.empty()) return;
    out_.open(file);
    if (!out_) throw std::runtime_error("cannot write " + file.string());
    out_ << "# seconds resident_kB descriptors threads packets trouble" << std::endl;
}

void Samples::add(const Sample& sample, bool inTrouble) {
    if (!out_.is_open()) return;
    const std::chrono::duration<double> time = Clock::now() - begun_;
    out_ << time.count() << ' ' << sample.kilobytes << ' ' << sample.descriptors << ' '
         << sample.threads << ' ' << sample.packets << ' ' << inTrouble << std::endl;
}

}  // namespace teskd::soak
