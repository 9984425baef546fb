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

#ifdef __cplusplus
}
#endif

#endif
