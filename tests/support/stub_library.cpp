#include "support/stub_library.h"

#include <dlfcn.h>
#include <stdexcept>

namespace valdrn_test {

StubLibrary::StubLibrary(const std::string& sPath) : m_sPath(sPath), m_pHandle(dlopen(sPath.c_str(), RTLD_NOW))
{
    if (m_pHandle == nullptr) {
        throw std::runtime_error("cannot load " + sPath + ": " + dlerror());
    }
    Reset();
}

StubLibrary::~StubLibrary()
{
    dlclose(m_pHandle);
}

std::string StubLibrary::Calls() const
{
    auto pfnCalls = reinterpret_cast<const char* (*)()>(dlsym(m_pHandle, "StubCalls"));
    return pfnCalls();
}

void StubLibrary::Reset() const
{
    auto pfnReset = reinterpret_cast<void (*)()>(dlsym(m_pHandle, "StubReset"));
    pfnReset();
}

void StubLibrary::Answer(int iStatus, unsigned char u8CompletionCode,
                         const std::vector<unsigned char>& au8Response) const
{
    auto pfnAnswer = reinterpret_cast<void (*)(int, unsigned char, const unsigned char*, unsigned short)>(
        dlsym(m_pHandle, "StubSetAnswer"));
    pfnAnswer(iStatus, u8CompletionCode, au8Response.data(), static_cast<unsigned short>(au8Response.size()));
}

void StubLibrary::Queue(int iStatus, unsigned char u8CompletionCode,
                        const std::vector<unsigned char>& au8Response) const
{
    auto pfnQueue = reinterpret_cast<void (*)(int, unsigned char, const unsigned char*, unsigned short)>(
        dlsym(m_pHandle, "StubQueueAnswer"));
    pfnQueue(iStatus, u8CompletionCode, au8Response.data(), static_cast<unsigned short>(au8Response.size()));
}

std::string StubPath(const std::string& sVariant, const std::string& sLibrary)
{
    return std::string(STUB_DIR) + "/" + sVariant + "/lib" + sLibrary + ".so";
}

}  // namespace valdrn_test
