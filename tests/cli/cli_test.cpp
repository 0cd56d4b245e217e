#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

#include "tests/testutil.h"

namespace {

struct TRun {
    int Status;
    std::string Output;
};

TRun RunCli(const std::string& Arguments) {
    std::string command = std::string(PW_CLI_PATH) + " " + Arguments + " 2>&1";
    TRun run{-1, {}};
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    size_t count;
    while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.Output.append(buffer, count);
    int status = pclose(pipe);
    run.Status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

} // namespace

TEST(Cli, HelpVersionAndBadArguments) {
    TRun help = RunCli("--help");
    EXPECT_EQ(help.Status, 0);
    EXPECT_NE(help.Output.find("Usage: pixelwright-cli [OPTIONS] PATH..."), std::string::npos);
    TRun version = RunCli("--version");
    EXPECT_EQ(version.Status, 0);
    EXPECT_EQ(version.Output, "pixelwright-cli 8.1\n");

    TRun badSize = RunCli("--size 20000 x");
    EXPECT_EQ(badSize.Status, 2);
    EXPECT_NE(badSize.Output.find("--size takes a whole number from 16 to 16000"), std::string::npos);
    EXPECT_NE(badSize.Output.find("Usage:"), std::string::npos);
    EXPECT_EQ(RunCli("").Status, 2);
}

TEST(Cli, PrintsOneLinePerRowInTableOrder) {
    TTempDir dir;
    WriteTextFile(dir / "b.txt", "not a picture");
    WriteTextFile(dir / "a.txt", "not a picture either");
    TRun run = RunCli("--prefix P- --suffix -s --dir Out '" + dir / "b.txt" + "' '" + dir / "a.txt" + "' '" +
                      dir / "b.txt" + "' '" + dir / "missing.jpg" + "'");
    EXPECT_EQ(run.Status, 0);
    EXPECT_EQ(run.Output, dir / "b.txt" + "\tOK ..\\Out\\P-b-s.jpg\n" + dir / "a.txt" + "\tOK ..\\Out\\P-a-s.jpg\n");
}
