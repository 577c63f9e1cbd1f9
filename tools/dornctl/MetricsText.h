// Samples in the Prometheus text format. Counters continue those of an earlier text.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace dornctl {

class MetricsText {
  public:
    using Labels = std::vector<std::pair<std::string, std::string>>;
    static constexpr char kCounter[] = "counter";
    static constexpr char kGauge[] = "gauge";

    // Reads the counters of a text that this class wrote; any other text has none.
    explicit MetricsText(const std::string& earlier);

    // Begins a family, whose samples follow. A family without samples is omitted.
    void family(const std::string& name, const std::string& type, const std::string& help);
    void set(const Labels& labels, double value);
    // Adds to a counter. Other counters keep their values.
    void count(const Labels& labels, double more);

    std::string text() const;

  private:
    struct Family {
        std::string name;
        std::string type;
        std::string help;
        std::map<std::string, double> samples{};  // by labels
    };

    std::map<std::string, std::map<std::string, double>> earlier_;
    std::vector<Family> families_;
};

}  // namespace dornctl
