// The reading of ipmitool's output: answers, error lines and completion
// codes, over the attempts of one request, in one buffer that is not
// cleared between them.
//
// Input: the command byte, then for each attempt a length byte (255 means
// a full read of 256 bytes) and that many bytes of output.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/trace.h"
#include "bmc/lan_command.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pu8Data, std::size_t uSize)
{
    if (uSize < 1) {
        return 0;
    }
    G_bVerboseMode = (pu8Data[0] & 1) != 0;  // the traces format what was read, too
    const unsigned char u8Cmd = pu8Data[0];
    IPMICommandRecord record = NewCommandRecord();
    record.u8CompletionCode = 0xFF;
    char achOutput[IPMITOOL_OUTPUT_SIZE + 1] = {};
    std::size_t uOffset = 1;
    while (uOffset < uSize) {
        std::size_t uRead = pu8Data[uOffset++];
        uRead = uRead == 255 ? IPMITOOL_OUTPUT_SIZE : uRead;
        uRead = uRead < uSize - uOffset ? uRead : uSize - uOffset;
        std::memcpy(achOutput, pu8Data + uOffset, uRead);
        uOffset += uRead;
        const Attempt eAttempt = InterpretIpmitoolOutput(achOutput, uRead, u8Cmd, &record);
        if (record.u16ResponseLength > IPMI_RESPONSE_DATA_SIZE) {
            valdrn_fuzz::Finding("more response bytes than the record holds");
        }
        if ((eAttempt == ATTEMPT_SUCCEEDED && record.u8CompletionCode == 0) || eAttempt == ATTEMPT_STOP) {
            break;
        }
    }
    G_bVerboseMode = false;
    return 0;
}
