// The fault matrix of the FRU writes: a download of a FRU image and a
// serial-number update, each request of the run in turn meeting a fault.
// Afterwards the device holds exactly its earlier content or exactly what
// the run was to write; or, where the BMC kept refusing, the command the
// run printed puts the earlier content back once the fault is lifted.
//
// Faults: completion codes 0xC0, 0xC1, 0xC3, 0xC5, 0xCA and 0xFF on every
// attempt of the request, and an RMCP+ session that cannot be set up, for
// one attempt and for every attempt. By default each request meets one
// fault, in turn (every request and every fault is covered); with
// VALDRN_FAULT_MATRIX=full each request meets all eight:
//   VALDRN_FAULT_MATRIX=full ctest -R 'FruFaultMatrix'
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "e2e/e2e_support.h"
#include "support/fru_fixtures.h"

using namespace valdrn_test;

namespace {

const char* const S_apchFaults[] = {"c0", "c1", "c3", "c5", "ca", "ff", "session-once", "session-always"};
constexpr int FAULT_KINDS = 8;

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

// The LAN+ requests of a clean run: "netfn:cmd" and where in ipmitool's
// calls each one is (the presence check is a call too); and the device
// the clean run leaves.
struct Sequence {
    std::vector<std::string> asRequests;
    std::vector<int> aiCallNumber;  // 1-based, as the stand-in counts its calls
    std::string sExpected;
};

std::string NetFnAndCommand(const std::string& sCall)
{
    const size_t uRaw = sCall.find(" raw 0x");
    return uRaw == std::string::npos ? "" : sCall.substr(uRaw + 7, 2) + ":" + sCall.substr(uRaw + 12, 2);
}

// The device holds the operation's starting image; the file is there.
void Prepare(const EndToEnd& e2e, const Operation& operation)
{
    e2e.Write("start.fru", operation.sStart);
    EXPECT_EQ(e2e.Valdrn({"-d", "start.fru", "fruID=0"}).iStatus, 0);
    e2e.Write("in.fru", S_sFile);
}

Sequence CleanRun(const Operation& operation)
{
    EndToEnd e2e("fru=0:512");
    Prepare(e2e, operation);
    StandInIpmitool ipmitool;
    Sequence sequence;
    const CommandResult result = e2e.ValdrnWithPath(ipmitool.Path(), operation.asWords);
    EXPECT_EQ(result.iStatus, 0) << result.sErr;
    const std::vector<std::string> asCalls = ipmitool.Calls();
    for (size_t i = 0; i < asCalls.size(); ++i) {
        if (!NetFnAndCommand(asCalls[i]).empty()) {
            sequence.asRequests.push_back(NetFnAndCommand(asCalls[i]));
            sequence.aiCallNumber.push_back(static_cast<int>(i) + 1);
        }
    }
    sequence.sExpected = e2e.FruArea(0);
    return sequence;
}

// The stand-in that fails the session of the call numbered iFirst, and of
// the iCount calls from it.
StandInIpmitool SessionFailure(int iFirst, int iCount)
{
    return StandInIpmitool("if [ \"$N\" -ge " + std::to_string(iFirst) + " ] && [ \"$N\" -lt " +
                           std::to_string(iFirst + iCount) +
                           " ]; then echo 'Error: Unable to establish IPMI v2 / RMCP+ session'; exit 1; fi");
}

void RunOneFault(const Operation& operation, const Sequence& sequence, int iRequest, int iFault)
{
    const std::string sStep = sequence.asRequests[static_cast<size_t>(iRequest)];
    const std::string sFault = S_apchFaults[iFault];
    SCOPED_TRACE(std::string(operation.pchName) + ": request " + std::to_string(iRequest) + " (" + sStep + "), " +
                 sFault);

    EndToEnd e2e("fru=0:512");
    Prepare(e2e, operation);
    const std::string sBefore = e2e.FruArea(0);
    CommandResult result;
    if (sFault.rfind("session", 0) == 0) {
        const StandInIpmitool ipmitool =
            SessionFailure(sequence.aiCallNumber[static_cast<size_t>(iRequest)], sFault == "session-once" ? 1 : 6);
        result = e2e.ValdrnWithPath(ipmitool.Path(), operation.asWords);
    } else {
        int iNth = 0;
        for (int i = 0; i <= iRequest; ++i) {
            iNth += sequence.asRequests[static_cast<size_t>(i)] == sStep ? 1 : 0;
        }
        e2e.Bmc().Knob("fail=" + sStep + ":" + std::to_string(iNth) + ":" + sFault + ":6");
        result = e2e.Valdrn(operation.asWords);
    }
    e2e.Bmc().Knob("nofaults");
    const std::string sAfter = e2e.FruArea(0);
    const std::string sWhat = result.sOut + result.sErr;
    const bool bReported = result.sOut.find("successful") != std::string::npos;
    if (sAfter == sequence.sExpected) {
        return;
    }
    EXPECT_FALSE(bReported) << "reported successful, but the device differs from the file: " << sWhat;
    if (sAfter == sBefore) {
        return;
    }
    // Neither: only where the BMC kept refusing, and the way back is named.
    ASSERT_NE(result.sErr.find("; to put it back, run:\n"), std::string::npos)
        << "neither the earlier content nor the file, and no way back named: " << sWhat;
    const CommandResult restore = e2e.RunPrintedRestoreCommand(result);
    EXPECT_EQ(restore.iStatus, 0) << restore.sOut << restore.sErr;
    EXPECT_EQ(e2e.FruArea(0), sBefore) << "the printed command did not put the device back: " << sWhat;
}

bool FullMatrix()
{
    const char* pchMatrix = std::getenv("VALDRN_FAULT_MATRIX");
    return pchMatrix != nullptr && std::string(pchMatrix) == "full";
}

// One operation, each of its requests in turn.
class FruFaultMatrix : public testing::TestWithParam<int> {};

TEST_P(FruFaultMatrix, TheDeviceEndsAsItWasOrAsTheFileOrTheWayBackIsNamed)
{
    const Operation operation = Operations()[static_cast<size_t>(GetParam())];
    const Sequence sequence = CleanRun(operation);
    // Get Device ID, the area size, the reads that plan the work and save
    // the copy, the writes and their read-backs.
    ASSERT_GE(sequence.asRequests.size(), 8u);
    ASSERT_LE(sequence.asRequests.size(), 30u);
    ASSERT_NE(sequence.sExpected.substr(0, S_sFile.size()), std::string(S_sFile.size(), '\xFF'));
    const int iRequests = static_cast<int>(sequence.asRequests.size());
    std::printf("%s: %d requests, %d fault case(s) each\n", operation.pchName, iRequests,
                FullMatrix() ? FAULT_KINDS : 1);
    for (int iRequest = 0; iRequest < iRequests; ++iRequest) {
        if (FullMatrix()) {
            for (int iFault = 0; iFault < FAULT_KINDS; ++iFault) {
                RunOneFault(operation, sequence, iRequest, iFault);
            }
        } else {
            RunOneFault(operation, sequence, iRequest, (iRequest + GetParam()) % FAULT_KINDS);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachRequest, FruFaultMatrix, testing::Values(0, 1),
                         [](const testing::TestParamInfo<int>& info) {
                             return std::string(info.param == 0 ? "download" : "update");
                         });

}  // namespace
