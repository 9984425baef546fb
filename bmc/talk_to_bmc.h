// In-band access to the BMC through one of two libraries loaded at run
// time: libopenraw.so (the OpenIPMI driver) or libkcsio.so (direct KCS
// port I/O, configured from intf.ini).
#pragma once

#include "bmc/system_interface_api.h"

enum SystemInterface {
    SYSTEM_INTERFACE_KCS = 1,
    SYSTEM_INTERFACE_SMIC = 2,
    SYSTEM_INTERFACE_BT = 3,
};

// Interface types of TTalkToBMC.
constexpr unsigned char INTERFACE_OPENIPMI_RAW = 0;
constexpr unsigned char INTERFACE_KCS_IO = 3;

// Return codes of the request operations and GetConfig.
enum eTalkResult {
    TALK_SUCCESS = 0,
    TALK_GENERAL_ERROR = 1,
    TALK_NOT_SUPPORTED = 2,
    TALK_BAD_DATA = 3,
    TALK_INVALID_HANDLE = 4,
    TALK_LOAD_FAILED = 5,
    TALK_INVALID_FUNCTION = 6,
    TALK_LIBRARY_STATUS = 7,
    TALK_CONFIG_MISSING = 8,
};

// The library names dlopen() looks for; tests point them at stand-ins.
extern const char* G_pchOpenRawLibrary;
extern const char* G_pchKCSIOLibrary;

void* OpenDllFile(const char* pchName);
void* GetDllFunction(void* pHandle, const char* pchSymbol);
bool CloseDllFile(void* pHandle);

class TTalkToBMC {
public:
    explicit TTalkToBMC(unsigned char u8InterfaceType);
    ~TTalkToBMC();
    TTalkToBMC(const TTalkToBMC&) = delete;
    TTalkToBMC& operator=(const TTalkToBMC&) = delete;

    bool Init(void* pArg, unsigned int uPortAddress, RegisterSpacing eSpacing);
    bool IsConnectToBMCOK();
    int RequestBMC(unsigned char u8NetFn, unsigned char u8Cmd, unsigned char u8Lun, unsigned char* pu8ReqData,
                   unsigned char u8ReqLen, unsigned char* pu8RspData, unsigned short* pu16RspLen);
    int RequestIPMB(unsigned char u8SlaveAddress, unsigned char u8NetFn, unsigned char u8Cmd, unsigned char u8Lun,
                    unsigned char* pu8ReqData, unsigned char u8ReqLen, unsigned char* pu8RspData,
                    unsigned short* pu16RspLen);
    unsigned char CompletionCode() const { return m_u8CompletionCode; }
    long GetAddressToFirmwareInfo() const { return m_lFirmwareInfoAddress; }
    bool SetRegisterTimeOut(unsigned char u8Value);
    bool SetMessageTransferTimeOut(unsigned char u8Value);
    bool SetWaitTimeBeforeReadRsp(unsigned char u8Value);
    bool SaveIniFilePath(const char* pchPath);
    int GetConfig(SystemInterface* peInterface, unsigned short* pu16PortAddress, RegisterSpacing* peSpacing,
                  long* plFirmwareInfoAddress);
    const char* ErrorMessage(int iCode) const;

private:
    void DumpRespData(const unsigned char* pu8Data, unsigned short u16Length);
    void TBMCDebug(const char* pchFormat, ...) __attribute__((format(printf, 2, 3)));
    bool LoadOpenRaw();
    bool LoadKCSIO();
    bool InitKCS(unsigned int uPortAddress, RegisterSpacing eSpacing);
    bool SetKCSTime(TKCSIOSetTime pfnSetter, const char* pchName, unsigned char u8Value, const char* pchWhat);
    void UnloadLibrary();

    char m_achIniFilePath[256];
    // The open library's handle and its request and close entries, the
    // same shape in both libraries.
    void* m_pHandle;
    TRawRequest m_pfnRequest;
    TRawClose m_pfnClose;
    TInitKCSIO m_pfnInitKCSIO;
    TKCSIOSetTime m_pfnKCSIOSetIOTimeOut;
    TKCSIOSetTime m_pfnKCSIOSetMessageTransferTimeOut;
    TKCSIOSetTime m_pfnKCSIOSetWaitTimeBeforeReadRsp;
    unsigned char m_u8CompletionCode;
    long m_lFirmwareInfoAddress;
    unsigned char m_u8InterfaceType;
    int m_iLastStatus;
    void* m_pLibrary;
    TRawOpen m_pfnRawOpen;
    TRawIPMBRequest m_pfnRawIPMBRequest;
};

// The one in-band access object of a run, held by the run's transport
// (bmc/transport.h).
extern TTalkToBMC* G_pTalkBMC;

// Opens the local interface's library (eInterfaceKCSIO: libkcsio.so, else
// libopenraw.so) as the run's transport, its TTalkToBMC as G_pTalkBMC; the
// OpenIPMI path too, despite the name, which is the one it has always had.
bool InitializeKCS(unsigned int eInterface);
void TerminateKCS();
// Ends the run's transport (G_pTalkBMC with it, or the LAN+ session).
void TerminateConnSession();
