#include "bmc/talk_to_bmc.h"

#include <dlfcn.h>
#include <strings.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "base/interface_state.h"
#include "bmc/ipmi_command.h"
#include "bmc/transport.h"

const char* G_pchOpenRawLibrary = "libopenraw.so";
const char* G_pchKCSIOLibrary = "libkcsio.so";
TTalkToBMC* G_pTalkBMC = nullptr;

namespace {

const char* const S_pachSysIntfStr[] = {"", "KCS", "SMIC", "BT", "NULL"};
const char* const S_pachRegSpaceStr[] = {"ByteBoundary", "ThirtyTwoBitBoundary", "SixteenBitBoundary", "Reserved"};

constexpr unsigned short DEFAULT_KCS_PORT = 0xCA8;
constexpr long DEFAULT_FIRMWARE_INFO_ADDRESS = 0x3000;
constexpr int CONFIG_LINE_SIZE = 64;

// The index of the name in the table, case-insensitively; -1 when absent.
template <size_t N>
int FindName(const char* pchName, const char* const (&apchTable)[N], size_t uFirst)
{
    for (size_t i = uFirst; i < N; ++i) {
        if (pchName != nullptr && strcasecmp(pchName, apchTable[i]) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

char* FirstConfigToken(char* pchLine)
{
    char* pchState = nullptr;
    return strtok_r(pchLine, " _\r\n", &pchState);
}

}  // namespace

void* OpenDllFile(const char* pchName)
{
    return pchName != nullptr ? dlopen(pchName, RTLD_NOW) : nullptr;
}

void* GetDllFunction(void* pHandle, const char* pchSymbol)
{
    return pHandle != nullptr && pchSymbol != nullptr ? dlsym(pHandle, pchSymbol) : nullptr;
}

bool CloseDllFile(void* pHandle)
{
    return pHandle != nullptr && dlclose(pHandle) == 0;
}

TTalkToBMC::TTalkToBMC(unsigned char u8InterfaceType)
    : m_achIniFilePath(), m_pHandle(nullptr), m_pfnRequest(nullptr), m_pfnClose(nullptr), m_pfnInitKCSIO(nullptr),
      m_pfnKCSIOSetIOTimeOut(nullptr), m_pfnKCSIOSetMessageTransferTimeOut(nullptr),
      m_pfnKCSIOSetWaitTimeBeforeReadRsp(nullptr), m_u8CompletionCode(0xFF), m_lFirmwareInfoAddress(0),
      m_u8InterfaceType(u8InterfaceType), m_iLastStatus(0), m_pLibrary(nullptr), m_pfnRawOpen(nullptr),
      m_pfnRawIPMBRequest(nullptr)
{
}

TTalkToBMC::~TTalkToBMC()
{
    if (m_pHandle != nullptr && m_pLibrary != nullptr) {
        if (m_pfnClose != nullptr) {
            m_pfnClose(m_pHandle);
        }
        m_pHandle = nullptr;
        UnloadLibrary();
    }
}

// The class's own trace: deliberately silent.
void TTalkToBMC::TBMCDebug(const char*, ...) {}

void TTalkToBMC::DumpRespData(const unsigned char*, unsigned short) {}

void TTalkToBMC::UnloadLibrary()
{
    CloseDllFile(m_pLibrary);
    m_pLibrary = nullptr;
    m_pfnRequest = nullptr;
    m_pfnClose = nullptr;
    m_pfnRawOpen = nullptr;
    m_pfnRawIPMBRequest = nullptr;
    m_pfnInitKCSIO = nullptr;
    m_pfnKCSIOSetIOTimeOut = nullptr;
    m_pfnKCSIOSetMessageTransferTimeOut = nullptr;
    m_pfnKCSIOSetWaitTimeBeforeReadRsp = nullptr;
}

bool TTalkToBMC::LoadOpenRaw()
{
    m_pLibrary = OpenDllFile(G_pchOpenRawLibrary);
    if (m_pLibrary == nullptr) {
        TBMCDebug("Init: Failed to load %s!\n", G_pchOpenRawLibrary);
        return false;
    }
    const char* const apchNames[] = {"RawOpen", "RawClose", "RawRequest", "RawIPMBRequest"};
    void* apSymbols[4];
    bool bAll = true;
    for (int i = 0; i < 4; ++i) {
        apSymbols[i] = GetDllFunction(m_pLibrary, apchNames[i]);
        bAll = bAll && apSymbols[i] != nullptr;
    }
    if (!bAll) {
        UnloadLibrary();
        for (int i = 0; i < 4; ++i) {
            if (apSymbols[i] == nullptr) {
                TBMCDebug("Init: Failed to get the exported function %s() from %s!\n", apchNames[i],
                          G_pchOpenRawLibrary);
            }
        }
        return false;
    }
    m_pfnRawOpen = reinterpret_cast<TRawOpen>(apSymbols[0]);
    m_pfnClose = reinterpret_cast<TRawClose>(apSymbols[1]);
    m_pfnRequest = reinterpret_cast<TRawRequest>(apSymbols[2]);
    m_pfnRawIPMBRequest = reinterpret_cast<TRawIPMBRequest>(apSymbols[3]);
    return true;
}

bool TTalkToBMC::LoadKCSIO()
{
    m_pLibrary = OpenDllFile(G_pchKCSIOLibrary);
    if (m_pLibrary == nullptr) {
        TBMCDebug("Init: Failed to load %s!\n", G_pchKCSIOLibrary);
        return false;
    }
    const char* const apchNames[] = {"InitKCSIO",
                                     "UinitKCSIO",
                                     "KCSIORequest",
                                     "KCSIOSetIOTimeOut",
                                     "KCSIOSetMessageTransferTimeOut",
                                     "KCSIOSetWaitTimeBeforeReadRsp"};
    void* apSymbols[6];
    bool bAll = true;
    for (int i = 0; i < 6; ++i) {
        apSymbols[i] = GetDllFunction(m_pLibrary, apchNames[i]);
        bAll = bAll && apSymbols[i] != nullptr;
    }
    if (!bAll) {
        UnloadLibrary();
        for (int i = 0; i < 6; ++i) {
            if (apSymbols[i] == nullptr) {
                TBMCDebug("Init: Failed to get the exported function %s() from %s!\n", apchNames[i], G_pchKCSIOLibrary);
            }
        }
        return false;
    }
    m_pfnInitKCSIO = reinterpret_cast<TInitKCSIO>(apSymbols[0]);
    m_pfnClose = reinterpret_cast<TUinitKCSIO>(apSymbols[1]);
    m_pfnRequest = reinterpret_cast<TKCSIORequest>(apSymbols[2]);
    m_pfnKCSIOSetIOTimeOut = reinterpret_cast<TKCSIOSetTime>(apSymbols[3]);
    m_pfnKCSIOSetMessageTransferTimeOut = reinterpret_cast<TKCSIOSetTime>(apSymbols[4]);
    m_pfnKCSIOSetWaitTimeBeforeReadRsp = reinterpret_cast<TKCSIOSetTime>(apSymbols[5]);
    return true;
}

bool TTalkToBMC::InitKCS(unsigned int uPortAddress, RegisterSpacing eSpacing)
{
    if (!LoadKCSIO()) {
        return false;
    }
    SystemInterface eInterface = SYSTEM_INTERFACE_KCS;
    unsigned short u16Port = DEFAULT_KCS_PORT;
    RegisterSpacing eFileSpacing = ThirtyTwoBitBoundary;
    const int iConfig = GetConfig(&eInterface, &u16Port, &eFileSpacing, &m_lFirmwareInfoAddress);
    if (iConfig == TALK_CONFIG_MISSING) {
        m_pHandle = m_pfnInitKCSIO(static_cast<unsigned short>(uPortAddress), eSpacing);
    } else if (iConfig == TALK_SUCCESS) {
        // The interface named in the file is only checked, not passed on.
        m_pHandle = m_pfnInitKCSIO(u16Port, eFileSpacing);
    } else {
        UnloadLibrary();
        return false;
    }
    if (m_pHandle == nullptr) {
        UnloadLibrary();
        TBMCDebug("Init: %s failed!\n", "InitKCSIO");
        return false;
    }
    return true;
}

bool TTalkToBMC::Init(void* pArg, unsigned int uPortAddress, RegisterSpacing eSpacing)
{
    if (m_pHandle != nullptr) {
        TBMCDebug("Init: the library has been opened already!\n");
        return false;
    }
    if (m_u8InterfaceType == 2 && pArg == nullptr) {
        TBMCDebug("Init: invalid input parameter!\n");
        return false;
    }
    if (m_u8InterfaceType == INTERFACE_OPENIPMI_RAW) {
        if (!LoadOpenRaw()) {
            return false;
        }
        m_pHandle = m_pfnRawOpen();
        if (m_pHandle == nullptr) {
            UnloadLibrary();
            TBMCDebug("Init: %s failed!\n", "RawOpen");
            return false;
        }
        return true;
    }
    if (m_u8InterfaceType != INTERFACE_KCS_IO) {
        TBMCDebug("Init: Support KCS intferface only!\n");
        return false;
    }
    return InitKCS(uPortAddress, eSpacing);
}

bool TTalkToBMC::IsConnectToBMCOK()
{
    // Set only by an Init that loaded the library and opened it.
    return m_pHandle != nullptr;
}

int TTalkToBMC::RequestBMC(unsigned char u8NetFn, unsigned char u8Cmd, unsigned char u8Lun, unsigned char* pu8ReqData,
                           unsigned char u8ReqLen, unsigned char* pu8RspData, unsigned short* pu16RspLen)
{
    m_u8CompletionCode = 0xFF;
    m_iLastStatus = 0;
    if (pu8ReqData == nullptr || pu8RspData == nullptr || pu16RspLen == nullptr) {
        TBMCDebug("requestBMC: Invalid input parameter!\n");
        return TALK_BAD_DATA;
    }
    if (!IsConnectToBMCOK()) {
        return TALK_INVALID_HANDLE;
    }
    const auto u8NetFnLun = static_cast<unsigned char>((u8NetFn << 2) | u8Lun);
    // Either library's request entry, as Init loaded it.
    if (m_pfnRequest == nullptr) {
        TBMCDebug("requestBMC: Invalid function address!\n");
        return TALK_INVALID_FUNCTION;
    }
    m_iLastStatus =
        m_pfnRequest(m_pHandle, u8NetFnLun, u8Cmd, pu8ReqData, u8ReqLen, &m_u8CompletionCode, pu8RspData, pu16RspLen);
    if (m_iLastStatus != 0) {
        TBMCDebug("RawRequst failed: status = %d\n", m_iLastStatus);
    }
    TBMCDebug("Send Command [%d] NetFn [%d] :\n", u8Cmd, u8NetFn);
    TBMCDebug("CompletCode = %d\tResponse Length = %d\n", m_u8CompletionCode, *pu16RspLen);
    if (m_iLastStatus != 0) {
        return TALK_LIBRARY_STATUS;
    }
    DumpRespData(pu8RspData, *pu16RspLen);
    TBMCDebug("\n************* End of RspData. ********\n\n\n");
    return TALK_SUCCESS;
}

int TTalkToBMC::RequestIPMB(unsigned char u8SlaveAddress, unsigned char u8NetFn, unsigned char u8Cmd,
                            unsigned char u8Lun, unsigned char* pu8ReqData, unsigned char u8ReqLen,
                            unsigned char* pu8RspData, unsigned short* pu16RspLen)
{
    m_u8CompletionCode = 0xFF;
    m_iLastStatus = 0;
    if (pu8ReqData == nullptr || pu8RspData == nullptr || pu16RspLen == nullptr) {
        TBMCDebug("requestIPMB: Invalid input parameters!\n");
        return TALK_BAD_DATA;
    }
    if (!IsConnectToBMCOK()) {
        return TALK_INVALID_HANDLE;
    }
    // libopenraw.so alone bridges to IPMB.
    if (m_pfnRawIPMBRequest == nullptr) {
        TBMCDebug("requestIPMB: Support KCS interface only!\n");
        return TALK_NOT_SUPPORTED;
    }
    const auto u8NetFnLun = static_cast<unsigned char>((u8NetFn << 2) | u8Lun);
    m_iLastStatus = m_pfnRawIPMBRequest(m_pHandle, u8SlaveAddress, u8NetFnLun, u8Cmd, pu8ReqData, u8ReqLen,
                                        &m_u8CompletionCode, pu8RspData, pu16RspLen);
    TBMCDebug("Send Command [%d] NetFn [%d] :\n", u8Cmd, u8NetFn);
    TBMCDebug("CompletCode = %d\tResponse Length = %d\n", m_u8CompletionCode, *pu16RspLen);
    return m_iLastStatus != 0 ? TALK_LIBRARY_STATUS : TALK_SUCCESS;
}

bool TTalkToBMC::SetKCSTime(TKCSIOSetTime pfnSetter, const char* pchName, unsigned char u8Value, const char* pchWhat)
{
    // libkcsio.so alone has the setters.
    if (m_pHandle == nullptr || pfnSetter == nullptr) {
        TBMCDebug("%s: supports interface INTERFACE_KCS_IO only (%s).\n", pchWhat, pchName);
        return false;
    }
    if (pfnSetter(m_pHandle, u8Value) != 0) {
        TBMCDebug("Failed to %s.\n", pchWhat);
        return false;
    }
    return true;
}

bool TTalkToBMC::SetRegisterTimeOut(unsigned char u8Value)
{
    return SetKCSTime(m_pfnKCSIOSetIOTimeOut, "KCSIOSetIOTimeOut", u8Value,
                      "Set timeout limit for the access of a KCS interface register");
}

bool TTalkToBMC::SetMessageTransferTimeOut(unsigned char u8Value)
{
    return SetKCSTime(m_pfnKCSIOSetMessageTransferTimeOut, "KCSIOSetMessageTransferTimeOut", u8Value,
                      "Set timeout limit for the transfer from SMS/BMC to BMC/SMS");
}

bool TTalkToBMC::SetWaitTimeBeforeReadRsp(unsigned char u8Value)
{
    return SetKCSTime(m_pfnKCSIOSetWaitTimeBeforeReadRsp, "KCSIOSetWaitTimeBeforeReadRsp", u8Value,
                      "Set the wait time before reading IPMI response");
}

bool TTalkToBMC::SaveIniFilePath(const char* pchPath)
{
    // The field holds 255 characters and its terminator.
    if (pchPath == nullptr || std::strlen(pchPath) >= sizeof m_achIniFilePath) {
        return false;
    }
    std::strcpy(m_achIniFilePath, pchPath);
    return true;
}

int TTalkToBMC::GetConfig(SystemInterface* peInterface, unsigned short* pu16PortAddress, RegisterSpacing* peSpacing,
                          long* plFirmwareInfoAddress)
{
    if (peInterface == nullptr || pu16PortAddress == nullptr || peSpacing == nullptr ||
        plFirmwareInfoAddress == nullptr) {
        TBMCDebug("Error config: Invalid input parameters.\n");
        return TALK_BAD_DATA;
    }
    const char* pchPath = m_achIniFilePath[0] != '\0' ? m_achIniFilePath : "intf.ini";
    FILE* pFile = std::fopen(pchPath, "r");
    if (pFile == nullptr) {
        TBMCDebug("Cannot find %s, abort.\n", pchPath);
        return TALK_CONFIG_MISSING;
    }
    char achLine[CONFIG_LINE_SIZE] = {};
    int iResult = TALK_SUCCESS;
    // Four positional lines; a missing line keeps the caller's preset.
    if (std::fgets(achLine, sizeof achLine, pFile) != nullptr) {
        const int iInterface = FindName(FirstConfigToken(achLine), S_pachSysIntfStr, 1);
        if (iInterface < 1 || iInterface > 3) {
            TBMCDebug("Error config: %s ==> not a valid System interface type.\n", achLine);
            iResult = TALK_GENERAL_ERROR;
        } else {
            *peInterface = static_cast<SystemInterface>(iInterface);
        }
    }
    std::memset(achLine, 0, sizeof achLine);
    if (iResult == TALK_SUCCESS && std::fgets(achLine, sizeof achLine, pFile) != nullptr) {
        const unsigned long ulPort = std::strtoul(achLine, nullptr, 16);
        if (ulPort < 0x10 || ulPort > 0xFFFE) {
            TBMCDebug("Error config: %s ==> not a valid Port Address.\n", achLine);
            iResult = TALK_GENERAL_ERROR;
        } else {
            *pu16PortAddress = static_cast<unsigned short>(ulPort);
        }
    }
    std::memset(achLine, 0, sizeof achLine);
    if (iResult == TALK_SUCCESS && std::fgets(achLine, sizeof achLine, pFile) != nullptr) {
        const int iSpacing = FindName(FirstConfigToken(achLine), S_pachRegSpaceStr, 0);
        if (iSpacing < 0) {
            TBMCDebug("Error config: %s ==> not a valid Register Spacing type.\n", achLine);
            iResult = TALK_GENERAL_ERROR;
        } else {
            *peSpacing = static_cast<RegisterSpacing>(iSpacing);
        }
    }
    if (iResult == TALK_SUCCESS) {
        *plFirmwareInfoAddress = DEFAULT_FIRMWARE_INFO_ADDRESS;
        std::memset(achLine, 0, sizeof achLine);
        if (std::fgets(achLine, sizeof achLine, pFile) != nullptr) {
            *plFirmwareInfoAddress = std::strtol(achLine, nullptr, 16);
        }
        TBMCDebug("Read Config:\nSysIntf = %s, PortAddr = 0x%03X, RegSpace = %s\n", S_pachSysIntfStr[*peInterface],
                  *pu16PortAddress, S_pachRegSpaceStr[*peSpacing & 3]);
    }
    std::fclose(pFile);
    return iResult;
}

const char* TTalkToBMC::ErrorMessage(int iCode) const
{
    switch (iCode) {
    case TALK_SUCCESS:
        return "Success!";
    case TALK_GENERAL_ERROR:
        return "General error!";
    case TALK_NOT_SUPPORTED:
        return "Interface not supported!";
    case TALK_BAD_DATA:
        return "BMC didn't accept the data you sent!";
    case TALK_INVALID_HANDLE:
        return "Invalid raw handle!";
    case TALK_LOAD_FAILED:
        return "Failed to load dynamic link library!";
    case TALK_INVALID_FUNCTION:
        return "Invalid function address!";
    case TALK_LIBRARY_STATUS:
        return std::strerror(m_iLastStatus);
    default:
        return "Unknown error!";
    }
}

namespace {

// A system-interface library as the run's transport.
class LibraryTransport : public IPMITransport {
public:
    explicit LibraryTransport(unsigned char u8InterfaceType) : m_talk(u8InterfaceType) {}
    TTalkToBMC& Talk() { return m_talk; }
    bool Send(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord) override
    {
        return DoSystemInterfaceCommand(m_talk.IsConnectToBMCOK() ? &m_talk : nullptr, u8NetFnLun, u8Cmd, psRecord);
    }

private:
    TTalkToBMC m_talk;
};

}  // namespace

bool InitializeKCS(unsigned int eInterface)
{
    TerminateConnSession();
    auto pTransport = std::unique_ptr<LibraryTransport>(
        new (std::nothrow) LibraryTransport(eInterface == eInterfaceKCSIO ? INTERFACE_KCS_IO : INTERFACE_OPENIPMI_RAW));
    if (pTransport == nullptr) {
        std::fputs("\n\nKCS creation error. Please check configuration.\n\n", stderr);
        return false;
    }
    G_pTalkBMC = &pTransport->Talk();
    UseTransport(std::move(pTransport));
    // A failed start leaves the instance for TerminateConnSession to free.
    if (!G_pTalkBMC->Init(nullptr, DEFAULT_KCS_PORT, ThirtyTwoBitBoundary) || !G_pTalkBMC->IsConnectToBMCOK()) {
        std::fputs("\n\nKCS initialization error. Please check configuration.\n\n", stderr);
        return false;
    }
    return true;
}

void TerminateKCS()
{
    TerminateConnSession();
}

void TerminateConnSession()
{
    G_pTalkBMC = nullptr;
    UseTransport(nullptr);
}
