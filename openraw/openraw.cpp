// libopenraw.so: IPMI requests to the BMC through the Linux OpenIPMI
// driver's character device (ipmi_msghandler + ipmi_si + ipmi_devintf).
//
// Entry points (C linkage, looked up with dlsym by VALDRN):
//   void* RawOpen(void);
//   void  RawClose(void* handle);
//   int   RawRequest(handle, netFnLun, cmd, req, reqLen, &cc, rsp, &rspLen);
//   int   RawIPMBRequest(handle, slave, netFnLun, cmd, req, reqLen, &cc, rsp, &rspLen);
// A request returns 0, or an errno value (ETIMEDOUT when no answer came in
// time), so that the caller's strerror() of the status reads right. On
// entry *rspLen is the capacity of rsp; on return the number of response
// bytes after the completion code that were stored.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/monotonic_clock.h"
#include "bmc/system_interface_api.h"

namespace {

// Generous: a BMC busy erasing its repository may take seconds to answer.
constexpr long REQUEST_TIMEOUT_MS = 10000;
constexpr size_t MAX_MESSAGE = 272;  // IPMI_MAX_MSG_LENGTH of the driver

struct RawHandle {
    int fd;
    long msgid;
};

long NextMessageId(RawHandle* pHandle)
{
    ++pHandle->msgid;
    if (pHandle->msgid <= 0) {
        pHandle->msgid = 1;  // never 0: a stale 0 must not match
    }
    return pHandle->msgid;
}

// Waits for the answer to msgid; anything else (events, commands, stale
// answers of earlier requests) is read and dropped until the deadline.
int ReceiveAnswer(RawHandle* pHandle, long msgid, unsigned char u8NetFn, long lDeadline, unsigned char* pu8Cc,
                  unsigned char* pu8Rsp, unsigned short* pu16RspLen)
{
    for (;;) {
        const long lRemaining = lDeadline - MonotonicMilliseconds();
        if (lRemaining <= 0) {
            return ETIMEDOUT;
        }
        pollfd waitFor = {pHandle->fd, POLLIN, 0};
        const int iReady = poll(&waitFor, 1, static_cast<int>(lRemaining));
        if (iReady < 0) {
            if (errno == EINTR) {
                continue;  // the remaining time is recomputed from the deadline
            }
            return errno;
        }
        if (iReady == 0) {
            return ETIMEDOUT;
        }
        unsigned char au8Data[MAX_MESSAGE] = {};
        ipmi_addr address = {};
        ipmi_recv received = {};
        received.addr = reinterpret_cast<unsigned char*>(&address);
        received.addr_len = sizeof address;
        received.msg.data = au8Data;
        received.msg.data_len = sizeof au8Data;
        if (ioctl(pHandle->fd, IPMICTL_RECEIVE_MSG_TRUNC, &received) < 0 && errno != EMSGSIZE) {
            if (errno == EINTR || errno == EAGAIN) {
                continue;
            }
            return errno;
        }
        if (received.recv_type != IPMI_RESPONSE_RECV_TYPE || received.msgid != msgid ||
            received.msg.netfn != static_cast<unsigned char>(u8NetFn + 1) || received.msg.data_len < 1) {
            continue;
        }
        *pu8Cc = au8Data[0];
        size_t uCount = static_cast<size_t>(received.msg.data_len) - 1;
        if (uCount > sizeof au8Data - 1) {
            uCount = sizeof au8Data - 1;
        }
        if (uCount > *pu16RspLen) {
            uCount = *pu16RspLen;
        }
        if (uCount > 0 && pu8Rsp != nullptr) {
            std::memcpy(pu8Rsp, au8Data + 1, uCount);
        }
        *pu16RspLen = static_cast<unsigned short>(uCount);
        return 0;
    }
}

int Exchange(void* pvHandle, ipmi_addr* psAddress, unsigned int uAddressLength, unsigned char u8NetFnLun,
             unsigned char u8Cmd, unsigned char* pu8Req, unsigned char u8ReqLen, unsigned char* pu8Cc,
             unsigned char* pu8Rsp, unsigned short* pu16RspLen)
{
    auto* pHandle = static_cast<RawHandle*>(pvHandle);
    if (pHandle == nullptr || pu8Cc == nullptr || pu16RspLen == nullptr || (pu8Req == nullptr && u8ReqLen > 0)) {
        return EINVAL;
    }
    const unsigned char u8NetFn = static_cast<unsigned char>(u8NetFnLun >> 2);
    ipmi_req request = {};
    request.addr = reinterpret_cast<unsigned char*>(psAddress);
    request.addr_len = uAddressLength;
    request.msgid = NextMessageId(pHandle);
    request.msg.netfn = u8NetFn;
    request.msg.cmd = u8Cmd;
    request.msg.data = pu8Req;
    request.msg.data_len = u8ReqLen;
    const long lDeadline = MonotonicMilliseconds() + REQUEST_TIMEOUT_MS;
    while (ioctl(pHandle->fd, IPMICTL_SEND_COMMAND, &request) < 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return ReceiveAnswer(pHandle, request.msgid, u8NetFn, lDeadline, pu8Cc, pu8Rsp, pu16RspLen);
}

}  // namespace

extern "C" {

void* RawOpen(void)
{
    static const char* const apchDevices[] = {"/dev/ipmi0", "/dev/ipmi/0", "/dev/ipmidev/0"};
    int iError = ENOENT;
    for (const char* pchDevice : apchDevices) {
        const int fd = open(pchDevice, O_RDWR | O_CLOEXEC);
        if (fd < 0) {
            // The first device that exists tells why it could not be used.
            if (iError == ENOENT) {
                iError = errno;
            }
            continue;
        }
        auto* pHandle = static_cast<RawHandle*>(std::malloc(sizeof(RawHandle)));
        if (pHandle == nullptr) {
            close(fd);
            errno = ENOMEM;
            return nullptr;
        }
        pHandle->fd = fd;
        pHandle->msgid = 0;
        return pHandle;
    }
    errno = iError;
    return nullptr;
}

void RawClose(void* pvHandle)
{
    auto* pHandle = static_cast<RawHandle*>(pvHandle);
    if (pHandle == nullptr) {
        return;
    }
    close(pHandle->fd);
    std::free(pHandle);
}

int RawRequest(void* pvHandle, unsigned char u8NetFnLun, unsigned char u8Cmd, unsigned char* pu8Req,
               unsigned char u8ReqLen, unsigned char* pu8Cc, unsigned char* pu8Rsp, unsigned short* pu16RspLen)
{
    ipmi_system_interface_addr address = {};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    address.lun = static_cast<unsigned char>(u8NetFnLun & 0x03);
    return Exchange(pvHandle, reinterpret_cast<ipmi_addr*>(&address), sizeof address, u8NetFnLun, u8Cmd, pu8Req,
                    u8ReqLen, pu8Cc, pu8Rsp, pu16RspLen);
}

int RawIPMBRequest(void* pvHandle, unsigned char u8Slave, unsigned char u8NetFnLun, unsigned char u8Cmd,
                   unsigned char* pu8Req, unsigned char u8ReqLen, unsigned char* pu8Cc, unsigned char* pu8Rsp,
                   unsigned short* pu16RspLen)
{
    ipmi_ipmb_addr address = {};
    address.addr_type = IPMI_IPMB_ADDR_TYPE;
    address.channel = 0;
    address.slave_addr = u8Slave;
    address.lun = static_cast<unsigned char>(u8NetFnLun & 0x03);
    return Exchange(pvHandle, reinterpret_cast<ipmi_addr*>(&address), sizeof address, u8NetFnLun, u8Cmd, pu8Req,
                    u8ReqLen, pu8Cc, pu8Rsp, pu16RspLen);
}

}  // extern "C"
