// Reaches the recorder of a stand-in system-interface library that the
// code under test loads by the same path.
#pragma once

#include <string>
#include <vector>

namespace valdrn_test {

class StubLibrary {
public:
    explicit StubLibrary(const std::string& sPath);
    ~StubLibrary();
    StubLibrary(const StubLibrary&) = delete;
    StubLibrary& operator=(const StubLibrary&) = delete;

    const std::string& Path() const { return m_sPath; }
    std::string Calls() const;
    void Reset() const;
    // The answer to every request after the queued ones.
    void Answer(int iStatus, unsigned char u8CompletionCode, const std::vector<unsigned char>& au8Response) const;
    // One answer more, given in turn before the set one.
    void Queue(int iStatus, unsigned char u8CompletionCode, const std::vector<unsigned char>& au8Response) const;

private:
    std::string m_sPath;
    void* m_pHandle;
};

// The stand-in of a variant ("full", "missing", "failing").
std::string StubPath(const std::string& sVariant, const std::string& sLibrary);

}  // namespace valdrn_test
