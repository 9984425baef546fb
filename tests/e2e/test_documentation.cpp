// The documentation's worked examples are run as they stand: each page's
// files are written into a working directory of its own (which also holds
// the sample files of examples/), and each command shown must give exactly
// the output and status shown, against a test BMC where "$LAN" is used.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bmc/talk_to_bmc.h"
#include "e2e/e2e_support.h"
#include "support/doc_examples.h"

namespace fs = std::filesystem;
using namespace valdrn_test;

namespace {

struct DocPage {
    std::string sName;
    fs::path path;
};

void PrintTo(const DocPage& page, std::ostream* pStream)
{
    *pStream << page.path.string();
}

std::vector<DocPage> Pages()
{
    std::vector<DocPage> pages = {{"README", fs::path(PROJECT_DIR) / "README.md"}};
    for (const auto& entry : fs::directory_iterator(fs::path(PROJECT_DIR) / "docs")) {
        if (entry.path().extension() == ".md") {
            std::string sName = entry.path().stem().string();
            std::replace(sName.begin(), sName.end(), '-', '_');
            pages.push_back({sName, entry.path()});
        }
    }
    std::sort(pages.begin(), pages.end(), [](const DocPage& a, const DocPage& b) { return a.sName < b.sName; });
    return pages;
}

std::vector<std::string> Expanded(const std::vector<std::string>& asWords, const std::vector<std::string>& asLan)
{
    std::vector<std::string> asOut;
    for (const std::string& sWord : asWords) {
        if (sWord == "$LAN") {
            asOut.insert(asOut.end(), asLan.begin(), asLan.end());
        } else if (sWord == "$HOST") {
            const auto itHost = std::find(asLan.begin(), asLan.end(), "-H");
            asOut.push_back(itHost != asLan.end() && itHost + 1 != asLan.end() ? *(itHost + 1) : "");
        } else {
            asOut.push_back(sWord);
        }
    }
    return asOut;
}

void RunCommandOfPage(const EndToEnd& e2e, const DocRun& run, const DocCommand& command,
                      const std::vector<std::string>& asLan)
{
    SCOPED_TRACE("command at line " + std::to_string(command.iLine));
    ASSERT_FALSE(command.asWords.empty());
    if (command.asWords[0] == "cat") {
        ASSERT_EQ(command.asWords.size(), 2u);
        EXPECT_EQ(e2e.Read((fs::path(run.sDirectory) / command.asWords[1]).string()), command.sExpected);
        return;
    }
    ASSERT_EQ(command.asWords[0], "VALDRN") << "only VALDRN and cat are run";
    const std::vector<std::string> asArgs(command.asWords.begin() + 1, command.asWords.end());
    std::vector<std::string> asArgv = {"/usr/bin/env", "VALDRN_BACKUP_DIR=" + e2e.BackupDir()};
    for (const std::string& sWord : ProgramUnderTest(VALDRN_BINARY)) {
        asArgv.push_back(sWord);
    }
    for (const std::string& sWord : Expanded(asArgs, asLan)) {
        asArgv.push_back(sWord);
    }
    const CommandResult result = RunCommand(asArgv, run.sStdin, (fs::path(e2e.WorkDir()) / run.sDirectory).string());
    EXPECT_EQ(result.iStatus, run.iStatus) << result.sOut << result.sErr;
    const std::string sHeader = ProductHeader();
    ASSERT_EQ(result.sOut.substr(0, sHeader.size()), sHeader);
    EXPECT_EQ(result.sOut.substr(sHeader.size()) + result.sErr, command.sExpected);
}

class DocumentedExamples : public testing::TestWithParam<DocPage> {};

TEST_P(DocumentedExamples, RunAsShown)
{
    const DocExamples examples = ExtractDocExamples(ReadFile(GetParam().path.string()));
    for (const std::string& sError : examples.asErrors) {
        ADD_FAILURE() << GetParam().path.string() << ": " << sError;
    }
    // Smaller FRU devices than test_bmc_ctl's, which no documented output
    // shows: each FRU upload and verify reads a whole device, 16 bytes per
    // ipmitool run.
    EndToEnd e2e("fru=0:512,1:512");
    for (const auto& entry : fs::directory_iterator(EXAMPLES_DIR)) {
        fs::copy(entry.path(), fs::path(e2e.WorkDir()) / entry.path().filename());
    }
    for (const DocFile& file : examples.files) {
        fs::create_directories(fs::path(e2e.File(file.sName)).parent_path());
        e2e.Write(file.sName, file.sBytes);
    }
    const std::vector<std::string> asLan = e2e.Bmc().LanOptions();
    for (const DocRun& run : examples.runs) {
        for (const DocCommand& command : run.commands) {
            RunCommandOfPage(e2e, run, command, asLan);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pages, DocumentedExamples, testing::ValuesIn(Pages()),
                         [](const testing::TestParamInfo<DocPage>& info) { return info.param.sName; });

// Each file format has its own page with at least one worked example run
// with -t; the README has its tour.
TEST(Documentation, EveryFormatPageHasAWorkedExample)
{
    for (const char* pchPage : {"sdr-text-format", "sdr-binary-formats", "fru-text-format", "intf-ini"}) {
        const DocExamples examples =
            ExtractDocExamples(ReadFile((fs::path(PROJECT_DIR) / "docs" / (std::string(pchPage) + ".md")).string()));
        EXPECT_FALSE(examples.files.empty()) << pchPage;
        bool bTested = false;
        for (const DocRun& run : examples.runs) {
            for (const DocCommand& command : run.commands) {
                bTested =
                    bTested || std::find(command.asWords.begin(), command.asWords.end(), "-t") != command.asWords.end();
            }
        }
        EXPECT_TRUE(bTested) << pchPage << " runs no -t";
    }
    const DocExamples readme = ExtractDocExamples(ReadFile((fs::path(PROJECT_DIR) / "README.md").string()));
    std::vector<std::string> asOperations;
    for (const DocRun& run : readme.runs) {
        for (const DocCommand& command : run.commands) {
            for (const std::string& sWord : command.asWords) {
                asOperations.push_back(sWord);
            }
        }
    }
    for (const char* pchOperation : {"-t", "-d", "-u", "-v", "-updateFRU"}) {
        EXPECT_TRUE(std::find(asOperations.begin(), asOperations.end(), pchOperation) != asOperations.end())
            << "the README tour does not show " << pchOperation;
    }
}

// The intf.ini page's example says port CA2 with byte spacing: the
// configuration reader must take it so.
TEST(Documentation, IntfIniExampleReadsAsDescribed)
{
    const DocExamples examples =
        ExtractDocExamples(ReadFile((fs::path(PROJECT_DIR) / "docs" / "intf-ini.md").string()));
    const auto it = std::find_if(examples.files.begin(), examples.files.end(),
                                 [](const DocFile& file) { return file.sName == "intf.ini"; });
    ASSERT_NE(it, examples.files.end());
    TempDir dir;
    WriteFile(dir.File("intf.ini"), it->sBytes);
    TTalkToBMC bmc(INTERFACE_KCS_IO);
    ASSERT_TRUE(bmc.SaveIniFilePath(dir.File("intf.ini").c_str()));
    SystemInterface eInterface = SYSTEM_INTERFACE_BT;
    unsigned short u16Port = 0;
    RegisterSpacing eSpacing = Reserved;
    long lFirmwareInfo = 0;
    EXPECT_EQ(bmc.GetConfig(&eInterface, &u16Port, &eSpacing, &lFirmwareInfo), TALK_SUCCESS);
    EXPECT_EQ(eInterface, SYSTEM_INTERFACE_KCS);
    EXPECT_EQ(u16Port, 0xCA2);
    EXPECT_EQ(eSpacing, ByteBoundary);
}

TEST(DocExamplesExtraction, FilesInEachEncoding)
{
    const DocExamples examples = ExtractDocExamples(
        "text\n<!-- file: a.txt -->\n```\nx y\n```\n<!-- file: b utf8 -->\n```text\n\xC3\xA9\n```\n"
        "<!-- file: c utf16 -->\n```\nA\n```\n<!-- file: d hex -->\n```\n0000: 4B 52 // the mark\n  0A\n```\n");
    ASSERT_TRUE(examples.asErrors.empty()) << examples.asErrors[0];
    ASSERT_EQ(examples.files.size(), 4u);
    EXPECT_EQ(examples.files[0].sName, "a.txt");
    EXPECT_EQ(examples.files[0].sBytes, "x y\n");
    EXPECT_EQ(examples.files[0].iLine, 2);
    EXPECT_EQ(examples.files[1].sBytes, "\xEF\xBB\xBF\xC3\xA9\n");
    EXPECT_EQ(examples.files[2].sBytes, std::string("\xFF\xFE"
                                                    "A\0\n\0",
                                                    6));
    EXPECT_EQ(examples.files[3].sBytes, "KR\n");
}

TEST(DocExamplesExtraction, RunsWithSettings)
{
    const DocExamples examples = ExtractDocExamples(
        "<!-- run status=1 stdin=n dir=sub -->\n```\n$ VALDRN -t a.sdr\nline 1\n \n$ cat out\n```\n");
    ASSERT_TRUE(examples.asErrors.empty()) << examples.asErrors[0];
    ASSERT_EQ(examples.runs.size(), 1u);
    const DocRun& run = examples.runs[0];
    EXPECT_EQ(run.iStatus, 1);
    EXPECT_EQ(run.sStdin, "n\n");
    EXPECT_EQ(run.sDirectory, "sub");
    ASSERT_EQ(run.commands.size(), 2u);
    EXPECT_EQ(run.commands[0].asWords, (std::vector<std::string>{"VALDRN", "-t", "a.sdr"}));
    EXPECT_EQ(run.commands[0].sExpected, "line 1\n \n");
    EXPECT_EQ(run.commands[0].iLine, 3);
    EXPECT_EQ(run.commands[1].sExpected, "");
}

TEST(DocExamplesExtraction, MalformedMarkersAreReported)
{
    EXPECT_EQ(ExtractDocExamples("<!-- file: a\n```\n```\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- file: a -->\ntext\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- file: a -->\n```\nopen\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- file: a hex -->\n```\n4G\n```\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- file: a latin9 -->\n```\nx\n```\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- run -->\n```\noutput\n```\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- run sometimes -->\n```\n$ VALDRN -h\n```\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- run status=one -->\n```\n$ VALDRN -h\n```\n").asErrors.size(), 1u);
    EXPECT_EQ(ExtractDocExamples("<!-- run -->\n```\n```\n").asErrors.size(), 1u);
}

}  // namespace
