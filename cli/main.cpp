// VALDRN: moves SDR and FRU data between local files and a server's BMC.
#include <fcntl.h>
#include <unistd.h>
#include <cerrno>

#include "bmc/saved_copy.h"
#include "cli/entry_point.h"

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

}  // namespace

int main(int argc, char* argv[])
{
    KeepStandardStreamsOpen();
    SetRestoreProgramName(argc > 0 ? argv[0] : nullptr);
    ShowProductHeader();
    TCommandLineExecution engine(OPTION_TABLE_CAPACITY);
    RegisterOptionTable(engine);
    return RunCommandLine(engine, argc, argv);
}
