// VALDRN: moves SDR and FRU data between local files and a server's BMC.
#include "cli/entry_point.h"

int main(int argc, char* argv[])
{
    ShowProductHeader();
    TCommandLineExecution engine(OPTION_TABLE_CAPACITY);
    RegisterOptionTable(engine);
    return RunCommandLine(engine, argc, argv);
}
