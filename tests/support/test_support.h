// Helpers shared by the tests: temporary directories, whole-file I/O,
// captured output and scripted standard input.
#pragma once

#include <string>
#include <vector>

namespace valdrn_test {

// A fresh directory under the system's temporary directory, removed with
// everything in it when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return m_sPath; }
    std::string File(const std::string& sName) const { return m_sPath + "/" + sName; }

private:
    std::string m_sPath;
};

void WriteFile(const std::string& sPath, const std::string& sBytes);

// The command line that runs the program under test: the words of the
// environment variable VALDRN_TEST_WRAPPER (split at blanks; valgrind, for
// example), then the binary.
std::vector<std::string> ProgramUnderTest(const std::string& sBinary);
std::string ReadFile(const std::string& sPath);
bool FileExists(const std::string& sPath);
std::string Bytes(const std::vector<unsigned char>& au8Bytes);

// Captures what the code under test writes to standard output and standard
// error (at the descriptor level, so printf and puts are included).
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    // Stops capturing (once) and returns what was captured.
    void Finish();
    const std::string& Out() const { return m_sOut; }
    const std::string& Err() const { return m_sErr; }

private:
    bool m_bFinished = false;
    std::string m_sOut;
    std::string m_sErr;
};

// Gives the code under test the text as its standard input, restoring the
// real one afterwards.
class ScriptedStdin {
public:
    explicit ScriptedStdin(const std::string& sText);
    ~ScriptedStdin();

private:
    int m_iSavedFd;
};

// For a death-test child only: makes /sbin a directory of the test's own
// (in a private mount namespace) whose lsmod prints the listing, or that
// has no lsmod at all for a null listing; then ends the process with
// iBody()'s result.
[[noreturn]] void ExitWithFakeLsmod(const std::string* psListing, int (*pfnBody)());

}  // namespace valdrn_test
