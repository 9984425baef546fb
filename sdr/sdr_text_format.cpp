#include "sdr/sdr_text_format.h"

//                                                                00  01    02    03    04-07       08    09
const unsigned char SDR_STRING_START_POSITION[SDR_TYPE_TABLE_SIZE] = {0, 0x30, 0x20, 0x11, 0, 0, 0, 0, 0x10, 0x20,
                                                                      // 0A-0F          10    11    12    13    14
                                                                      0, 0, 0, 0, 0, 0, 0x10, 0x10, 0x10, 0x20, 0x10};

unsigned char SDRStringStart(unsigned char u8Type, unsigned char u8RecordLength)
{
    if (u8Type == SDR_TYPE_OEM) {
        return u8RecordLength < SDR_RECORD_MAX_LEN_TYPE_C0 ? u8RecordLength : SDR_RECORD_MAX_LEN_TYPE_C0;
    }
    return u8Type < SDR_TYPE_TABLE_SIZE ? SDR_STRING_START_POSITION[u8Type] : 0;
}
