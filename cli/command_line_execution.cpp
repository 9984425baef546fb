#include "cli/command_line_execution.h"

#include "cli/diagnostics.h"

#include <cstring>
#include <new>
#include <utility>

namespace {

const char* const S_apchOperationNames[] = {"d", "u", "t", "v", "h", "version", "updateFRU"};
const char* const S_apchInterfaceNames[] = {"msgintf", "n", "H", "U", "P", "C"};

// Positions of the interface options in S_apchInterfaceNames.
enum { INTF_MSGINTF, INTF_N, INTF_H, INTF_U, INTF_P, INTF_C, INTF_COUNT };

template <size_t N>
int IndexInList(const char* pchName, const char* const (&apchList)[N])
{
    for (size_t i = 0; i < N; ++i) {
        if (std::strcmp(pchName, apchList[i]) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// "-" and "/" both introduce an option; any other word is an argument.
bool IsOptionWord(const char* pchWord)
{
    return pchWord[0] == '-' || pchWord[0] == '/';
}

const char* ReturnCodeMessage(eReturnCodeTag eCode)
{
    switch (eCode) {
    case eRC_NoCommandOption:
        return "<ERROR> No command option specified. \n";
    case eRC_IncompatibleOptions:
        return "<ERROR> Incompatible options are specified. \n";
    case eRC_DuplicateOption:
        return "<ERROR> Duplicate command option. \n";
    case eRC_RegisterFailed:
        return "<ERROR> Register Function is failed. \n";
    case eRC_IncorrectFormat:
        return "<ERROR> Incorrect command format. \n";
    case eRC_UnrecognizedOption:
        return "<ERROR> Unrecognized command option. \n";
    case eRC_InvalidLanOptions:
        return "<ERROR> Invalid LAN+ interface options. \n";
    case eRC_NoOperation:
        return "<ERROR> No operational command specified. "
               "(-d/-u/-v/-t/-h/-version/-updateFRU) \n";
    default:
        return "<ERROR> Unrecognized error code!! \n";
    }
}

}  // namespace

struct TCommandLineExecution::ParseState {
    bool bOperationSeen = false;
    bool bModifierSeen = false;
    bool abInterfaceSeen[INTF_COUNT] = {};
    unsigned int uNoArgumentOptions = 0;
    unsigned int uArgumentOptions = 0;
};

TCommandLineExecution::TCommandLineExecution(unsigned char u8Capacity)
    : m_eReturnCode(eRC_Success), m_psRegistry(new (std::nothrow) RegistryEntry[u8Capacity]()),
      m_u8Capacity(m_psRegistry != nullptr ? u8Capacity : 0), m_asGiven(), m_asExecutionLog(), m_u16RegisteredCount(0),
      m_u16GivenCount(0), m_u16ExecutedCount(0)
{
}

TCommandLineExecution::~TCommandLineExecution()
{
    delete[] m_psRegistry;
}

eReturnCodeTag TCommandLineExecution::FunctionRegistry(const char* pchName, unsigned char u8MaxArgs,
                                                       unsigned char u8MinArgs, TOptionHandler pfnHandler)
{
    // Beyond the capacity or the name buffer the entry cannot be stored:
    // that is a failed registration like a missing name or handler.
    if (pchName == nullptr || pfnHandler == nullptr || m_u16RegisteredCount >= m_u8Capacity ||
        std::strlen(pchName) >= OPTION_NAME_BUFFER_SIZE) {
        m_eReturnCode = eRC_RegisterFailed;
        return m_eReturnCode;
    }
    RegistryEntry& entry = m_psRegistry[m_u16RegisteredCount];
    entry.i32Given = 0;
    entry.u8MaxArgs = u8MaxArgs;
    entry.u8MinArgs = u8MinArgs;
    std::strcpy(entry.achName, pchName);
    entry.pfnHandler = std::move(pfnHandler);
    ++m_u16RegisteredCount;
    m_eReturnCode = eRC_Success;
    return m_eReturnCode;
}

int TCommandLineExecution::Reject(eReturnCodeTag eCode)
{
    m_eReturnCode = eCode;
    return 0;
}

int TCommandLineExecution::FindRegistered(const char* pchName) const
{
    for (unsigned int i = 0; i < m_u16RegisteredCount; ++i) {
        if (std::strcmp(m_psRegistry[i].achName, pchName) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// Records one option word; 1 to go on, 0 when the word rejects the line.
int TCommandLineExecution::AcceptOption(int iRegistryIndex, ParseState& state)
{
    RegistryEntry& entry = m_psRegistry[iRegistryIndex];
    if (entry.i32Given == 1) {
        return Reject(eRC_DuplicateOption);
    }
    // Only reachable with more than 15 registered options; the given
    // store must not overrun.
    if (m_u16GivenCount >= MAX_GIVEN_OPTIONS) {
        return Reject(eRC_IncorrectFormat);
    }
    GivenOption& given = m_asGiven[m_u16GivenCount];
    given = GivenOption();
    given.u16RegistryIndex = static_cast<unsigned short>(iRegistryIndex);
    given.u8MaxArgs = entry.u8MaxArgs;
    given.u8MinArgs = entry.u8MinArgs;
    entry.i32Given = 1;

    if (TakesArguments(given)) {
        ++state.uArgumentOptions;
    } else {
        ++state.uNoArgumentOptions;
    }
    // The last registered option is the one modifier allowed beside an
    // operation that takes arguments.
    if (iRegistryIndex == m_u16RegisteredCount - 1) {
        state.bModifierSeen = true;
    }
    if (IndexInList(entry.achName, S_apchOperationNames) >= 0) {
        if (state.bOperationSeen) {
            return Reject(eRC_IncompatibleOptions);
        }
        state.bOperationSeen = true;
    }
    const int iInterface = IndexInList(entry.achName, S_apchInterfaceNames);
    if (iInterface >= 0) {
        state.abInterfaceSeen[iInterface] = true;
    }
    ++m_u16GivenCount;
    return 1;
}

int TCommandLineExecution::CheckCombination(const ParseState& state)
{
    if (!state.bOperationSeen) {
        return Reject(eRC_NoOperation);
    }
    if (state.uNoArgumentOptions > 1) {
        return Reject(eRC_IncompatibleOptions);
    }
    if (state.uNoArgumentOptions >= 1 && state.uArgumentOptions >= 1 && !state.bModifierSeen) {
        return Reject(eRC_IncompatibleOptions);
    }
    if (m_u16GivenCount == 1 && state.bModifierSeen) {
        return Reject(eRC_IncorrectFormat);
    }
    if (state.abInterfaceSeen[INTF_MSGINTF] && state.abInterfaceSeen[INTF_N]) {
        return Reject(eRC_IncompatibleOptions);
    }
    unsigned int uLanOptions = 0;
    for (int i = INTF_N; i <= INTF_C; ++i) {
        uLanOptions += state.abInterfaceSeen[i] ? 1 : 0;
    }
    if (uLanOptions != 0 && uLanOptions != INTF_C - INTF_N + 1) {
        return Reject(eRC_InvalidLanOptions);
    }
    for (unsigned int i = 0; i < m_u16GivenCount; ++i) {
        const GivenOption& given = m_asGiven[i];
        // More arguments than the store holds are refused like any other
        // count outside the option's range.
        if (given.u8ArgCount > given.u8MaxArgs || given.u8ArgCount < given.u8MinArgs ||
            given.u8ArgCount > MAX_OPTION_ARGUMENTS) {
            return Reject(eRC_IncorrectFormat);
        }
    }
    return 1;
}

int TCommandLineExecution::ParseCommandOptions(short i16ArgCount, char* apchArgs[])
{
    m_u16GivenCount = 0;
    m_eReturnCode = eRC_Success;
    ParseState state;

    if (i16ArgCount <= 1 || apchArgs == nullptr) {
        return Reject(eRC_NoCommandOption);
    }
    const char* pchFirst = apchArgs[1];
    if (pchFirst == nullptr || !IsOptionWord(pchFirst) || pchFirst[1] == '\0') {
        return Reject(eRC_IncorrectFormat);
    }
    for (int i = 1; i < i16ArgCount; ++i) {
        char* pchWord = apchArgs[i];
        if (pchWord == nullptr) {
            return Reject(eRC_IncorrectFormat);
        }
        if (!IsOptionWord(pchWord)) {
            // The first word is an option, so a most recent option exists.
            GivenOption& owner = m_asGiven[m_u16GivenCount - 1];
            if (owner.u8ArgCount < MAX_OPTION_ARGUMENTS) {
                owner.apchArgs[owner.u8ArgCount] = pchWord;
            }
            if (owner.u8ArgCount < 0xFF) {
                ++owner.u8ArgCount;  // saturates: any count above 15 is refused later
            }
            continue;
        }
        const int iRegistryIndex = FindRegistered(pchWord + 1);
        if (iRegistryIndex < 0) {
            return Reject(eRC_UnrecognizedOption);
        }
        if (AcceptOption(iRegistryIndex, state) == 0) {
            return 0;
        }
    }
    return CheckCombination(state);
}

bool TCommandLineExecution::IsInterfaceOption(const GivenOption& given) const
{
    return IndexInList(m_psRegistry[given.u16RegistryIndex].achName, S_apchInterfaceNames) >= 0;
}

int TCommandLineExecution::RunHandler(const GivenOption& given)
{
    const RegistryEntry& entry = m_psRegistry[given.u16RegistryIndex];
    ExecutionLogEntry* psLog =
        m_u16ExecutedCount < EXECUTION_LOG_SIZE ? &m_asExecutionLog[m_u16ExecutedCount] : nullptr;
    if (psLog != nullptr) {
        psLog->u16RegistryIndex = given.u16RegistryIndex;
    }
    const int iResult = entry.pfnHandler(given.u8ArgCount, const_cast<char**>(given.apchArgs));
    if (psLog != nullptr) {
        psLog->i32Result = iResult;
    }
    ++m_u16ExecutedCount;
    return iResult;
}

int TCommandLineExecution::Trigger()
{
    // Pass 1: options without arguments (modifiers and stand-alone
    // options); pass 2: interface options; pass 3: the operation.
    for (int iPass = 1; iPass <= 3; ++iPass) {
        for (unsigned int i = 0; i < m_u16GivenCount; ++i) {
            const GivenOption& given = m_asGiven[i];
            const bool bRunNow = iPass == 1   ? !TakesArguments(given)
                                 : iPass == 2 ? TakesArguments(given) && IsInterfaceOption(given)
                                              : TakesArguments(given) && !IsInterfaceOption(given);
            if (!bRunNow) {
                continue;
            }
            const int iResult = RunHandler(given);
            if (iResult != 0) {
                return iResult;
            }
        }
    }
    return 0;
}

int TCommandLineExecution::Trigger(unsigned short u16OptionNumber)
{
    const unsigned short u16Index = static_cast<unsigned short>(u16OptionNumber - 1);
    if (u16Index > m_u16RegisteredCount) {
        return eRC_IncompatibleOptions;
    }
    for (unsigned int i = 0; i < m_u16GivenCount; ++i) {
        if (m_asGiven[i].u16RegistryIndex == u16Index) {
            return RunHandler(m_asGiven[i]);
        }
    }
    return eRC_IncompatibleOptions;
}

void TCommandLineExecution::ShowOptionReturnCodeString(FILE* pStream) const
{
    std::fputs(ReturnCodeMessage(m_eReturnCode), pStream);
    PrintInvalidOperations(pStream);
}

unsigned char TCommandLineExecution::GivenArgumentCount(unsigned short u16Index) const
{
    return u16Index < m_u16GivenCount ? m_asGiven[u16Index].u8ArgCount : 0;
}

unsigned short TCommandLineExecution::ExecutedRegistryIndex(unsigned short u16Index) const
{
    return u16Index < m_u16ExecutedCount && u16Index < EXECUTION_LOG_SIZE ? m_asExecutionLog[u16Index].u16RegistryIndex
                                                                          : 0xFFFF;
}

int TCommandLineExecution::ExecutedResult(unsigned short u16Index) const
{
    return u16Index < m_u16ExecutedCount && u16Index < EXECUTION_LOG_SIZE ? m_asExecutionLog[u16Index].i32Result : 0;
}
