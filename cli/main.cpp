// VALDRN: moves SDR and FRU data between local files and a server's BMC.
#include "bmc/saved_copy.h"
#include "cli/entry_point.h"

int main(int argc, char* argv[])
{
    SetRestoreProgramName(argc > 0 ? argv[0] : nullptr);
    ShowProductHeader();
    TCommandLineExecution engine(OPTION_TABLE_CAPACITY);
    RegisterOptionTable(engine);
    return RunCommandLine(engine, argc, argv);
}
