#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

#include "cli/batchrun.h"
#include "tests/testutil.h"

namespace {

struct TRun {
    int Status;
    std::string Out, Err;
};

std::string ReadFile(const std::string& Path) {
    std::ifstream file(Path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

TRun RunCli(const std::string& Arguments) {
    TTempDir dir;
    const int status = std::system(
        (std::string(PW_CLI_PATH) + " " + Arguments + " >'" + dir / "out" + "' 2>'" + dir / "err" + "'")
            .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(dir / "out"), ReadFile(dir / "err")};
}

const auto Quoted = [](const std::string& Path) { return "'" + Path + "'"; };

// Notes what had been printed when each worker was made.
struct TWatchedDM : TDM {
    explicit TWatchedDM(const std::ostringstream& Out) : Out(Out) {}
    const std::ostringstream& Out;
    std::vector<std::string> PrintedAtStart;

    std::unique_ptr<TResize> CreateWorker(const TRisizeProperty& Job) override {
        PrintedAtStart.push_back(Out.str());
        return TDM::CreateWorker(Job);
    }
};

} // namespace

TEST(Cli, HelpVersionImageCommandsAndBadArguments) {
    TRun help = RunCli("--help");
    EXPECT_EQ(help.Status, 0);
    EXPECT_NE(help.Out.find("Usage: pixelwright-cli [OPTIONS] PATH..."), std::string::npos);
    TRun version = RunCli("--version");
    EXPECT_EQ(version.Status, 0);
    EXPECT_EQ(version.Out, "pixelwright-cli 8.1\n");

    TRun badSize = RunCli("--size 20000 x");
    EXPECT_EQ(badSize.Status, 2);
    EXPECT_NE(badSize.Err.find("--size takes a whole number from 16 to 16000"), std::string::npos);
    EXPECT_NE(badSize.Err.find("Usage:"), std::string::npos);
    EXPECT_EQ(RunCli("").Status, 2);
    // "image" hands the rest to the image commands.
    TRun detect = RunCli("image detect /no/such/file");
    EXPECT_EQ(detect.Status, 0);
    EXPECT_EQ(detect.Out, "0\n");
}

TEST(Cli, PrintsOneLinePerRowAndNamesThePathsItCouldNotTake) {
    TTempDir dir;
    WriteTextFile(dir / "b.txt", "not a picture");
    std::filesystem::create_directory(dir / "folder");
    WriteTextFile(dir / "folder/img10.txt", "x");
    WriteTextFile(dir / "folder/img9.txt", "x");
    // A pipe inside a folder is passed over; one named on the command line is reported.
    ASSERT_EQ(mkfifo((dir / "folder/pipe").c_str(), 0600), 0);
    TRun run = RunCli("--prefix P- --suffix -s --dir Out " + Quoted(dir / "b.txt") + " " +
                      Quoted(dir / "folder") + " " + Quoted(dir / "b.txt") + " " +
                      Quoted(dir / "missing.jpg") + " " + Quoted(dir / "folder/pipe"));
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(run.Out, dir / "b.txt" + "\tOK ..\\Out\\P-b-s.jpg\n" + dir / "folder/img9.txt" +
                           "\tOK ..\\Out\\P-img9-s.jpg\n" + dir / "folder/img10.txt" +
                           "\tOK ..\\Out\\P-img10-s.jpg\n");
    EXPECT_EQ(run.Err, "pixelwright-cli: " + dir / "missing.jpg" + ": No such file or directory\n" +
                           "pixelwright-cli: " + dir / "folder/pipe" + ": neither a file nor a folder\n");
}

TEST(Cli, RowsAreOutBeforeTheNextFileStartsAndProgressStaysOnStandardError) {
    TTempDir dir;
    WriteTextFile(dir / "a.txt", "x");
    WriteTextFile(dir / "bb.txt", "x");
    TBatchOptions options;
    options.Paths = {dir.Path()};
    std::ostringstream out, err;
    TWatchedDM dm(out);
    // Eight columns: the progress text is cut to seven, so that it never wraps.
    EXPECT_EQ(RunBatch(dm, options, out, err, 8), 0);
    const std::string first = dir / "a.txt" + "\tOK ..\\Resize\\R-a.jpg\n";
    EXPECT_EQ(dm.PrintedAtStart, (std::vector<std::string>{"", first}));
    EXPECT_EQ(out.str(), first + dir / "bb.txt" + "\tOK ..\\Resize\\R-bb.jpg\n");
    EXPECT_EQ(err.str(), "\r1/2 a.t\x1b[K\r\x1b[K\r2/2 bb.\x1b[K\r\x1b[K");

    std::ostringstream quietOut, quietErr;
    TDM quiet;
    RunBatch(quiet, options, quietOut, quietErr, 0);
    EXPECT_EQ(quietErr.str(), "");
    // A worker turns orientation on for the whole process; the image commands tested
    // in this process after it expect the setting of a fresh one.
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = false;
}
