// VALDRN: moves SDR and FRU data between local files and a server's BMC.
#include <cstring>

#include "bmc/fru_update.h"
#include "bmc/talk_to_bmc.h"
#include "cli/entry_point.h"
#include "cli/interface_options.h"
#include "cli/test_operation.h"
#include "cli/transfer_operations.h"
#include "encoding/text_tokens.h"

namespace {

const char* KcsOptionName()
{
    static char achName[8];
    std::strcpy(achName, GetLowerCaseString("KCS"));
    return achName;
}

}  // namespace

int main(int argc, char* argv[])
{
    ShowProductHeader();
    TCommandLineExecution engine(OPTION_TABLE_CAPACITY);

    // Registration order is the options' identity, and the last one
    // registered (debugmsg) is the modifier the engine lets stand beside an
    // operation. The hidden -kcs probe's name is made by lower-casing "KCS".
    RegisterFunctionOrExit(engine, "h", 0, 0, ShowHelp);
    RegisterFunctionOrExit(engine, "d", 2, 1, Download);
    RegisterFunctionOrExit(engine, "u", 3, 2, Upload);
    RegisterFunctionOrExit(engine, "v", 2, 1, Verify);
    RegisterFunctionOrExit(engine, "t", 2, 1, Test);
    RegisterFunctionOrExit(engine, "version", 0, 0, ShowVersion);
    RegisterFunctionOrExit(engine, KcsOptionName(), 0, 0, CheckKCS);
    RegisterFunctionOrExit(engine, "msgintf", 1, 1, SetMessagingInterface);
    std::memset(&sIolData, 0, sizeof sIolData);
    RegisterFunctionOrExit(engine, "n", 1, 1, SaveLanIF);
    RegisterFunctionOrExit(engine, "H", 1, 1, SaveHostIP);
    RegisterFunctionOrExit(engine, "U", 1, 1, SaveUserName);
    RegisterFunctionOrExit(engine, "P", 1, 1, SavePassWord);
    RegisterFunctionOrExit(engine, "C", 1, 1, SaveCipherValue);
    RegisterFunctionOrExit(engine, "updateFRU", 6, 3, UpdateFRU);
    RegisterFunctionOrExit(engine, "debugmsg", 0, 0, VerboseMode);

    return RunCommandLine(engine, argc, argv);
}
