// The commands that debug an emulated program do so.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "docs/Commands.h"
#include "support/ChildProcess.h"
#include "support/Listener.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

// A program for the controller, small enough to be made here.
std::string buildProgram(const TempDir& temp) {
    writeFile(temp / "program.c", "int main(void) { return 0; }\n");
    const std::string program = temp / "program";
    ChildProcess compiler(
        {.command = {"powerpc-linux-gnu-gcc", "-g", "-o", program, temp / "program.c"}});
    EXPECT_TRUE(compiler.waitForExit().value_or(ExitStatus{}).ok()) << compiler.standardError();
    return program;
}

// The first command of the page that starts like this.
std::string commandOf(const std::string& start) {
    for (const Command& command : Command::of(Page("docs/changing.md"))) {
        if (command.text.starts_with(start)) return command.text;
    }
    throw std::runtime_error("no command " + start);
}

TEST(DebuggingAsThePageSays, StopsAnEmulatedProgramAtABreakpoint) {
    TempDir temp;
    const std::string program = buildProgram(temp);
    const std::string port = std::to_string(freeTcpPort());
    const auto start = [&](std::string text) {
        text = std::regex_replace(text, std::regex("build/powerpc/net_tests"), program);
        text = std::regex_replace(text, std::regex("\\b1234\\b"), port);
        ChildProcess::Options options;
        options.command = {"sh", "-c", "exec " + text};
        return std::make_unique<ChildProcess>(options);
    };
    const auto emulator = start(commandOf("qemu-ppc"));
    std::string debugger = commandOf("gdb-multiarch");
    debugger.insert(debugger.find(' '), " -batch -nx -ex 'set tcp connect-timeout 10'");
    const auto gdb = start(debugger);
    ASSERT_TRUE(gdb->waitForExit());
    EXPECT_THAT(gdb->standardOutput(), HasSubstr("Breakpoint 1, main"))
        << gdb->standardOutput() << gdb->standardError() << emulator->standardError();
}

}  // namespace
}  // namespace teskd::test
