// Black-box cases for the real VALDRN executable.
//
// A case is a directory under cases/:
//   args     the command line after the program name, one word per line
//            (absent or empty: no arguments)
//   stdin    optional standard input (absent: /dev/null)
//   files/   optional files copied into the working directory first
//   status   the expected exit status
//   stdout   the exact expected standard output (absent: nothing)
//   stderr   the exact expected standard error (absent: nothing)
//   expect/  optional files that must exist afterwards with exactly this
//            content
//   result.json  optional: the exact document the run writes where
//            VALDRN_RESULT names (every case runs with it set)
// Each case runs in a fresh temporary working directory.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace fs = std::filesystem;
using valdrn_test::ReadFile;
using valdrn_test::TempDir;

namespace {

struct CliCase {
    std::string sName;
    fs::path directory;
};

void PrintTo(const CliCase& cliCase, std::ostream* pStream)
{
    *pStream << cliCase.directory.string();
}

std::string ReadOptional(const fs::path& path)
{
    return fs::exists(path) ? ReadFile(path.string()) : std::string();
}

std::vector<std::string> ReadArguments(const fs::path& path)
{
    std::vector<std::string> asArgs;
    const std::string sText = ReadOptional(path);
    size_t uStart = 0;
    while (uStart < sText.size()) {
        size_t uEnd = sText.find('\n', uStart);
        if (uEnd == std::string::npos) {
            uEnd = sText.size();
        }
        asArgs.push_back(sText.substr(uStart, uEnd - uStart));
        uStart = uEnd + 1;
    }
    return asArgs;
}

std::vector<CliCase> DiscoverCases()
{
    std::vector<CliCase> cases;
    for (const auto& entry : fs::directory_iterator(CLI_CASES_DIR)) {
        if (!entry.is_directory()) {
            continue;
        }
        std::string sName = entry.path().filename().string();
        std::replace_if(
            sName.begin(), sName.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
        cases.push_back({sName, entry.path()});
    }
    std::sort(cases.begin(), cases.end(), [](const CliCase& a, const CliCase& b) { return a.sName < b.sName; });
    return cases;
}

struct RunResult {
    int iStatus = -1;
    std::string sOut;
    std::string sErr;
};

// Runs the executable in sWorkDir; output goes to files outside it so the
// working directory holds only what the program made.
RunResult RunProgram(const std::vector<std::string>& asArgs, const fs::path& stdinPath, const std::string& sWorkDir,
                     const TempDir& outputDir)
{
    const std::string sOutPath = outputDir.File("stdout");
    const std::string sErrPath = outputDir.File("stderr");
    std::vector<char*> apchArgv;
    std::vector<std::string> asCopies = valdrn_test::ProgramUnderTest(VALDRN_BINARY);
    asCopies.insert(asCopies.end(), asArgs.begin(), asArgs.end());
    for (auto& sArg : asCopies) {
        apchArgv.push_back(sArg.data());
    }
    apchArgv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid == 0) {
        const std::string sStdin = fs::exists(stdinPath) ? stdinPath.string() : "/dev/null";
        const int iIn = open(sStdin.c_str(), O_RDONLY);
        const int iOut = open(sOutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int iErr = open(sErrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (iIn < 0 || iOut < 0 || iErr < 0 || chdir(sWorkDir.c_str()) != 0) {
            _exit(127);
        }
        dup2(iIn, STDIN_FILENO);
        dup2(iOut, STDOUT_FILENO);
        dup2(iErr, STDERR_FILENO);
        setenv("VALDRN_RESULT", outputDir.File("result.json").c_str(), 1);
        execvp(apchArgv[0], apchArgv.data());
        _exit(127);
    }
    RunResult result;
    int iWaitStatus = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (waitpid(pid, &iWaitStatus, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &iWaitStatus, 0);
            ADD_FAILURE() << "the program did not finish within 120 s";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    result.iStatus = WIFEXITED(iWaitStatus) ? WEXITSTATUS(iWaitStatus) : 128 + WTERMSIG(iWaitStatus);
    result.sOut = ReadFile(sOutPath);
    result.sErr = ReadFile(sErrPath);
    return result;
}

class CliCaseTest : public testing::TestWithParam<CliCase> {};

TEST_P(CliCaseTest, Run)
{
    const fs::path& dir = GetParam().directory;
    TempDir workDir;
    TempDir outputDir;
    if (fs::exists(dir / "files")) {
        fs::copy(dir / "files", workDir.Path(), fs::copy_options::recursive);
    }
    const RunResult result = RunProgram(ReadArguments(dir / "args"), dir / "stdin", workDir.Path(), outputDir);

    ASSERT_TRUE(fs::exists(dir / "status")) << "case without a status file";
    EXPECT_EQ(result.iStatus, std::stoi(ReadFile((dir / "status").string())));
    EXPECT_EQ(result.sOut, ReadOptional(dir / "stdout"));
    EXPECT_EQ(result.sErr, ReadOptional(dir / "stderr"));
    // Every run that ends writes its result, whatever its status.
    const std::string sResultPath = outputDir.File("result.json");
    ASSERT_TRUE(fs::exists(sResultPath)) << "no result document was written";
    if (fs::exists(dir / "result.json")) {
        EXPECT_EQ(ReadFile(sResultPath), ReadFile((dir / "result.json").string()));
    }
    if (fs::exists(dir / "expect")) {
        for (const auto& entry : fs::recursive_directory_iterator(dir / "expect")) {
            if (!entry.is_regular_file()) {
                continue;
            }
            const fs::path produced = fs::path(workDir.Path()) / fs::relative(entry.path(), dir / "expect");
            ASSERT_TRUE(fs::exists(produced)) << produced << " was not written";
            EXPECT_EQ(ReadFile(produced.string()), ReadFile(entry.path().string())) << produced;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, CliCaseTest, testing::ValuesIn(DiscoverCases()),
                         [](const testing::TestParamInfo<CliCase>& info) { return info.param.sName; });

// Every sample file of examples/ passes -t (FRU files, named *.fru*, with
// fruID=0).
TEST(Examples, EachPassesTheTestOperation)
{
    int iFiles = 0;
    for (const auto& entry : fs::directory_iterator(EXAMPLES_DIR)) {
        const std::string sName = entry.path().filename().string();
        const bool bFru = sName.find(".fru") != std::string::npos;
        TempDir workDir;
        TempDir outputDir;
        fs::copy(entry.path(), fs::path(workDir.Path()) / sName);
        std::vector<std::string> asArgs = {"-t", sName};
        if (bFru) {
            asArgs.push_back("fruID=0");
        }
        const RunResult result = RunProgram(asArgs, "", workDir.Path(), outputDir);
        EXPECT_EQ(result.iStatus, 0) << sName << "\n" << result.sErr;
        const std::string sSuccess =
            std::string("No error found in ") + (bFru ? "FRU" : "SDR") + " file " + sName + "! \n \n";
        EXPECT_GE(result.sOut.size(), sSuccess.size());
        EXPECT_EQ(result.sOut.substr(result.sOut.size() - std::min(result.sOut.size(), sSuccess.size())), sSuccess);
        EXPECT_EQ(result.sErr, "");
        ++iFiles;
    }
    EXPECT_EQ(iFiles, 4);
}

}  // namespace
