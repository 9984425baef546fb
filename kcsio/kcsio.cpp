// libkcsio.so: IPMI requests to the BMC by direct I/O on its KCS system
// interface (IPMI v2.0, section 9), for machines without the OpenIPMI
// driver. Needs root (ioperm) and must not share the ports with ipmi_si.
//
// Entry points (C linkage, looked up with dlsym by VALDRN):
//   void* InitKCSIO(unsigned short port, int spacing);  // 0 byte, 1 32-bit, 2 16-bit
//   void  UinitKCSIO(void* handle);
//   int   KCSIORequest(handle, netFnLun, cmd, req, reqLen, &cc, rsp, &rspLen);
//   int   KCSIOSetIOTimeOut(handle, seconds);               // each register wait
//   int   KCSIOSetMessageTransferTimeOut(handle, seconds);  // a whole request
//   int   KCSIOSetWaitTimeBeforeReadRsp(handle, ms);        // pause before the read phase
// A request returns 0 or an errno value (ETIMEDOUT, EIO for a KCS error
// state that recovery could not clear). Only one process at a time uses
// the ports: InitKCSIO takes an exclusive lock that UinitKCSIO releases.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/io.h>
#include <unistd.h>

#include "base/monotonic_clock.h"
#include "bmc/system_interface_api.h"

namespace {

constexpr unsigned char STATUS_OBF = 0x01;
constexpr unsigned char STATUS_IBF = 0x02;
constexpr unsigned char STATE_MASK = 0xC0;
constexpr unsigned char STATE_IDLE = 0x00;
constexpr unsigned char STATE_READ = 0x40;
constexpr unsigned char STATE_WRITE = 0x80;

constexpr unsigned char CONTROL_GET_STATUS_ABORT = 0x60;
constexpr unsigned char CONTROL_WRITE_START = 0x61;
constexpr unsigned char CONTROL_WRITE_END = 0x62;
constexpr unsigned char CONTROL_READ = 0x68;

constexpr int ATTEMPTS = 3;
constexpr size_t MAX_RESPONSE = 272;
constexpr const char* LOCK_FILES[] = {"/run/lock/valdrn-kcsio.lock", "/tmp/valdrn-kcsio.lock"};

struct KcsHandle {
    unsigned short u16Data;
    unsigned short u16Status;  // status (read) and command (write) register
    int iLockFd;
    long lRegisterTimeoutMs;
    long lTransferTimeoutMs;
    long lWaitBeforeReadMs;
};

void PauseMicroseconds(long lMicroseconds)
{
    timespec pause = {0, lMicroseconds * 1000L};
    nanosleep(&pause, nullptr);
}

class Transfer {
public:
    explicit Transfer(const KcsHandle& handle)
        : m_handle(handle), m_lTransferDeadline(MonotonicMilliseconds() + handle.lTransferTimeoutMs)
    {
    }

    unsigned char Status() const { return inb(m_handle.u16Status); }
    unsigned char State() const { return Status() & STATE_MASK; }

    // Waits (bounded) until the status satisfies the mask/value pair.
    bool WaitFor(unsigned char u8Mask, unsigned char u8Value) const
    {
        const long lDeadline = MonotonicMilliseconds() + m_handle.lRegisterTimeoutMs;
        for (unsigned long ulSpins = 0;; ++ulSpins) {
            if ((Status() & u8Mask) == u8Value) {
                return true;
            }
            const long lNow = MonotonicMilliseconds();
            if (lNow > lDeadline || lNow > m_lTransferDeadline) {
                return false;
            }
            if (ulSpins > 100) {
                PauseMicroseconds(10);  // a slow BMC: stop burning the CPU
            }
        }
    }
    bool WaitInputEmpty() const { return WaitFor(STATUS_IBF, 0); }
    bool WaitOutputFull() const { return WaitFor(STATUS_OBF, STATUS_OBF); }
    void ClearOutput() const
    {
        if (Status() & STATUS_OBF) {
            (void)inb(m_handle.u16Data);
        }
    }
    void Command(unsigned char u8Control) const { outb(u8Control, m_handle.u16Status); }
    void Data(unsigned char u8Byte) const { outb(u8Byte, m_handle.u16Data); }
    unsigned char ReadData() const { return inb(m_handle.u16Data); }
    bool TimeLeft() const { return MonotonicMilliseconds() <= m_lTransferDeadline; }

    // The write phase: WRITE_START, the bytes, WRITE_END before the last.
    bool Write(const unsigned char* pu8Message, size_t uLength) const
    {
        if (!WaitInputEmpty()) {
            return false;
        }
        ClearOutput();
        Command(CONTROL_WRITE_START);
        if (!WaitInputEmpty() || State() != STATE_WRITE) {
            return false;
        }
        ClearOutput();
        for (size_t i = 0; i + 1 < uLength; ++i) {
            Data(pu8Message[i]);
            if (!WaitInputEmpty() || State() != STATE_WRITE) {
                return false;
            }
            ClearOutput();
        }
        Command(CONTROL_WRITE_END);
        if (!WaitInputEmpty() || State() != STATE_WRITE) {
            return false;
        }
        ClearOutput();
        Data(pu8Message[uLength - 1]);
        return true;
    }

    // The read phase: a byte while the state is READ, acknowledged with
    // READ; IDLE ends it with a dummy byte. Returns the bytes read, or -1.
    long Read(unsigned char* pu8Out, size_t uCapacity) const
    {
        size_t uCount = 0;
        for (;;) {
            if (!WaitInputEmpty()) {
                return -1;
            }
            const unsigned char u8State = State();
            if (u8State == STATE_READ) {
                if (!WaitOutputFull()) {
                    return -1;
                }
                const unsigned char u8Byte = ReadData();
                if (uCount < uCapacity) {
                    pu8Out[uCount++] = u8Byte;
                }
                Data(CONTROL_READ);
            } else if (u8State == STATE_IDLE) {
                if (!WaitOutputFull()) {
                    return -1;
                }
                (void)ReadData();  // the dummy byte
                return static_cast<long>(uCount);
            } else {
                return -1;
            }
            if (!TimeLeft()) {
                return -1;
            }
        }
    }

    // GET_STATUS/ABORT: brings the interface back to IDLE after an error.
    bool Abort() const
    {
        if (!WaitInputEmpty()) {
            return false;
        }
        Command(CONTROL_GET_STATUS_ABORT);
        if (!WaitInputEmpty()) {
            return false;
        }
        ClearOutput();
        Data(0x00);
        if (!WaitInputEmpty() || State() != STATE_READ) {
            return false;
        }
        if (!WaitOutputFull()) {
            return false;
        }
        (void)ReadData();  // the error status code
        Data(CONTROL_READ);
        if (!WaitInputEmpty() || State() != STATE_IDLE) {
            return false;
        }
        if (!WaitOutputFull()) {
            return false;
        }
        (void)ReadData();
        return true;
    }

private:
    const KcsHandle& m_handle;
    long m_lTransferDeadline;
};

unsigned short StatusOffset(int iSpacing)
{
    switch (iSpacing) {
    case 1:
        return 4;  // 32-bit boundaries
    case 2:
        return 2;  // 16-bit boundaries
    default:
        return 1;
    }
}

int TakeLock()
{
    for (const char* pchPath : LOCK_FILES) {
        const int fd = open(pchPath, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0) {
            continue;
        }
        // Another VALDRN on the ports: wait for it, but not for ever.
        for (int i = 0; i < 300; ++i) {
            if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
                return fd;
            }
            if (errno != EWOULDBLOCK) {
                break;
            }
            PauseMicroseconds(100000);
        }
        close(fd);
        return -1;
    }
    return -1;
}

}  // namespace

extern "C" {

void* InitKCSIO(unsigned short u16Port, RegisterSpacing eSpacing)
{
    // The caller's value may be any number: only the three spacings count.
    const int iSpacing = static_cast<int>(eSpacing);
    if (iSpacing < 0 || iSpacing > 2 || u16Port == 0) {
        errno = EINVAL;
        return nullptr;
    }
    const unsigned short u16Offset = StatusOffset(iSpacing);
    if (ioperm(u16Port, static_cast<unsigned long>(u16Offset) + 1, 1) != 0) {
        return nullptr;
    }
    const int iLockFd = TakeLock();
    if (iLockFd < 0) {
        ioperm(u16Port, static_cast<unsigned long>(u16Offset) + 1, 0);
        errno = EBUSY;
        return nullptr;
    }
    auto* pHandle = static_cast<KcsHandle*>(std::malloc(sizeof(KcsHandle)));
    if (pHandle == nullptr) {
        close(iLockFd);
        ioperm(u16Port, static_cast<unsigned long>(u16Offset) + 1, 0);
        errno = ENOMEM;
        return nullptr;
    }
    pHandle->u16Data = u16Port;
    pHandle->u16Status = static_cast<unsigned short>(u16Port + u16Offset);
    pHandle->iLockFd = iLockFd;
    pHandle->lRegisterTimeoutMs = 5000;
    pHandle->lTransferTimeoutMs = 10000;
    pHandle->lWaitBeforeReadMs = 0;
    return pHandle;
}

void UinitKCSIO(void* pvHandle)
{
    auto* pHandle = static_cast<KcsHandle*>(pvHandle);
    if (pHandle == nullptr) {
        return;
    }
    ioperm(pHandle->u16Data, static_cast<unsigned long>(pHandle->u16Status - pHandle->u16Data) + 1, 0);
    close(pHandle->iLockFd);  // releases the lock
    std::free(pHandle);
}

int KCSIORequest(void* pvHandle, unsigned char u8NetFnLun, unsigned char u8Cmd, unsigned char* pu8Req,
                 unsigned char u8ReqLen, unsigned char* pu8Cc, unsigned char* pu8Rsp, unsigned short* pu16RspLen)
{
    auto* pHandle = static_cast<KcsHandle*>(pvHandle);
    if (pHandle == nullptr || pu8Cc == nullptr || pu16RspLen == nullptr || (pu8Req == nullptr && u8ReqLen > 0)) {
        return EINVAL;
    }
    unsigned char au8Message[2 + 255];
    au8Message[0] = u8NetFnLun;
    au8Message[1] = u8Cmd;
    if (u8ReqLen > 0) {
        std::memcpy(au8Message + 2, pu8Req, u8ReqLen);
    }
    const size_t uLength = 2u + u8ReqLen;
    int iResult = ETIMEDOUT;
    for (int iAttempt = 0; iAttempt < ATTEMPTS; ++iAttempt) {
        const Transfer transfer(*pHandle);
        if (!transfer.Write(au8Message, uLength)) {
            iResult = transfer.TimeLeft() ? EIO : ETIMEDOUT;
            transfer.Abort();
            continue;
        }
        if (pHandle->lWaitBeforeReadMs > 0) {
            PauseMicroseconds(pHandle->lWaitBeforeReadMs * 1000L);
        }
        unsigned char au8Response[MAX_RESPONSE];
        const long lRead = transfer.Read(au8Response, sizeof au8Response);
        if (lRead < 0) {
            iResult = transfer.TimeLeft() ? EIO : ETIMEDOUT;
            transfer.Abort();
            continue;
        }
        // NetFn/LUN, command, completion code, data.
        if (lRead < 3 || au8Response[1] != u8Cmd || (au8Response[0] >> 2) != ((u8NetFnLun >> 2) | 1)) {
            iResult = EPROTO;
            continue;
        }
        *pu8Cc = au8Response[2];
        size_t uCount = static_cast<size_t>(lRead) - 3;
        if (uCount > *pu16RspLen) {
            uCount = *pu16RspLen;
        }
        if (uCount > 0 && pu8Rsp != nullptr) {
            std::memcpy(pu8Rsp, au8Response + 3, uCount);
        }
        *pu16RspLen = static_cast<unsigned short>(uCount);
        return 0;
    }
    return iResult;
}

int KCSIOSetIOTimeOut(void* pvHandle, unsigned char u8Seconds)
{
    auto* pHandle = static_cast<KcsHandle*>(pvHandle);
    if (pHandle == nullptr || u8Seconds == 0) {
        return EINVAL;
    }
    pHandle->lRegisterTimeoutMs = u8Seconds * 1000L;
    return 0;
}

int KCSIOSetMessageTransferTimeOut(void* pvHandle, unsigned char u8Seconds)
{
    auto* pHandle = static_cast<KcsHandle*>(pvHandle);
    if (pHandle == nullptr || u8Seconds == 0) {
        return EINVAL;
    }
    pHandle->lTransferTimeoutMs = u8Seconds * 1000L;
    return 0;
}

int KCSIOSetWaitTimeBeforeReadRsp(void* pvHandle, unsigned char u8Milliseconds)
{
    auto* pHandle = static_cast<KcsHandle*>(pvHandle);
    if (pHandle == nullptr) {
        return EINVAL;
    }
    pHandle->lWaitBeforeReadMs = u8Milliseconds;
    return 0;
}

}  // extern "C"
