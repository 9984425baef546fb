// Sends one request through libopenraw.so's RawIPMBRequest (the driver
// wraps it in a Send Message to the BMC) and prints what came back; run in
// the VM test's guest.
//
// Usage: ipmb_probe SLAVE NETFN CMD   (hexadecimal)
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

int main(int argc, char* argv[])
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s SLAVE NETFN CMD\n", argv[0]);
        return 2;
    }
    void* pLibrary = dlopen("libopenraw.so", RTLD_NOW);
    if (pLibrary == nullptr) {
        std::printf("IPMB-PROBE no library: %s\n", dlerror());
        return 1;
    }
    using OpenFn = void* (*)();
    using CloseFn = void (*)(void*);
    using IpmbFn = int (*)(void*, unsigned char, unsigned char, unsigned char, unsigned char*, unsigned char,
                           unsigned char*, unsigned char*, unsigned short*);
    auto pfnOpen = reinterpret_cast<OpenFn>(dlsym(pLibrary, "RawOpen"));
    auto pfnClose = reinterpret_cast<CloseFn>(dlsym(pLibrary, "RawClose"));
    auto pfnIpmb = reinterpret_cast<IpmbFn>(dlsym(pLibrary, "RawIPMBRequest"));
    void* pHandle = pfnOpen();
    if (pHandle == nullptr) {
        std::printf("IPMB-PROBE no device: %s\n", std::strerror(errno));
        return 1;
    }
    const auto u8Slave = static_cast<unsigned char>(std::strtoul(argv[1], nullptr, 16));
    const auto u8NetFn = static_cast<unsigned char>(std::strtoul(argv[2], nullptr, 16));
    const auto u8Cmd = static_cast<unsigned char>(std::strtoul(argv[3], nullptr, 16));
    unsigned char u8Cc = 0xEE;
    unsigned char au8Response[64] = {};
    unsigned short u16Length = sizeof au8Response;
    const int iStatus = pfnIpmb(pHandle, u8Slave, static_cast<unsigned char>(u8NetFn << 2), u8Cmd, nullptr, 0, &u8Cc,
                                au8Response, &u16Length);
    std::printf("IPMB-PROBE status=%d cc=%02X length=%u data=", iStatus, u8Cc, u16Length);
    for (unsigned int i = 0; i < u16Length; ++i) {
        std::printf("%02X", au8Response[i]);
    }
    std::printf("\n");
    pfnClose(pHandle);
    return iStatus == 0 ? 0 : 1;
}
