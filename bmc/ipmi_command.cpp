#include "bmc/ipmi_command.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/interface_state.h"
#include "base/trace.h"
#include "bmc/talk_to_bmc.h"
#include "bmc/transport.h"

namespace {

// Commands whose success answer is the completion code and one byte.
bool AcceptsShortAnswer(unsigned char u8Cmd)
{
    return u8Cmd == CMD_CLEAR_SDR_REPOSITORY || u8Cmd == CMD_RUN_INITIALIZATION_AGENT || u8Cmd == CMD_WRITE_FRU_DATA;
}

// The fewest bytes after the completion code that the command's answer
// carries, its caller's request given.
unsigned int ShortestAnswer(unsigned char u8NetFnLun, unsigned char u8Cmd, const IPMICommandRecord& record)
{
    if (AcceptsShortAnswer(u8Cmd)) {
        return 0;
    }
    if (u8NetFnLun != NETFN_LUN_STORAGE) {
        return 2;
    }
    switch (u8Cmd) {
    case CMD_GET_SDR_REPOSITORY_INFO:
        return 14;
    case CMD_GET_FRU_INVENTORY_AREA_INFO:
        return 3;
    case CMD_GET_SDR:
        return 2u + record.au8RequestData[5];  // next record ID, then the bytes asked for
    case CMD_READ_FRU_DATA:
        return 1u + record.au8ResponseData[0];  // the count, then as many bytes
    default:
        return 2;
    }
}

unsigned short TracedLength(unsigned short u16Length)
{
    return u16Length < IPMI_RESPONSE_DATA_SIZE ? u16Length : IPMI_RESPONSE_DATA_SIZE;
}

}  // namespace

IPMICommandRecord NewCommandRecord()
{
    IPMICommandRecord record = {};
    record.u16ResponseLength = IPMI_RESPONSE_DATA_SIZE;
    // "No answer yet", as the system interface starts every request: over
    // LAN+ the result rests on the completion code alone, so a request whose
    // every ipmitool run failed (a BMC that stopped answering) must not read
    // as success and let an operation run on with empty answers.
    record.u8CompletionCode = CC_NO_ANSWER;
    return record;
}

void ReportCompletionCode(const IPMICommandRecord& record)
{
    std::fprintf(stderr, "cc = %X \n", record.u8CompletionCode);
}

void ReportCommandFailure(const char* pchReason, const IPMICommandRecord& record)
{
    std::fprintf(stderr, "<ERROR> Error in executing IPMI command because of: %s\n", pchReason);
    ReportCompletionCode(record);
}

bool DoIPMICommand(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord)
{
    if (psRecord == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return false;
    }
    IPMITransport* pTransport = CurrentTransport();
    if (pTransport == nullptr) {
        return DoSystemInterfaceCommand(nullptr, u8NetFnLun, u8Cmd, psRecord);
    }
    return pTransport->Send(u8NetFnLun, u8Cmd, psRecord);
}

bool DoSystemInterfaceCommand(TTalkToBMC* pTalk, unsigned char u8NetFnLun, unsigned char u8Cmd,
                              IPMICommandRecord* psRecord)
{
    std::memset(psRecord->au8ResponseData, 0, sizeof psRecord->au8ResponseData);
    const auto u8NetFn = static_cast<unsigned char>(u8NetFnLun >> 2);
    const auto u8Lun = static_cast<unsigned char>(u8NetFnLun & 3);
    DebugMessage("   NetFn=0x%X, Cmd=0x%X, ReqLen=0x%X\n   ReqData=", u8NetFn, u8Cmd, psRecord->u8RequestLength);
    DebugPrintArray(psRecord->au8RequestData, psRecord->u8RequestLength);
    if (pTalk == nullptr) {
        psRecord->u8CompletionCode = CC_NO_ANSWER;  // no interface open: nothing was sent
    } else {
        if (psRecord->u16ResponseLength > IPMI_RESPONSE_DATA_SIZE) {
            psRecord->u16ResponseLength = IPMI_RESPONSE_DATA_SIZE;
        }
        pTalk->RequestBMC(u8NetFn, u8Cmd, u8Lun, psRecord->au8RequestData, psRecord->u8RequestLength,
                          psRecord->au8ResponseData, &psRecord->u16ResponseLength);
        psRecord->u8CompletionCode = pTalk->CompletionCode();
    }
    DebugMessage("   cCode=0x%X, RspLen=0x%X\n   RspData=", psRecord->u8CompletionCode, psRecord->u16ResponseLength);
    DebugPrintArray(psRecord->au8ResponseData, TracedLength(psRecord->u16ResponseLength));
    DebugMessage("\n");
    return IsAcceptedAnswer(u8NetFnLun, u8Cmd, *psRecord);
}

bool IsAcceptedAnswer(unsigned char u8NetFnLun, unsigned char u8Cmd, const IPMICommandRecord& record)
{
    if (record.u8CompletionCode != 0) {
        return false;
    }
    if (record.u16ResponseLength < 2 && !AcceptsShortAnswer(u8Cmd)) {
        return false;
    }
    return !IsShortAnswer(u8NetFnLun, u8Cmd, record);
}

bool IsShortAnswer(unsigned char u8NetFnLun, unsigned char u8Cmd, const IPMICommandRecord& record)
{
    return record.u16ResponseLength < ShortestAnswer(u8NetFnLun, u8Cmd, record);
}

int InitializeRMCPPlus(const IolDataRecord& login)
{
    // VALDRN_LAN_SESSION=run: one ipmitool session for the whole run, opened
    // by its first request; else every ipmitool run opens and closes its own.
    // A value it does not know (a typo, "RUN") is said once: the run goes
    // on per request, slower but the same.
    const char* pchMode = std::getenv("VALDRN_LAN_SESSION");
    const bool bOneSession = pchMode != nullptr && std::strcmp(pchMode, "run") == 0;
    if (pchMode != nullptr && !bOneSession && *pchMode != '\0' && std::strcmp(pchMode, "request") != 0) {
        std::fputs("<WARNING> VALDRN_LAN_SESSION is neither \"run\" nor \"request\": one ipmitool per request.\n",
                   stderr);
    }
    UseTransport(bOneSession ? NewIpmitoolSessionTransport(login) : NewIpmitoolPerRequestTransport(login));
    return 1;
}

bool GetDeviceID()
{
    DebugMessage("\n=> CMD_GET_DEVICE_ID\n");
    IPMICommandRecord record = NewCommandRecord();
    return DoIPMICommand(NETFN_LUN_APP, CMD_GET_DEVICE_ID, &record);
}

bool InitializeInterface(const InterfaceChoice& interface)
{
    if (interface.eInterfaceInUse != eInterfaceLanPlus) {
        return InitializeKCS(interface.eInterfaceInUse);
    }
    InitializeRMCPPlus(interface.sIolData);
    if (!GetDeviceID()) {
        std::fputs("\n\nGet Device ID failed. Please check LAN+ configuration.\n\n", stderr);
        return false;
    }
    return true;
}

void SetRepositoryInfo(const unsigned char* pu8ResponseData, SDRRepositoryInfo* psInfo)
{
    if (pu8ResponseData == nullptr || psInfo == nullptr) {
        return;
    }
    const unsigned char u8Support = pu8ResponseData[13];
    psInfo->u8SDRVersion = pu8ResponseData[0];
    psInfo->u16RecordCount = ParseByIndex(pu8ResponseData, 1, 2);
    psInfo->u16FreeSpace = ParseByIndex(pu8ResponseData, 3, 2);
    psInfo->u8OverflowFlag = static_cast<unsigned char>(u8Support >> 7);
    psInfo->u8UpdateMode = static_cast<unsigned char>((u8Support >> 5) & 0x03);
    psInfo->bDeleteSDRSupported = (u8Support & 0x08) != 0;
    psInfo->bPartialAddSupported = (u8Support & 0x04) != 0;
    psInfo->bReserveSupported = (u8Support & 0x02) != 0;
    psInfo->bAllocationInfoSupported = (u8Support & 0x01) != 0;
}

unsigned char GetLowByteOfWord(unsigned short u16Word)
{
    return static_cast<unsigned char>(u16Word & 0xFF);
}

unsigned char GetHighByteOfWord(unsigned short u16Word)
{
    return static_cast<unsigned char>(u16Word >> 8);
}

unsigned short ParseByIndex(const unsigned char* pu8Bytes, unsigned int uIndex, unsigned int uWidth)
{
    if (uWidth < 2) {
        return pu8Bytes[uIndex];
    }
    return static_cast<unsigned short>(pu8Bytes[uIndex] + (pu8Bytes[uIndex + 1] << 8));
}
