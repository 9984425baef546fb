// Our two in-band libraries as VALDRN loads them: their entry points and
// their refusals of bad arguments. Their work with a real driver and real
// KCS registers is proved in the virtual machine test (tests/vm/).
#include <cerrno>
#include <string>

#include <dlfcn.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

using RawOpenFn = void* (*)();
using RawCloseFn = void (*)(void*);
using RawRequestFn = int (*)(void*, unsigned char, unsigned char, unsigned char*, unsigned char, unsigned char*,
                             unsigned char*, unsigned short*);
using RawIpmbRequestFn = int (*)(void*, unsigned char, unsigned char, unsigned char, unsigned char*, unsigned char,
                                 unsigned char*, unsigned char*, unsigned short*);
using InitKcsFn = void* (*)(unsigned short, int);
using SetterFn = int (*)(void*, unsigned char);

class Library {
public:
    explicit Library(const char* pchPath) : m_pHandle(dlopen(pchPath, RTLD_NOW | RTLD_LOCAL)) {}
    ~Library()
    {
        if (m_pHandle != nullptr) {
            dlclose(m_pHandle);
        }
    }
    bool Loaded() const { return m_pHandle != nullptr; }
    template <typename T>
    T Find(const char* pchName) const
    {
        return reinterpret_cast<T>(dlsym(m_pHandle, pchName));
    }

private:
    void* m_pHandle;
};

bool Exists(const char* pchPath)
{
    struct stat info = {};
    return stat(pchPath, &info) == 0;
}

TEST(OpenRawLibrary, ExportsTheFourEntryPoints)
{
    const Library library(OPENRAW_LIBRARY);
    ASSERT_TRUE(library.Loaded()) << dlerror();
    for (const char* pchName : {"RawOpen", "RawClose", "RawRequest", "RawIPMBRequest"}) {
        EXPECT_NE(library.Find<void*>(pchName), nullptr) << pchName;
    }
}

TEST(OpenRawLibrary, OpensTheDriverDeviceOrSaysWhy)
{
    const Library library(OPENRAW_LIBRARY);
    ASSERT_TRUE(library.Loaded());
    errno = 0;
    void* pHandle = library.Find<RawOpenFn>("RawOpen")();
    const bool bAnyDevice = Exists("/dev/ipmi0") || Exists("/dev/ipmi/0") || Exists("/dev/ipmidev/0");
    if (bAnyDevice) {
        EXPECT_TRUE(pHandle != nullptr || errno != 0);
    } else {
        EXPECT_EQ(pHandle, nullptr);
        EXPECT_EQ(errno, ENOENT);
    }
    library.Find<RawCloseFn>("RawClose")(pHandle);
}

TEST(OpenRawLibrary, RefusesMissingArguments)
{
    const Library library(OPENRAW_LIBRARY);
    ASSERT_TRUE(library.Loaded());
    unsigned char u8Cc = 0;
    unsigned char au8Rsp[8] = {};
    unsigned short u16Length = sizeof au8Rsp;
    EXPECT_EQ(library.Find<RawRequestFn>("RawRequest")(nullptr, 0x18, 0x01, nullptr, 0, &u8Cc, au8Rsp, &u16Length),
              EINVAL);
    EXPECT_EQ(library.Find<RawIpmbRequestFn>("RawIPMBRequest")(nullptr, 0x20, 0x18, 0x01, nullptr, 0, &u8Cc, au8Rsp,
                                                               &u16Length),
              EINVAL);
    library.Find<RawCloseFn>("RawClose")(nullptr);  // nothing to close, no harm
}

TEST(KcsIoLibrary, ExportsTheSixEntryPoints)
{
    const Library library(KCSIO_LIBRARY);
    ASSERT_TRUE(library.Loaded()) << dlerror();
    for (const char* pchName : {"InitKCSIO", "UinitKCSIO", "KCSIORequest", "KCSIOSetIOTimeOut",
                                "KCSIOSetMessageTransferTimeOut", "KCSIOSetWaitTimeBeforeReadRsp"}) {
        EXPECT_NE(library.Find<void*>(pchName), nullptr) << pchName;
    }
}

TEST(KcsIoLibrary, RefusesBadArgumentsWithoutTouchingPorts)
{
    const Library library(KCSIO_LIBRARY);
    ASSERT_TRUE(library.Loaded());
    const auto pfnInit = library.Find<InitKcsFn>("InitKCSIO");
    errno = 0;
    EXPECT_EQ(pfnInit(0xCA2, 3), nullptr);  // "Reserved" spacing
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(pfnInit(0, 0), nullptr);
    EXPECT_EQ(errno, EINVAL);
    unsigned char u8Cc = 0;
    unsigned short u16Length = 0;
    EXPECT_EQ(library.Find<RawRequestFn>("KCSIORequest")(nullptr, 0x18, 0x01, nullptr, 0, &u8Cc, nullptr, &u16Length),
              EINVAL);
    for (const char* pchSetter :
         {"KCSIOSetIOTimeOut", "KCSIOSetMessageTransferTimeOut", "KCSIOSetWaitTimeBeforeReadRsp"}) {
        EXPECT_EQ(library.Find<SetterFn>(pchSetter)(nullptr, 5), EINVAL) << pchSetter;
    }
    library.Find<RawCloseFn>("UinitKCSIO")(nullptr);
}

}  // namespace
