// The whole command line: the engine with the program's option table and
// its handlers, the argument checks of -d, -u, -v and -t, the interface
// options and -updateFRU.
//
// Input: the words, separated by NUL bytes. The run happens in a scratch
// directory holding the example files as a.sdr, b.bin (SDR), c.fru and
// d.bin (FRU); any other file a run makes is removed after it. No BMC is
// reachable: the in-band libraries are given names that do not exist and
// PATH holds no ipmitool, so every BMC operation fails at its start.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "base/trace.h"
#include "bmc/talk_to_bmc.h"
#include "cli/entry_point.h"
#include "cli/run_result_json.h"
#include "cli/interface_options.h"
#include "fuzz/fuzz_support.h"

using namespace valdrn_fuzz;

namespace {

struct ExampleFile {
    const char* pchName;
    std::string sBytes;
};
std::vector<ExampleFile> S_asExamples;

bool IsExample(const char* pchName)
{
    for (const ExampleFile& file : S_asExamples) {
        if (std::strcmp(file.pchName, pchName) == 0) {
            return true;
        }
    }
    return false;
}

// Back to the scratch directory as the run found it.
void RestoreScratch()
{
    if (DIR* pDir = opendir(".")) {
        while (const dirent* psEntry = readdir(pDir)) {
            const char* pchName = psEntry->d_name;
            if (std::strcmp(pchName, ".") != 0 && std::strcmp(pchName, "..") != 0 && !IsExample(pchName)) {
                unlink(pchName);
                rmdir(pchName);
            }
        }
        closedir(pDir);
    }
    for (const ExampleFile& file : S_asExamples) {
        WriteWholeFile(file.pchName, file.sBytes);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    S_asExamples = {{"a.sdr", ReadWholeFile(EXAMPLES_DIR "/ToBMC.sdr")},
                    {"b.bin", ReadWholeFile(EXAMPLES_DIR "/ToBMC.sdr.bin")},
                    {"c.fru", ReadWholeFile(EXAMPLES_DIR "/ServerBoard.fru")},
                    {"d.bin", ReadWholeFile(EXAMPLES_DIR "/ServerBoard.fru.bin")}};
    if (chdir(ScratchDir().c_str()) != 0) {
        Finding("cannot enter the scratch directory");
    }
    RestoreScratch();
    // Nothing outside the scratch directory is reached.
    setenv("PATH", "/nonexistent/valdrn-fuzz-no-tools", 1);
    G_pchOpenRawLibrary = "libvaldrn-fuzz-absent-openraw.so";
    G_pchKCSIOLibrary = "libvaldrn-fuzz-absent-kcsio.so";
    // The overwrite prompt reads end of file: the answer is no.
    const int iNull = open("/dev/null", O_RDONLY);
    dup2(iNull, STDIN_FILENO);
    close(iNull);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    if (std::memchr(pu8Data, '/', uSize) != nullptr) {
        return -1;  // paths stay inside the scratch directory
    }
    std::vector<std::string> asWords(1, "VALDRN");
    std::string sWord;
    for (std::size_t i = 0; i < uSize; ++i) {
        if (pu8Data[i] == '\0') {
            asWords.push_back(sWord);
            sWord.clear();
        } else {
            sWord += static_cast<char>(pu8Data[i]);
        }
    }
    if (uSize > 0) {
        asWords.push_back(sWord);
    }
    std::vector<char*> apchArgs;
    for (std::string& sArg : asWords) {
        apchArgs.push_back(sArg.data());
    }
    apchArgs.push_back(nullptr);

    // A fresh process's state.
    G_bVerboseMode = false;
    {
        TCommandLineExecution engine(OPTION_TABLE_CAPACITY);
        InterfaceChoice interface;
        RunResult result;
        RegisterOptionTable(engine, &interface, &result);
        RunCommandLine(engine, static_cast<int>(asWords.size()), apchArgs.data(), interface, &result);
        RunResultJSON(result, interface);
    }
    std::fflush(nullptr);
    RestoreScratch();
    return 0;
}
