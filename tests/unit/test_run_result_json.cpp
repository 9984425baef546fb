// The run's result as the JSON document VALDRN_RESULT asks for.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "base/interface_state.h"
#include "cli/entry_point.h"
#include "cli/run_result_json.h"
#include "support/test_support.h"

using valdrn_test::CapturedOutput;
using valdrn_test::ReadFile;
using valdrn_test::TempDir;

namespace {

// The value of a top-level key, as the document's line shows it.
std::string Line(const std::string& sDocument, const std::string& sKey)
{
    const std::string sLead = "  \"" + sKey + "\": ";
    const size_t uAt = sDocument.find(sLead);
    if (uAt == std::string::npos) {
        return "<missing>";
    }
    const size_t uEnd = sDocument.find('\n', uAt);
    std::string sValue = sDocument.substr(uAt + sLead.size(), uEnd - uAt - sLead.size());
    if (!sValue.empty() && sValue.back() == ',') {
        sValue.pop_back();
    }
    return sValue;
}

TEST(RunResultJSON, AFileNameIsQuotedAsValidJSONWhateverItsBytes)
{
    RunResult result = StartRunResult(RunOperation::TEST, true, "a\"b\\c\td\x01\xC3\xA9\xFF.sdr", -1);
    EXPECT_EQ(Line(RunResultJSON(result, InterfaceChoice{}), "file"),
              "\"a\\\"b\\\\c\\u0009d\\u0001\xC3\xA9\\ufffd.sdr\"");
}

TEST(RunResultJSON, AnSDRVerificationListsTheRecordsThatDiffer)
{
    RunResult result = StartRunResult(RunOperation::VERIFY, true, "in.sdr", 3);
    result.eComparison = Comparison::DIFFERENT;
    SDRDifference changed;
    changed.iFilePosition = 0;
    changed.iBMCPosition = 0;
    changed.au8FileBytes = {0x01, 0x00, 0x51, 0x01};
    changed.au8BMCBytes = {0x34, 0x12, 0x51, 0x02};
    SDRDifference onlyInFile;
    onlyInFile.iFilePosition = 1;
    onlyInFile.au8FileBytes = {0xAB};
    result.asSDRDifferences = {changed, onlyInFile};
    const std::string sDocument = RunResultJSON(result, InterfaceChoice{});
    EXPECT_EQ(Line(sDocument, "fru_id"), "null");  // SDR data has no FRU ID
    EXPECT_EQ(Line(sDocument, "comparison"), "\"different\"");
    EXPECT_NE(sDocument.find("  \"differences\": [\n"
                             "    {\"file_position\": 0, \"bmc_position\": 0, \"bmc_record_id\": 4660, "
                             "\"file_bytes\": \"01005101\", \"bmc_bytes\": \"34125102\"},\n"
                             "    {\"file_position\": 1, \"bmc_position\": null, \"bmc_record_id\": null, "
                             "\"file_bytes\": \"AB\", \"bmc_bytes\": \"\"}\n"
                             "  ]\n}\n"),
              std::string::npos)
        << sDocument;
}

TEST(RunResultJSON, AFRUVerificationNamesItsAreas)
{
    RunResult result = StartRunResult(RunOperation::VERIFY, false, "in.fru", 2);
    FRUAreaDifference difference;
    difference.eArea = FRU_AREA_PRODUCT;
    difference.u16Offset = 0x48;
    difference.au8FileBytes = {0x01};
    difference.au8BMCBytes = {0x02};
    result.asFRUDifferences = {difference};
    const std::string sDocument = RunResultJSON(result, InterfaceChoice{});
    EXPECT_EQ(Line(sDocument, "fru_id"), "2");
    EXPECT_NE(sDocument.find("{\"area\": \"product\", \"offset\": 72, \"file_bytes\": \"01\", \"bmc_bytes\": \"02\"}"),
              std::string::npos)
        << sDocument;
}

TEST(RunResultJSON, TheTargetIsTheInterfaceAndOnLANPlusTheHost)
{
    InterfaceChoice interface;
    RunResult result = StartRunResult(RunOperation::DOWNLOAD, true, "in.sdr", -1);
    result.sSavedCopy = "backups/x.sdr";
    result.sRestoreCommand = "VALDRN -d backups/x.sdr";
    interface.eInterfaceInUse = eInterfaceLanPlus;
    std::snprintf(interface.sIolData.achHostIP, sizeof interface.sIolData.achHostIP, "%s", "10.1.2.3");
    std::string sDocument = RunResultJSON(result, interface);
    EXPECT_EQ(Line(sDocument, "target"), "{\"interface\": \"lanplus\", \"host\": \"10.1.2.3\"}");
    EXPECT_EQ(Line(sDocument, "saved_copy"), "\"backups/x.sdr\"");
    EXPECT_EQ(Line(sDocument, "restore_command"), "\"VALDRN -d backups/x.sdr\"");
    interface.eInterfaceInUse = eInterfaceKCSIO;
    EXPECT_EQ(Line(RunResultJSON(result, interface), "target"), "{\"interface\": \"kcsio\", \"host\": null}");
    // -t never reaches the BMC.
    EXPECT_EQ(Line(RunResultJSON(StartRunResult(RunOperation::TEST, true, "in.sdr", -1), interface), "target"), "null");
}

TEST(WriteRunResult, TheDocumentReplacesTheFileWhole)
{
    TempDir dir;
    const std::string sPath = dir.File("result.json");
    valdrn_test::WriteFile(sPath, "old");
    RunResult result = StartRunResult(RunOperation::TEST, false, "in.fru", 0);
    EXPECT_TRUE(WriteRunResult(sPath, result, InterfaceChoice{}));
    EXPECT_EQ(ReadFile(sPath), RunResultJSON(result, InterfaceChoice{}));
    // Nothing else is left beside it.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
}

TEST(WriteRunResult, AFolderThatIsNotThereIsSaidAndLeavesNothing)
{
    TempDir dir;
    const std::string sPath = dir.File("missing/result.json");
    CapturedOutput output;
    EXPECT_FALSE(WriteRunResult(sPath, RunResult(), InterfaceChoice{}));
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Cannot write the run's result to " + sPath + ": No such file or directory\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 0);
}

// The exit status and a rejected command line reach the result.
TEST(RunCommandLineResult, TheStatusAndARejectionAreRecorded)
{
    InterfaceChoice lan;
    lan.eInterfaceInUse = eInterfaceLanPlus;  // no KCS note
    TCommandLineExecution engine(15);
    engine.FunctionRegistry("d", 2, 1, [](unsigned short, char*[]) { return 1; });
    engine.FunctionRegistry("debugmsg", 0, 0, [](unsigned short, char*[]) { return 0; });
    std::string asWords[] = {"VALDRN", "-d", "a.sdr", "-x"};
    char* apchArgv[] = {&asWords[0][0], &asWords[1][0], &asWords[2][0], &asWords[3][0], nullptr};
    RunResult result;
    CapturedOutput output;
    EXPECT_EQ(RunCommandLine(engine, 4, apchArgv, lan, &result), 4);
    output.Finish();
    EXPECT_EQ(result.iExitStatus, 4);
    EXPECT_EQ(result.eOutcome, RunOutcome::REFUSED);

    RunResult failed;
    TCommandLineExecution failing(15);
    failing.FunctionRegistry("d", 2, 1, [&failed](unsigned short, char*[]) {
        failed.eOperation = RunOperation::DOWNLOAD;
        return 1;
    });
    failing.FunctionRegistry("debugmsg", 0, 0, [](unsigned short, char*[]) { return 0; });
    CapturedOutput failingOutput;
    EXPECT_EQ(RunCommandLine(failing, 3, apchArgv, lan, &failed), 1);
    failingOutput.Finish();
    EXPECT_EQ(failed.iExitStatus, 1);
    EXPECT_EQ(failed.eOutcome, RunOutcome::FAILURE);  // never success with a failed status

    // A handler that fails before any operation ran (an interface option
    // rejecting its value) refuses the run.
    TCommandLineExecution rejecting(15);
    rejecting.FunctionRegistry("d", 2, 1, [](unsigned short, char*[]) { return 1; });
    rejecting.FunctionRegistry("debugmsg", 0, 0, [](unsigned short, char*[]) { return 0; });
    RunResult rejected;
    CapturedOutput rejectingOutput;
    EXPECT_EQ(RunCommandLine(rejecting, 3, apchArgv, lan, &rejected), 1);
    rejectingOutput.Finish();
    EXPECT_EQ(rejected.eOutcome, RunOutcome::REFUSED);
}

}  // namespace
