#include "docs/Commands.h"

#include <cstring>
#include <sstream>

namespace teskd::test {

namespace {

using Kind = Runner::Kind;

constexpr char kContinued = '\\';
constexpr char kBackground[] = " &";

void trim(std::string& text) {
    if (text.ends_with(kBackground)) text.erase(text.size() - std::strlen(kBackground));
}

bool startsWithWords(const std::string& text, const std::string& start) {
    return text.starts_with(start) && (text.size() == start.size() || text[start.size()] == ' ');
}

}  // namespace

std::vector<Command> Command::of(const Page& page) {
    std::vector<Command> commands;
    for (const Page::Block& block : page.blocks("sh")) {
        bool continues = false;
        for (std::string line : block.lines) {
            if (!continues) commands.push_back({"", page.place(block)});
            continues = !line.empty() && line.back() == kContinued;
            if (continues) line.pop_back();
            commands.back().text += line;
            if (!continues) trim(commands.back().text);
        }
    }
    return commands;
}

std::vector<Command> Command::ofAllPages() {
    std::vector<Command> commands;
    for (const Page& page : Page::all()) {
        for (const Command& command : of(page)) commands.push_back(command);
    }
    return commands;
}

std::vector<std::string> Command::words() const {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

const std::vector<Runner>& runners() {
    static const std::vector<Runner> kRunners = {
        {"dornctl", Kind::HereWithDaemon, ""},
        {"teskd-checkconf", Kind::HereWithDaemon, ""},
        {"tail", Kind::HereWithDaemon, ""},
        {"grep", Kind::HereWithDaemon, ""},
        {"tesksim", Kind::HereAlone, ""},
        {"build/release/tesksim", Kind::HereAlone, ""},
        {"mkdir -p build/try/etc", Kind::Elsewhere, "TryingTest.cpp, with what is below"},
        {"printf '%s\\n' TESKv2_ENABLE=true", Kind::Elsewhere, "TryingTest.cpp"},
        {"build/release/teskd-checkconf", Kind::Elsewhere, "TryingTest.cpp"},
        {"TESKD_ROOT=$PWD/build/try", Kind::Elsewhere, "TryingTest.cpp"},
        {"build/release/dornctl", Kind::Elsewhere, "TryingTest.cpp"},
        {"sleep", Kind::Elsewhere, "TryingTest.cpp"},
        {"kill", Kind::Elsewhere, "TryingTest.cpp"},
        {".ci/run", Kind::Elsewhere, "it runs this test"},
        {"cmake", Kind::Elsewhere, "it takes minutes; who runs this test has built with it"},
        {"ctest", Kind::Elsewhere, "it runs this test"},
        {"script/setup", Kind::Elsewhere, "it installs; ScriptTest.cpp lists its groups"},
        {"script/demo", Kind::Elsewhere, "half a minute; test Demo.EverythingComesAsExpected"},
        {"script/test", Kind::Elsewhere, "it runs this test; .ci/run runs it in every preset"},
        {"script/check", Kind::Elsewhere, "minutes; .ci/run"},
        {"script/fuzz", Kind::Elsewhere, "minutes; .ci/run"},
        {"script/soak", Kind::Elsewhere, "minutes; .ci/run"},
        {"script/bench", Kind::Elsewhere, "minutes; bench_tests runs what it measures with"},
        {"script/endurance", Kind::Elsewhere, "minutes; its tests run shortened with all others"},
        {"script/footprint", Kind::Elsewhere, "it builds; its program is of every build"},
        {"script/count", Kind::Elsewhere, "minutes; .ci/run"},
        {"script/controller", Kind::Elsewhere, "it builds a kernel; it asserts what it shows"},
        {"script/coverage", Kind::Elsewhere,
         "minutes; Quality.coverage_report tests what it tells"},
        {"script/mutate", Kind::Elsewhere, "minutes; Quality.mutation tests what it does"},
        {"script/diagrams", Kind::Elsewhere, "it writes to docs/; PictureTest.cpp renders too"},
        {"script/walkthrough", Kind::Elsewhere, "minutes; .ci/run, Quality.walkthrough"},
        {"build/release/aams_tests", Kind::Elsewhere, "it is one of the tests"},
        {"build/release/config_tests", Kind::Elsewhere, "it is one of the tests"},
        {"build/release/dorn_tests", Kind::Elsewhere, "it is one of the tests"},
        {"build/release/manual_tests", Kind::Elsewhere, "it is one of the tests"},
        {"qemu-ppc", Kind::Elsewhere, "DebuggingTest.cpp, with a small program"},
        {"gdb-multiarch", Kind::Elsewhere, "DebuggingTest.cpp, with a small program"},
        {"TESKD_DAEMON=$PWD/build/powerpc/teskd", Kind::Elsewhere,
         "it waits for a person; preset powerpc-daemon runs tests in this way"},
        {"apt", Kind::Elsewhere, "it needs root; InstallTest.cpp installs in a root of its own"},
        {"systemctl", Kind::Elsewhere, "it needs root; ServiceTest.cpp runs the unit's command"},
        {"cp", Kind::Elsewhere,
         "it writes to /etc; SerialPortServerExampleTest.cpp starts that file"},
    };
    return kRunners;
}

Runner runnerOf(const Command& command) {
    Runner best{"", Kind::Nobody, ""};
    for (const Runner& runner : runners()) {
        if (!startsWithWords(command.text, runner.start)) continue;
        if (std::strlen(runner.start) > std::strlen(best.start)) best = runner;
    }
    return best;
}

}  // namespace teskd::test
