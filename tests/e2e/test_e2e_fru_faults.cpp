// The fault matrix of the FRU writes: a download of a FRU image and a
// serial-number update, each request of the run in turn meeting a fault.
// Afterwards the device holds exactly its earlier content or exactly what
// the run was to write; or, where the BMC kept refusing, the command the
// run printed puts the earlier content back once the fault is lifted.
//
// The faults are those of e2e/fault_injection.h: completion codes, RMCP+
// sessions that fail, the BMC frozen or restarted, VALDRN killed or
// interrupted. By default each request meets one fault, the kinds in
// turn (every request and every kind is covered); with
// VALDRN_FAULT_MATRIX=full each request meets every kind:
//   VALDRN_FAULT_MATRIX=full ctest -R 'FruFaultMatrix'
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "e2e/fault_injection.h"
#include "support/fru_fixtures.h"

using namespace valdrn_test;

namespace {

// A small device image before, and a small one to write: few requests.
const std::string S_sBefore =
    FruImage({"", FruChassisArea(0x17, {FruAsciiField("OLD-PART"), FruAsciiField("CSN-OLD1")}), "", "", ""});
const std::string S_sFile =
    FruImage({"", FruChassisArea(0x11, {FruAsciiField("NEW-PART-0042"), FruAsciiField("CSN-NEW9")}), "", "", ""});

struct Operation {
    const char* pchName;
    std::string sStart;                // the device's image before the run
    std::vector<std::string> asWords;  // the run
};

std::string Hex(size_t uValue)
{
    char achText[24];
    std::snprintf(achText, sizeof achText, "%zX", uValue);
    return achText;
}

std::vector<Operation> Operations()
{
    const size_t uSerial = S_sBefore.find("CSN-OLD1");
    return {{"download", S_sBefore, {"-d", "in.fru", "fruID=0"}},
            {"update",
             S_sBefore,
             {"-updateFRU", "fieldName=snChassis", "fruID=0", "offset=" + Hex(uSerial), "strType=3", "strLength=8",
              "strValue=CSN-UPD7"}}};
}

// The device holds the operation's starting image; the file is there.
void Prepare(const EndToEnd& e2e, const Operation& operation)
{
    e2e.Write("start.fru", operation.sStart);
    EXPECT_EQ(e2e.Valdrn({"-d", "start.fru", "fruID=0"}).iStatus, 0);
    e2e.Write("in.fru", S_sFile);
}

std::string DeviceContent(const EndToEnd& e2e)
{
    return e2e.FruArea(0);
}

// The requests of a clean run, and the device it leaves.
RequestSequence CleanRun(const Operation& operation, std::string* psExpected)
{
    EndToEnd e2e("fru=0:512");
    Prepare(e2e, operation);
    StandInIpmitool ipmitool;
    const CommandResult result = e2e.ValdrnWithPath(ipmitool.Path(), operation.asWords);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    *psExpected = e2e.FruArea(0);
    return RequestsOf(ipmitool);
}

void RunOneFault(const Operation& operation, const RequestSequence& sequence, const std::string& sExpected,
                 int iRequest, const std::string& sFault)
{
    const std::string sWhat = std::string(operation.pchName) + ": request " + std::to_string(iRequest) + " (" +
                              sequence.asRequests[static_cast<size_t>(iRequest)] + "), " + sFault;
    SCOPED_TRACE(sWhat);
    EndToEnd e2e("fru=0:512");
    Prepare(e2e, operation);
    const FaultOutcome outcome = {e2e.FruArea(0), sExpected, "successful", DeviceContent, {"fruID=0"}};
    const CommandResult result = RunWithFault(e2e, sequence, iRequest, sFault, operation.asWords);
    ExpectNoDataLost(e2e, result, sFault, outcome, sWhat + "\n" + result.sOut + result.sErr);
}

// One operation, each of its requests in turn.
class FruFaultMatrix : public testing::TestWithParam<int> {};

TEST_P(FruFaultMatrix, TheDeviceEndsAsItWasOrAsTheFileOrTheWayBackIsNamed)
{
    const Operation operation = Operations()[static_cast<size_t>(GetParam())];
    std::string sExpected;
    const RequestSequence sequence = CleanRun(operation, &sExpected);
    // Get Device ID, the area size, the reads that plan the work and save
    // the copy, the writes and their read-backs.
    ASSERT_GE(sequence.asRequests.size(), 8u);
    ASSERT_LE(sequence.asRequests.size(), 30u);
    ASSERT_NE(sExpected.substr(0, S_sFile.size()), std::string(S_sFile.size(), '\xFF'));
    const int iRequests = static_cast<int>(sequence.asRequests.size());
    const std::vector<std::string>& asKinds = FaultKinds();
    std::printf("%s: %d requests, %zu fault case(s) each\n", operation.pchName, iRequests,
                FullFaultMatrix() ? asKinds.size() : 1);
    for (int iRequest = 0; iRequest < iRequests; ++iRequest) {
        if (FullFaultMatrix()) {
            for (const std::string& sFault : asKinds) {
                RunOneFault(operation, sequence, sExpected, iRequest, sFault);
            }
        } else {
            const size_t uKind = static_cast<size_t>(iRequest + GetParam() * 7) % asKinds.size();
            RunOneFault(operation, sequence, sExpected, iRequest, asKinds[uKind]);
        }
    }
}

// Ctrl-C and Ctrl-backslash to VALDRN's process group at every request:
// SIGINT at even requests, SIGQUIT at odd ones (both with
// VALDRN_FAULT_MATRIX=full).
TEST_P(FruFaultMatrix, GroupSignalsAtEachRequestLoseNothing)
{
    const Operation operation = Operations()[static_cast<size_t>(GetParam())];
    std::string sExpected;
    const RequestSequence sequence = CleanRun(operation, &sExpected);
    ASSERT_GE(sequence.asRequests.size(), 8u);
    const int iRequests = static_cast<int>(sequence.asRequests.size());
    for (int iRequest = 0; iRequest < iRequests; ++iRequest) {
        if (FullFaultMatrix() || iRequest % 2 == 0) {
            RunOneFault(operation, sequence, sExpected, iRequest, "valdrn-group-interrupted");
        }
        if (FullFaultMatrix() || iRequest % 2 == 1) {
            RunOneFault(operation, sequence, sExpected, iRequest, "valdrn-group-quit");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachRequest, FruFaultMatrix, testing::Values(0, 1),
                         [](const testing::TestParamInfo<int>& info) {
                             return std::string(info.param == 0 ? "download" : "update");
                         });

}  // namespace
