#include "support/in_memory_bmc.h"

#include <cstdio>
#include <cstring>

namespace valdrn_test {

namespace {

constexpr unsigned char CC_INVALID_COMMAND = 0xC1;
constexpr unsigned char CC_OUT_OF_RANGE = 0xC9;
constexpr unsigned char CC_NOT_PRESENT = 0xCB;
constexpr unsigned char CC_INVALID_DATA = 0xCC;

unsigned short Word(const unsigned char* pu8Bytes)
{
    return static_cast<unsigned short>(pu8Bytes[0] | (pu8Bytes[1] << 8));
}

std::string WordBytes(unsigned int uWord)
{
    return {static_cast<char>(uWord & 0xFF), static_cast<char>((uWord >> 8) & 0xFF)};
}

std::string HexByte(unsigned int uByte)
{
    char achByte[4];
    std::snprintf(achByte, sizeof achByte, "%02X", uByte & 0xFF);
    return achByte;
}

std::string RequestLine(unsigned char u8NetFnLun, unsigned char u8Cmd, const unsigned char* pu8Request,
                        unsigned int uLength)
{
    std::string sLine = HexByte(u8NetFnLun) + " " + HexByte(u8Cmd) + " [";
    for (unsigned int i = 0; i < uLength; ++i) {
        sLine += (i == 0 ? "" : " ") + HexByte(pu8Request[i]);
    }
    return sLine + "]";
}

}  // namespace

void InMemoryBmc::Queue(unsigned char u8Code, std::vector<unsigned char> au8Response)
{
    m_queued.push_back({u8Code, std::move(au8Response)});
}

void InMemoryBmc::Answer(unsigned char u8Code, std::vector<unsigned char> au8Response)
{
    m_bAnswerSet = true;
    m_set = {u8Code, std::move(au8Response)};
}

void InMemoryBmc::Reset()
{
    m_asRequests.clear();
    m_queued.clear();
    m_bAnswerSet = false;
}

bool InMemoryBmc::Scripted(ScriptedAnswer* psAnswer)
{
    if (!m_queued.empty()) {
        *psAnswer = std::move(m_queued.front());
        m_queued.pop_front();
        return true;
    }
    if (m_bAnswerSet) {
        *psAnswer = m_set;
    }
    return m_bAnswerSet;
}

bool InMemoryBmc::Send(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord)
{
    m_asRequests.push_back(RequestLine(u8NetFnLun, u8Cmd, psRecord->au8RequestData, psRecord->u8RequestLength));
    std::string sResponse;
    std::vector<unsigned char>& au8Failures = m_failures[u8Cmd];
    ScriptedAnswer scripted;
    if (Scripted(&scripted)) {
        psRecord->u8CompletionCode = scripted.u8Code;
        sResponse.assign(scripted.au8Response.begin(), scripted.au8Response.end());
    } else if (!au8Failures.empty()) {
        psRecord->u8CompletionCode = au8Failures.front();
        au8Failures.erase(au8Failures.begin());
    } else if (u8NetFnLun == NETFN_LUN_APP && u8Cmd == CMD_GET_DEVICE_ID) {
        psRecord->u8CompletionCode = 0;
        sResponse = std::string("\x20\x01\x01\x00\x02\xBF\x00\x00\x00\x00\x00\x00\x00\x00\x00", 15);
    } else {
        psRecord->u8CompletionCode =
            u8NetFnLun == NETFN_LUN_STORAGE
                ? StorageAnswer(u8Cmd, psRecord->au8RequestData, psRecord->u8RequestLength, &sResponse)
                : CC_INVALID_COMMAND;
    }
    if (psRecord->u8CompletionCode != 0) {
        sResponse.clear();
    }
    std::memset(psRecord->au8ResponseData, 0, sizeof psRecord->au8ResponseData);
    psRecord->u16ResponseLength = static_cast<unsigned short>(
        sResponse.size() < IPMI_RESPONSE_DATA_SIZE ? sResponse.size() : IPMI_RESPONSE_DATA_SIZE);
    std::memcpy(psRecord->au8ResponseData, sResponse.data(), psRecord->u16ResponseLength);
    return IsAcceptedAnswer(u8NetFnLun, u8Cmd, *psRecord);
}

unsigned char InMemoryBmc::StorageAnswer(unsigned char u8Cmd, const unsigned char* pu8Request, unsigned int uLength,
                                         std::string* psResponse)
{
    switch (u8Cmd) {
    case CMD_GET_SDR_REPOSITORY_INFO: {
        unsigned int uUsed = 0;
        for (const std::string& sRecord : m_asRecords) {
            uUsed += static_cast<unsigned int>(sRecord.size());
        }
        // SDR 1.5; count; free space; no times; partial add and reserve.
        *psResponse = "\x51" + WordBytes(static_cast<unsigned int>(m_asRecords.size())) + WordBytes(0xFFFE - uUsed) +
                      std::string(8, '\0') + "\x06";
        return 0;
    }
    case CMD_RESERVE_SDR_REPOSITORY:
        *psResponse = WordBytes(++m_u16Reservation);
        m_sAdding.clear();
        return 0;
    case CMD_GET_SDR:
        return GetSdr(pu8Request, psResponse);
    case CMD_PARTIAL_ADD_SDR:
        return PartialAdd(pu8Request, uLength, psResponse);
    case CMD_CLEAR_SDR_REPOSITORY:
        if (Word(pu8Request) != m_u16Reservation) {
            return CC_RESERVATION_CANCELLED;
        }
        if (pu8Request[5] == 0xAA) {
            m_asRecords.clear();
        }
        *psResponse = "\x01";  // erasure completed
        return 0;
    case CMD_RUN_INITIALIZATION_AGENT:
        *psResponse = "\x01";  // completed
        return 0;
    case CMD_GET_FRU_INVENTORY_AREA_INFO: {
        const auto device = m_fruDevices.find(pu8Request[0]);
        if (device == m_fruDevices.end()) {
            return CC_NOT_PRESENT;
        }
        *psResponse = WordBytes(static_cast<unsigned int>(device->second.size())) + std::string(1, '\0');
        return 0;
    }
    case CMD_READ_FRU_DATA:
        return ReadFru(pu8Request, psResponse);
    case CMD_WRITE_FRU_DATA:
        return WriteFru(pu8Request, uLength, psResponse);
    default:
        return CC_INVALID_COMMAND;
    }
}

// Record IDs are the records' places, from 1; ID 0 is the first record.
unsigned char InMemoryBmc::GetSdr(const unsigned char* pu8Request, std::string* psResponse) const
{
    const unsigned short u16Id = Word(pu8Request + 2);
    const size_t uIndex = u16Id == 0 ? 0 : u16Id - 1u;
    if (uIndex >= m_asRecords.size()) {
        return CC_NOT_PRESENT;
    }
    if (pu8Request[4] != 0 && Word(pu8Request) != m_u16Reservation) {
        return CC_RESERVATION_CANCELLED;
    }
    std::string sRecord = m_asRecords[uIndex];
    sRecord.replace(0, 2, WordBytes(static_cast<unsigned int>(uIndex + 1)));
    const size_t uOffset = pu8Request[4];
    if (uOffset + pu8Request[5] > sRecord.size()) {
        return CC_OUT_OF_RANGE;
    }
    const unsigned int uNext = uIndex + 1 < m_asRecords.size() ? static_cast<unsigned int>(uIndex + 2) : 0xFFFF;
    *psResponse = WordBytes(uNext) + sRecord.substr(uOffset, pu8Request[5]);
    return 0;
}

unsigned char InMemoryBmc::PartialAdd(const unsigned char* pu8Request, unsigned int uLength, std::string* psResponse)
{
    if (Word(pu8Request) != m_u16Reservation) {
        return CC_RESERVATION_CANCELLED;
    }
    const unsigned char u8Offset = pu8Request[4];
    if (u8Offset != m_sAdding.size()) {
        return CC_INVALID_DATA;
    }
    m_sAdding.append(reinterpret_cast<const char*>(pu8Request + 6), uLength - 6);
    const bool bLast = (pu8Request[5] & 0x0F) == 1;
    if (bLast) {
        if (m_sAdding.size() < 5 || m_sAdding.size() != 5u + static_cast<unsigned char>(m_sAdding[4])) {
            m_sAdding.clear();
            return CC_INVALID_DATA;
        }
        m_asRecords.push_back(m_sAdding);
        m_sAdding.clear();
    }
    *psResponse = WordBytes(static_cast<unsigned int>(m_asRecords.size() + (bLast ? 0 : 1)));
    return 0;
}

unsigned char InMemoryBmc::ReadFru(const unsigned char* pu8Request, std::string* psResponse) const
{
    const auto device = m_fruDevices.find(pu8Request[0]);
    if (device == m_fruDevices.end()) {
        return CC_NOT_PRESENT;
    }
    const size_t uOffset = Word(pu8Request + 1);
    if (uOffset + pu8Request[3] > device->second.size()) {
        return CC_OUT_OF_RANGE;
    }
    *psResponse = std::string(1, static_cast<char>(pu8Request[3])) + device->second.substr(uOffset, pu8Request[3]);
    return 0;
}

unsigned char InMemoryBmc::WriteFru(const unsigned char* pu8Request, unsigned int uLength, std::string* psResponse)
{
    const auto device = m_fruDevices.find(pu8Request[0]);
    if (device == m_fruDevices.end()) {
        return CC_NOT_PRESENT;
    }
    const size_t uOffset = Word(pu8Request + 1);
    const size_t uCount = uLength - 3;
    if (uOffset + uCount > device->second.size()) {
        return CC_OUT_OF_RANGE;
    }
    device->second.replace(uOffset, uCount, reinterpret_cast<const char*>(pu8Request + 3), uCount);
    *psResponse = std::string(1, static_cast<char>(uCount));
    return 0;
}

}  // namespace valdrn_test
