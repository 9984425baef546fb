/*
 * The entry points of the two system-interface libraries, as the program
 * looks them up with dlsym: libopenraw.so (raw requests through the
 * OpenIPMI driver) and libkcsio.so (direct KCS port I/O). The libraries
 * implement them with C linkage.
 */
#ifndef VALDRN_SYSTEM_INTERFACE_API_H
#define VALDRN_SYSTEM_INTERFACE_API_H

#ifdef __cplusplus
extern "C" {
#endif

/* The KCS register spacing; the value is the index into the name table. */
typedef enum { ByteBoundary = 0, ThirtyTwoBitBoundary = 1, SixteenBitBoundary = 2, Reserved = 3 } RegisterSpacing;

/* libopenraw.so */
typedef void* (*TRawOpen)(void);
typedef void (*TRawClose)(void* pHandle);
typedef int (*TRawRequest)(void* pHandle, unsigned char u8NetFnLun, unsigned char u8Cmd, unsigned char* pu8ReqData,
                           unsigned char u8ReqLen, unsigned char* pu8CompletionCode, unsigned char* pu8RspData,
                           unsigned short* pu16RspLen);
typedef int (*TRawIPMBRequest)(void* pHandle, unsigned char u8SlaveAddress, unsigned char u8NetFnLun,
                               unsigned char u8Cmd, unsigned char* pu8ReqData, unsigned char u8ReqLen,
                               unsigned char* pu8CompletionCode, unsigned char* pu8RspData, unsigned short* pu16RspLen);

/* libkcsio.so */
typedef void* (*TInitKCSIO)(unsigned short u16PortAddress, RegisterSpacing eSpacing);
typedef void (*TUinitKCSIO)(void* pHandle);
typedef int (*TKCSIORequest)(void* pHandle, unsigned char u8NetFnLun, unsigned char u8Cmd, unsigned char* pu8ReqData,
                             unsigned char u8ReqLen, unsigned char* pu8CompletionCode, unsigned char* pu8RspData,
                             unsigned short* pu16RspLen);
typedef int (*TKCSIOSetTime)(void* pHandle, unsigned char u8Value);

/* The entry points as the libraries define them. A definition that drifts
 * from these declarations does not compile, and neither does a declaration
 * that drifts from its pointer type above (the checks below). */
void* RawOpen(void);
void RawClose(void* pHandle);
int RawRequest(void* pHandle, unsigned char u8NetFnLun, unsigned char u8Cmd, unsigned char* pu8ReqData,
               unsigned char u8ReqLen, unsigned char* pu8CompletionCode, unsigned char* pu8RspData,
               unsigned short* pu16RspLen);
int RawIPMBRequest(void* pHandle, unsigned char u8SlaveAddress, unsigned char u8NetFnLun, unsigned char u8Cmd,
                   unsigned char* pu8ReqData, unsigned char u8ReqLen, unsigned char* pu8CompletionCode,
                   unsigned char* pu8RspData, unsigned short* pu16RspLen);
void* InitKCSIO(unsigned short u16PortAddress, RegisterSpacing eSpacing);
void UinitKCSIO(void* pHandle);
int KCSIORequest(void* pHandle, unsigned char u8NetFnLun, unsigned char u8Cmd, unsigned char* pu8ReqData,
                 unsigned char u8ReqLen, unsigned char* pu8CompletionCode, unsigned char* pu8RspData,
                 unsigned short* pu16RspLen);
int KCSIOSetIOTimeOut(void* pHandle, unsigned char u8Seconds);
int KCSIOSetMessageTransferTimeOut(void* pHandle, unsigned char u8Seconds);
int KCSIOSetWaitTimeBeforeReadRsp(void* pHandle, unsigned char u8Milliseconds);

#ifdef __cplusplus
}

#include <type_traits>

static_assert(std::is_same<decltype(&RawOpen), TRawOpen>::value, "RawOpen and TRawOpen differ");
static_assert(std::is_same<decltype(&RawClose), TRawClose>::value, "RawClose and TRawClose differ");
static_assert(std::is_same<decltype(&RawRequest), TRawRequest>::value, "RawRequest and TRawRequest differ");
static_assert(std::is_same<decltype(&RawIPMBRequest), TRawIPMBRequest>::value,
              "RawIPMBRequest and TRawIPMBRequest differ");
static_assert(std::is_same<decltype(&InitKCSIO), TInitKCSIO>::value, "InitKCSIO and TInitKCSIO differ");
static_assert(std::is_same<decltype(&UinitKCSIO), TUinitKCSIO>::value, "UinitKCSIO and TUinitKCSIO differ");
static_assert(std::is_same<decltype(&KCSIORequest), TKCSIORequest>::value, "KCSIORequest and TKCSIORequest differ");
// TTalkToBMC calls either library through one request and one close entry.
static_assert(std::is_same<TRawRequest, TKCSIORequest>::value, "the two request entries differ");
static_assert(std::is_same<TRawClose, TUinitKCSIO>::value, "the two close entries differ");
static_assert(std::is_same<decltype(&KCSIOSetIOTimeOut), TKCSIOSetTime>::value, "KCSIOSetIOTimeOut differs");
static_assert(std::is_same<decltype(&KCSIOSetMessageTransferTimeOut), TKCSIOSetTime>::value,
              "KCSIOSetMessageTransferTimeOut differs");
static_assert(std::is_same<decltype(&KCSIOSetWaitTimeBeforeReadRsp), TKCSIOSetTime>::value,
              "KCSIOSetWaitTimeBeforeReadRsp differs");
#endif

#endif
