// Every IPMI request of the program goes through DoIPMICommand: to the
// system interface, or over LAN+ by running ipmitool once per attempt.
#pragma once

#include <string>

#include "base/interface_state.h"

constexpr unsigned int IPMI_REQUEST_DATA_SIZE = 32;
// The storage commands move SDR and FRU bytes this many at a time.
constexpr unsigned int STORAGE_CHUNK_SIZE = 16;
constexpr unsigned int IPMI_RESPONSE_DATA_SIZE = 100;

// NetFn/LUN bytes the program sends (LUN 0).
constexpr unsigned char NETFN_LUN_APP = 0x18;      // NetFn 0x06
constexpr unsigned char NETFN_LUN_STORAGE = 0x28;  // NetFn 0x0A
// Command bytes: Get Device ID (App), then the storage commands.
constexpr unsigned char CMD_GET_DEVICE_ID = 0x01;
constexpr unsigned char CMD_GET_FRU_INVENTORY_AREA_INFO = 0x10;
constexpr unsigned char CMD_READ_FRU_DATA = 0x11;
constexpr unsigned char CMD_WRITE_FRU_DATA = 0x12;
constexpr unsigned char CMD_GET_SDR_REPOSITORY_INFO = 0x20;
constexpr unsigned char CMD_RESERVE_SDR_REPOSITORY = 0x22;
constexpr unsigned char CMD_GET_SDR = 0x23;
constexpr unsigned char CMD_PARTIAL_ADD_SDR = 0x25;
constexpr unsigned char CMD_CLEAR_SDR_REPOSITORY = 0x27;
constexpr unsigned char CMD_RUN_INITIALIZATION_AGENT = 0x2C;

// Completion codes the program acts on.
constexpr unsigned char CC_NODE_BUSY = 0xC0;
constexpr unsigned char CC_TIMEOUT = 0xC3;
constexpr unsigned char CC_RESERVATION_CANCELLED = 0xC5;
// "Unspecified error": what a request that got no usable answer reads as
// (nothing sent, ipmitool killed or not found, an answer cut short).
constexpr unsigned char CC_NO_ANSWER = 0xFF;

// A BMC that says it is busy or timed out may answer the same request
// later: worth a short pause before it is sent again.
inline bool IsBusyOrTimeout(unsigned char u8CompletionCode)
{
    return u8CompletionCode == CC_NODE_BUSY || u8CompletionCode == CC_TIMEOUT;
}

struct IPMICommandRecord {
    unsigned char u8CompletionCode;
    unsigned char u8RequestLength;
    unsigned short u16ResponseLength;  // in: capacity (100); out: bytes after the completion code
    unsigned char au8RequestData[IPMI_REQUEST_DATA_SIZE];
    unsigned char au8ResponseData[IPMI_RESPONSE_DATA_SIZE];
};

struct SDRRepositoryInfo {
    unsigned char u8SDRVersion;
    unsigned short u16RecordCount;
    unsigned short u16FreeSpace;
    unsigned char u8OverflowFlag;
    unsigned char u8UpdateMode;
    bool bDeleteSDRSupported;
    bool bPartialAddSupported;
    bool bReserveSupported;
    bool bAllocationInfoSupported;
};

// True when the request succeeded (completion code 0 and, for most
// commands, a response of at least 2 bytes). Sent through the run's
// transport (bmc/transport.h); with none open, nothing is sent and the
// completion code is CC_NO_ANSWER.
bool DoIPMICommand(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord);

class TTalkToBMC;
// One request through a system-interface library (pTalk, or none open),
// traced, its answer judged by IsAcceptedAnswer.
bool DoSystemInterfaceCommand(TTalkToBMC* pTalk, unsigned char u8NetFnLun, unsigned char u8Cmd,
                              IPMICommandRecord* psRecord);
// Completion code 0 and a whole answer: at least 2 bytes after the code
// (Clear SDR Repository, Run Initialization Agent and Write FRU Data may
// answer shorter), and not IsShortAnswer.
bool IsAcceptedAnswer(unsigned char u8NetFnLun, unsigned char u8Cmd, const IPMICommandRecord& record);

// True when a completed request's answer is shorter than the command's
// response: the bytes the callers read would not be the BMC's. Clear SDR
// Repository, Run Initialization Agent and Write FRU Data may answer
// short; Get SDR must bring the bytes it asked for, Read FRU Data the
// count it names.
bool IsShortAnswer(unsigned char u8NetFnLun, unsigned char u8Cmd, const IPMICommandRecord& record);
// A zeroed record whose response length is preset to the whole buffer.
IPMICommandRecord NewCommandRecord();
// "cc = <completion code> " as a line on standard error.
void ReportCompletionCode(const IPMICommandRecord& record);
// "<ERROR> Error in executing IPMI command because of: <reason>" as a line,
// then the completion code.
void ReportCommandFailure(const char* pchReason, const IPMICommandRecord& record);
// Opens the LAN+ transport of the run to the BMC the parameters name (one
// ipmitool per request, or one session with VALDRN_LAN_SESSION=run);
// returns 1.
int InitializeRMCPPlus(const IolDataRecord& login);
// Opens the run's interface; false after a message.
bool InitializeInterface(const InterfaceChoice& interface);
bool GetDeviceID();

void SetRepositoryInfo(const unsigned char* pu8ResponseData, SDRRepositoryInfo* psInfo);
unsigned char GetLowByteOfWord(unsigned short u16Word);
unsigned char GetHighByteOfWord(unsigned short u16Word);
unsigned short ParseByIndex(const unsigned char* pu8Bytes, unsigned int uIndex, unsigned int uWidth);

// The value as one shell word that the shell passes on unchanged: as it is
// when every character is one the shell takes literally, else in single
// quotes.
std::string QuoteForShell(const char* pchValue);
