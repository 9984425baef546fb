// The option framework: a registry of named options with the range of
// argument counts each accepts, a parser that groups the command line and
// enforces the rules of combination, and a trigger that runs the handlers
// modifiers first, then interface options, then the one operation.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>

enum eReturnCodeTag : std::int32_t {
    eRC_Success = 0,
    eRC_NoCommandOption = 1,
    eRC_IncompatibleOptions = 2,
    eRC_DuplicateOption = 3,
    eRC_RegisterFailed = 4,
    eRC_IncorrectFormat = 5,
    eRC_UnrecognizedOption = 6,
    eRC_InvalidLanOptions = 7,
    eRC_NoOperation = 8,
};

// An option handler gets the option's argument count and arguments and
// returns 0 on success, anything else on failure. It may carry the run's
// state with it (a lambda that captures it): the engine keeps none.
typedef std::function<int(unsigned short u16ArgCount, char* apchArgs[])> TOptionHandler;

// Fixed sizes of the engine's stores.
constexpr unsigned int OPTION_NAME_BUFFER_SIZE = 18;  // 17 characters and the NUL
constexpr unsigned int MAX_GIVEN_OPTIONS = 15;
constexpr unsigned int MAX_OPTION_ARGUMENTS = 15;
constexpr unsigned int EXECUTION_LOG_SIZE = 15;

class TCommandLineExecution {
public:
    explicit TCommandLineExecution(unsigned char u8Capacity);
    ~TCommandLineExecution();
    TCommandLineExecution(const TCommandLineExecution&) = delete;
    TCommandLineExecution& operator=(const TCommandLineExecution&) = delete;

    eReturnCodeTag FunctionRegistry(const char* pchName, unsigned char u8MaxArgs, unsigned char u8MinArgs,
                                    TOptionHandler pfnHandler);
    // 1 when the command line is accepted, 0 when rejected; the reason is
    // in the return code either way.
    int ParseCommandOptions(short i16ArgCount, char* apchArgs[]);
    int Trigger();
    int Trigger(unsigned short u16OptionNumber);
    void ShowOptionReturnCodeString(FILE* pStream) const;

    // Read-only views of the engine's state.
    eReturnCodeTag ReturnCode() const { return m_eReturnCode; }
    unsigned short RegisteredCount() const { return m_u16RegisteredCount; }
    unsigned short GivenCount() const { return m_u16GivenCount; }
    unsigned short ExecutedCount() const { return m_u16ExecutedCount; }
    // Argument count of the i-th given option (command-line order).
    unsigned char GivenArgumentCount(unsigned short u16Index) const;
    // Registry index logged for the i-th handler run, 0xFFFF when none.
    unsigned short ExecutedRegistryIndex(unsigned short u16Index) const;
    int ExecutedResult(unsigned short u16Index) const;

private:
    struct RegistryEntry {
        std::int32_t i32Given;
        unsigned char u8MaxArgs;
        unsigned char u8MinArgs;
        char achName[OPTION_NAME_BUFFER_SIZE];
        TOptionHandler pfnHandler;
    };
    struct GivenOption {
        unsigned char u8MaxArgs;
        unsigned char u8MinArgs;
        unsigned char u8ArgCount;
        char* apchArgs[MAX_OPTION_ARGUMENTS];
        unsigned short u16RegistryIndex;
    };
    struct ExecutionLogEntry {
        unsigned short u16RegistryIndex;
        std::int32_t i32Result;
    };
    struct ParseState;

    int Reject(eReturnCodeTag eCode);
    int FindRegistered(const char* pchName) const;
    int AcceptOption(int iRegistryIndex, ParseState& state);
    int CheckCombination(const ParseState& state);
    bool TakesArguments(const GivenOption& given) const { return given.u8MaxArgs != 0; }
    bool IsInterfaceOption(const GivenOption& given) const;
    int RunHandler(const GivenOption& given);

    eReturnCodeTag m_eReturnCode;
    RegistryEntry* m_psRegistry;
    unsigned char m_u8Capacity;
    GivenOption m_asGiven[MAX_GIVEN_OPTIONS];
    ExecutionLogEntry m_asExecutionLog[EXECUTION_LOG_SIZE];
    unsigned short m_u16RegisteredCount;
    unsigned short m_u16GivenCount;
    unsigned short m_u16ExecutedCount;
};
