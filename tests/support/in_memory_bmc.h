// A BMC in memory, as the run's transport (bmc/transport.h): an SDR
// repository and FRU devices answering the storage commands VALDRN sends,
// so that unit tests drive whole operations and read what the BMC holds,
// without a library, a process or a network. Completion codes can be
// injected per command, and answers scripted in turn (for the tests of
// single requests, byte for byte).
#pragma once

#include <deque>
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
    // Answers given in turn to the next requests, whatever they ask; then
    // the set answer, when there is one, instead of the storage's.
    void Queue(unsigned char u8Code, std::vector<unsigned char> au8Response);
    void Answer(unsigned char u8Code, std::vector<unsigned char> au8Response);
    // Forgets the requests, the queued answers and the set answer.
    void Reset();
    // Requests received: the NetFn/LUN byte, the command and the request's
    // bytes, in hexadecimal ("28 23 [01 00 00 00 00 05]").
    std::vector<std::string> m_asRequests;

private:
    unsigned char StorageAnswer(unsigned char u8Cmd, const unsigned char* pu8Request, unsigned int uLength,
                                std::string* psResponse);
    unsigned char GetSdr(const unsigned char* pu8Request, std::string* psResponse) const;
    unsigned char PartialAdd(const unsigned char* pu8Request, unsigned int uLength, std::string* psResponse);
    unsigned char ReadFru(const unsigned char* pu8Request, std::string* psResponse) const;
    unsigned char WriteFru(const unsigned char* pu8Request, unsigned int uLength, std::string* psResponse);

    struct ScriptedAnswer {
        unsigned char u8Code;
        std::vector<unsigned char> au8Response;
    };
    bool Scripted(ScriptedAnswer* psAnswer);

    std::map<unsigned char, std::vector<unsigned char>> m_failures;
    std::deque<ScriptedAnswer> m_queued;
    bool m_bAnswerSet = false;
    ScriptedAnswer m_set = {};
    unsigned short m_u16Reservation = 0;
    std::string m_sAdding;  // the record a partial add is building
};

}  // namespace valdrn_test
