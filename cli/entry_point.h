// The pieces of the program's life that main() strings together: the
// product header, registration, parsing, the small stand-alone options and
// the turning of the outcome into an exit status.
#pragma once

#include "base/interface_state.h"
#include "cli/command_line_execution.h"
#include "operations/run_result.h"

// Exit statuses of the program.
enum eExitStatus {
    EXIT_STATUS_SUCCESS = 0,
    EXIT_STATUS_HANDLER_FAILED = 1,
    EXIT_STATUS_REGISTER_FAILED = 3,
    EXIT_STATUS_BAD_COMMAND_LINE = 4,
};

// Room for the fifteen options of the option table.
constexpr unsigned char OPTION_TABLE_CAPACITY = 15;

void ShowProductHeader();
// Registers an option; on failure prints the engine's message and ends the
// process with status 3.
void RegisterFunctionOrExit(TCommandLineExecution& engine, const char* pchName, unsigned char u8MaxArgs,
                            unsigned char u8MinArgs, TOptionHandler pfnHandler);
// The fifteen options of the program, with their handlers: the interface
// options fill *psInterface, which the operations then use; the
// operations' handlers fill *psResult.
void RegisterOptionTable(TCommandLineExecution& engine, InterfaceChoice* psInterface, RunResult* psResult);
int ParseCommandLine(int iArgCount, char* apchArgs[], TCommandLineExecution& engine);
void ShowBadCommandLine(const TCommandLineExecution& engine);

// Parses, triggers and maps the outcome to the exit status, adding the
// KCS-driver note after a failed handler on a local interface (as the
// interface options left the choice).
int TriggerCommandLine(TCommandLineExecution& engine, int iArgCount, char* apchArgs[],
                       const InterfaceChoice& interface);
// TriggerCommandLine, with the exit status and a rejected command line
// recorded in the run's result (the engine registered with the same ones).
int RunCommandLine(TCommandLineExecution& engine, int iArgCount, char* apchArgs[], const InterfaceChoice& interface,
                   RunResult* psResult);

int ShowHelp(unsigned short u16ArgCount, char* apchArgs[]);
int ShowVersion(unsigned short u16ArgCount, char* apchArgs[]);
int VerboseMode(unsigned short u16ArgCount, char* apchArgs[]);
// The hidden -kcs probe of the run's in-band interface.
int CheckKCS(const InterfaceChoice& interface, unsigned short u16ArgCount, char* apchArgs[]);
