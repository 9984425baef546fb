// A BMC in memory, as the run's transport (bmc/transport.h): an SDR
// repository and FRU devices answering the storage commands VALDRN sends,
// so that unit tests drive whole operations and read what the BMC holds,
// without a library, a process or a network. Completion codes can be
// injected per command.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "bmc/transport.h"

namespace valdrn_test {

class InMemoryBmc : public IPMITransport {
public:
    bool Send(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord) override;

    // The repository's records, whole (the header's ID as the BMC gave it).
    std::vector<std::string> m_asRecords;
    // FRU devices by ID, each its bytes.
    std::map<unsigned char, std::string> m_fruDevices;
    // The command's next answers are these completion codes, in turn.
    void Fail(unsigned char u8Cmd, std::vector<unsigned char> au8Codes) { m_failures[u8Cmd] = std::move(au8Codes); }
    // Requests received, as "netfn:cmd" in hexadecimal ("0a:23").
    std::vector<std::string> m_asRequests;

private:
    unsigned char Answer(unsigned char u8Cmd, const unsigned char* pu8Request, unsigned int uLength,
                         std::string* psResponse);
    unsigned char GetSdr(const unsigned char* pu8Request, std::string* psResponse) const;
    unsigned char PartialAdd(const unsigned char* pu8Request, unsigned int uLength, std::string* psResponse);
    unsigned char ReadFru(const unsigned char* pu8Request, std::string* psResponse) const;
    unsigned char WriteFru(const unsigned char* pu8Request, unsigned int uLength, std::string* psResponse);

    std::map<unsigned char, std::vector<unsigned char>> m_failures;
    unsigned short m_u16Reservation = 0;
    std::string m_sAdding;  // the record a partial add is building
};

}  // namespace valdrn_test
