// VALDRN: moves SDR and FRU data between local files and a server's BMC.
#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "operations/restore_advice.h"
#include "cli/entry_point.h"
#include "cli/run_result_json.h"

namespace {

// Standard input, output and error open, whatever the caller left closed
// (VALDRN ... >&-): a file VALDRN opens later, a saved copy or a lock,
// must never take one of their numbers and receive its lines.
void KeepStandardStreamsOpen()
{
    for (int iFd = STDIN_FILENO; iFd <= STDERR_FILENO; ++iFd) {
        if (fcntl(iFd, F_GETFD) < 0 && errno == EBADF) {
            open("/dev/null", iFd == STDIN_FILENO ? O_RDONLY : O_WRONLY);
        }
    }
}

// Any local user reads a process's arguments (ps, /proc/<pid>/cmdline):
// the password after -P is blanked there as soon as the run starts, the
// run working on its own copies of the words.
std::vector<std::string> CopyWordsHidingPassword(int argc, char* argv[])
{
    std::vector<std::string> asWords(argv, argv + argc);
    for (int i = 1; i + 1 < argc; ++i) {
        const bool bPasswordOption = (argv[i][0] == '-' || argv[i][0] == '/') && std::strcmp(argv[i] + 1, "P") == 0;
        const char chNext = argv[i + 1][0];
        if (bPasswordOption && chNext != '-' && chNext != '/') {
            std::memset(argv[i + 1], 'x', std::strlen(argv[i + 1]));
        }
    }
    return asWords;
}

}  // namespace

int main(int argc, char* argv[])
{
    KeepStandardStreamsOpen();
    SetRestoreProgramName(argc > 0 ? argv[0] : nullptr);
    ShowProductHeader();
    TCommandLineExecution engine(OPTION_TABLE_CAPACITY);
    InterfaceChoice interface;
    RunResult result;
    RegisterOptionTable(engine, &interface, &result);
    std::vector<std::string> asWords = CopyWordsHidingPassword(argc, argv);
    std::vector<char*> apchWords;
    for (std::string& sWord : asWords) {
        apchWords.push_back(&sWord[0]);
    }
    apchWords.push_back(nullptr);
    const int iStatus = RunCommandLine(engine, argc, apchWords.data(), interface, &result);
    WriteRunResultIfAsked(result, interface);
    return iStatus;
}
