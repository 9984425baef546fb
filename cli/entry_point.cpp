#include "cli/entry_point.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/trace.h"
#include "cli/diagnostics.h"
#include "cli/interface_options.h"
#include "cli/operation_handlers.h"
#include "encoding/text_tokens.h"
#include "operations/bmc_session.h"

namespace {

const char* const S_pchProductTitle = "Valdrin Utility";
const char* const S_pchVendorNotice = "Copyright (C) 2026 The VALDRN Project. IPMI SDR and FRU tool.";
const char* const S_pchVersion = "Version 1.24.3.112";
const char* const S_pchPlatform = "Linux";

void PrintRule()
{
    for (int i = 0; i < 79; ++i) {
        std::putchar('-');
    }
    std::putchar('\n');
}

// The manual: plain lines are written with puts (a newline is added),
// the lines naming the program are formats carrying their own line ends.
const char* const S_apchHelpOptions[] = {
    "Options: ",
    "    -h         Show this usage ",
    "    -d         Download a local SDR / FRU file to BMC repository ",
    "    -u         Upload SDR / FRU data from BMC repository to a local file ",
    "               The following parameter is required: ",
    "               - encoding  : Specify the type of file encoding. ",
    "                             Its value can be ascii, utf8 or utf16. ",
    "                             This parameter must follow the file name. ",
    "    -v         Verify the SDR / FRU download process ",
    "    -t         Test the correctness of a local SDR / FRU file ",
    "    -updateFRU Update the following FRU data one at a time. ",
    "               - Manufacturing Date/Time ",
    "               - Chassis Serial Number String ",
    "               - Board Serial Number String ",
    "               - Product Serial Number String ",
    "               Additional parameters required are: ",
    "               - fieldName : Specify the field name to be updated. ",
    "                             Its value can be datetime, snChassis, ",
    "                             snBoard or snProduct. ",
    "               - offset    : Offset to the field to be updated. ",
    "                             This must be a hexadecimal value. ",
    "               - strType   : String type for a serial number string. ",
    "                             Its value can be one of the following: ",
    "                             1 - BCD Plus ",
    "                             2 - 6-bit ASCII, packed ",
    "                             3 - 8-bit ASCII + Latin 1 ",
    "               - strLength : Length (in bytes) of the serial number string ",
    "                             field in the FRU Inventory. ",
    "                             This must be a hexadecimal value. ",
    "               - strValue  : The serial number string to be updated. ",
    "    -version   Show version information ",
    "    -debugmsg  Turn on verbose mode for debug messages output ",
    "    -msgintf   Set the messaging interface to be used. Values can be: ",
    "               kcsio - Use the direct KCS I/O access interface ",
    "               openipmi - Use the Open IPMI KCS driver interface ",
    "               If this option is not specified, default is openipmi \n",
    "    -n lanplus Remote download / upload SDR / FRU over LAN with RMCP+ ",
    "               interface \n",
    "Options for LAN+ interface ('-n lanplus' should be specified) ",
    "    -H IP       BMC IP which Valdrin requests are sent to. ",
    "    -U username BMC user name to login with. ",
    "    -P password BMC user password to login with. ",
    "    -C value    Cipher Suite ID.\n",
    "Filename: ",
    "    The filename of SDR or FRU.",
    "    For uploading, data will be saved in SDR or FRU text file format.",
    "    For downloading, it can be a SDR/FRU text file or binary file.\n",
    "fruID=FruID: ",
    "    The FRU ID in hexadecimal, mandatory argument for FRU options (Max: 0xFF) \n",
    "Example:",
};

}  // namespace

void ShowProductHeader()
{
    PrintRule();
    std::printf("%26s%s\n%8s%s\n", " ", S_pchProductTitle, " ", S_pchVendorNotice);
    PrintRule();
}

void RegisterFunctionOrExit(TCommandLineExecution& engine, const char* pchName, unsigned char u8MaxArgs,
                            unsigned char u8MinArgs, TOptionHandler pfnHandler)
{
    if (engine.FunctionRegistry(pchName, u8MaxArgs, u8MinArgs, pfnHandler) != eRC_Success) {
        engine.ShowOptionReturnCodeString(stderr);
        std::exit(EXIT_STATUS_REGISTER_FAILED);
    }
}

namespace {

// A handler that records, in the run's result, which option it ran for.
TOptionHandler Recorded(RunResult* psResult, RunOperation eOperation, int (*pfnHandler)(unsigned short, char*[]))
{
    return [=](unsigned short u16ArgCount, char* apchArgs[]) {
        psResult->eOperation = eOperation;
        return pfnHandler(u16ArgCount, apchArgs);
    };
}

// An operation's handler, given the run's interface (as the interface
// options left it when the operation runs) and the result to fill.
TOptionHandler Filling(const InterfaceChoice* psInterface, RunResult* psResult,
                       int (*pfnHandler)(const InterfaceChoice&, RunResult*, unsigned short, char*[]))
{
    return [=](unsigned short u16ArgCount, char* apchArgs[]) {
        return pfnHandler(*psInterface, psResult, u16ArgCount, apchArgs);
    };
}

// An interface option's handler, given the run's choice to store into.
TOptionHandler Choosing(InterfaceChoice* psInterface, int (*pfnHandler)(InterfaceChoice*, unsigned short, char*[]))
{
    return [=](unsigned short u16ArgCount, char* apchArgs[]) { return pfnHandler(psInterface, u16ArgCount, apchArgs); };
}

}  // namespace

void RegisterOptionTable(TCommandLineExecution& engine, InterfaceChoice* psInterface, RunResult* psResult)
{
    // Registration order is the options' identity, and the last one
    // registered (debugmsg) is the modifier the engine lets stand beside an
    // operation. The hidden -kcs probe's name is made by lower-casing "KCS".
    static char achKcsName[8];
    std::strcpy(achKcsName, GetLowerCaseString("KCS"));
    RegisterFunctionOrExit(engine, "h", 0, 0, Recorded(psResult, RunOperation::HELP, ShowHelp));
    RegisterFunctionOrExit(engine, "d", 2, 1, Filling(psInterface, psResult, Download));
    RegisterFunctionOrExit(engine, "u", 3, 2, Filling(psInterface, psResult, Upload));
    RegisterFunctionOrExit(engine, "v", 2, 1, Filling(psInterface, psResult, Verify));
    RegisterFunctionOrExit(engine, "t", 2, 1, Filling(psInterface, psResult, Test));
    RegisterFunctionOrExit(engine, "version", 0, 0, Recorded(psResult, RunOperation::VERSION, ShowVersion));
    RegisterFunctionOrExit(engine, achKcsName, 0, 0,
                           [psInterface, psResult](unsigned short u16ArgCount, char* apchArgs[]) {
                               psResult->eOperation = RunOperation::KCS_CHECK;
                               return CheckKCS(*psInterface, u16ArgCount, apchArgs);
                           });
    RegisterFunctionOrExit(engine, "msgintf", 1, 1, Choosing(psInterface, SetMessagingInterface));
    psInterface->sIolData = {};
    RegisterFunctionOrExit(engine, "n", 1, 1, Choosing(psInterface, SaveLanIF));
    RegisterFunctionOrExit(engine, "H", 1, 1, Choosing(psInterface, SaveHostIP));
    RegisterFunctionOrExit(engine, "U", 1, 1, Choosing(psInterface, SaveUserName));
    RegisterFunctionOrExit(engine, "P", 1, 1, Choosing(psInterface, SavePassWord));
    RegisterFunctionOrExit(engine, "C", 1, 1, Choosing(psInterface, SaveCipherValue));
    RegisterFunctionOrExit(engine, "updateFRU", 6, 3, Filling(psInterface, psResult, UpdateFRU));
    RegisterFunctionOrExit(engine, "debugmsg", 0, 0, VerboseMode);
}

int ParseCommandLine(int iArgCount, char* apchArgs[], TCommandLineExecution& engine)
{
    // The engine counts words in 16 bits. A longer command line cannot be
    // accepted anyway (at most 15 options of at most 15 arguments each), so
    // clamping keeps it rejected instead of wrapping to a short one.
    const short i16ArgCount = static_cast<short>(iArgCount > SHRT_MAX ? SHRT_MAX : iArgCount);
    return engine.ParseCommandOptions(i16ArgCount, apchArgs) == 1 ? 1 : 0;
}

void ShowBadCommandLine(const TCommandLineExecution& engine)
{
    engine.ShowOptionReturnCodeString(stderr);
    PrintHelpHint(stderr);
}

int RunCommandLine(TCommandLineExecution& engine, int iArgCount, char* apchArgs[], const InterfaceChoice& interface,
                   RunResult* psResult)
{
    const int iStatus = TriggerCommandLine(engine, iArgCount, apchArgs, interface);
    psResult->iExitStatus = iStatus;
    if (iStatus == EXIT_STATUS_BAD_COMMAND_LINE) {
        psResult->eOutcome = RunOutcome::REFUSED;
    } else if (iStatus != EXIT_STATUS_SUCCESS && psResult->eOutcome == RunOutcome::SUCCESS) {
        // An interface option rejected its value before any operation
        // began: refused, as a bad command line is; a -kcs probe that ran
        // and failed is a failure.
        psResult->eOutcome = psResult->eOperation == RunOperation::NONE ? RunOutcome::REFUSED : RunOutcome::FAILURE;
    }
    return iStatus;
}

int TriggerCommandLine(TCommandLineExecution& engine, int iArgCount, char* apchArgs[], const InterfaceChoice& interface)
{
    if (ParseCommandLine(iArgCount, apchArgs, engine) != 1) {
        ShowBadCommandLine(engine);
        return EXIT_STATUS_BAD_COMMAND_LINE;
    }
    if (engine.Trigger() == 0) {
        return EXIT_STATUS_SUCCESS;
    }
    // A general hint after any failure on a local interface: a loaded
    // driver is the usual reason for a failed direct KCS run.
    if (interface.eInterfaceInUse != eInterfaceLanPlus) {
        std::fputs("\nNote: If the option, -msgintf kcsio, is used,", stderr);
        std::fputs("\n      make sure KCS driver modules are not loaded!\n\n", stderr);
    }
    return EXIT_STATUS_HANDLER_FAILED;
}

int ShowHelp(unsigned short, char*[])
{
    std::printf("Usage: %s Options [Filename] [fruID=FruID] \n\n", VALDRN_PROGRAM_NAME);
    for (const char* pchLine : S_apchHelpOptions) {
        std::puts(pchLine);
    }
    std::printf("    %s -d ToBMC.sdr\n", VALDRN_PROGRAM_NAME);
    std::printf("    %s -debugmsg -u ToLocal.sdr encoding=ascii\n", VALDRN_PROGRAM_NAME);
    std::printf("    %s -v ToLocal.fru fruID=0x00\n", VALDRN_PROGRAM_NAME);
    std::printf("    %s -updateFRU fieldName=datetime offset=0x1B fruID=0x00\n", VALDRN_PROGRAM_NAME);
    std::printf("    %s -updateFRU fieldName=snProduct offset=0x60 strType=3\n", VALDRN_PROGRAM_NAME);
    std::puts("                      strLength=0x05 strValue=\"12345\" fruID=0x00");
    std::printf("    %s -d ToLocal.sdr -msgintf kcsio\n\n", VALDRN_PROGRAM_NAME);
    return 0;
}

int ShowVersion(unsigned short, char*[])
{
    std::printf("\n\n %s (%s) \n\n", S_pchVersion, S_pchPlatform);
    return 0;
}

int VerboseMode(unsigned short, char*[])
{
    G_bVerboseMode = true;
    return 0;
}

int CheckKCS(const InterfaceChoice& interface, unsigned short u16ArgCount, char* apchArgs[])
{
    // The engine always hands over its argument array, so the probe never
    // runs from the command line; kept as it has always been.
    if (u16ArgCount != 0 || apchArgs != nullptr) {
        return 1;
    }
    if (!ProbeInBandInterface(interface)) {
        return 1;
    }
    std::printf("\n\nKCS is available\n");
    return 0;
}
