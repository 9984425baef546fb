// FRU images built byte by byte for the tests, checksums computed here,
// and FRU text spelled out independently of the program's writer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace valdrn_test {

// Field data with its type/length byte.
std::string FruAsciiField(const std::string& sLatin1);     // type 11b
std::string FruSixBitField(const std::string& sText);      // type 10b, packed
std::string FruBcdField(const std::string& sText);         // type 01b
std::string FruUnicodeField(const std::string& sUtf16Le);  // type 11b, raw UTF-16LE
std::string FruEmptyField();                               // C0

// An info area: version 1, length in 8-byte units, the area's own bytes
// (chassis type; language and date; language), the fields, C1, zero
// padding and the checksum.
std::string FruInfoArea(const std::string& sOwnBytes, const std::vector<std::string>& asFields);
std::string FruChassisArea(uint8_t u8Type, const std::vector<std::string>& asFields);
std::string FruBoardArea(uint8_t u8Language, uint32_t u32Minutes, const std::vector<std::string>& asFields);
std::string FruProductArea(uint8_t u8Language, const std::vector<std::string>& asFields);
// One multi-record record with both checksums.
std::string FruMultiRecord(uint8_t u8Type, const std::string& sData, bool bLast, uint8_t u8Format = 0x02);
// A power supply information record (type 0x00), 24 bytes of data.
std::string FruPowerSupplyRecord(bool bLast);

struct FruAreas {
    std::string sInternal;
    std::string sChassis;
    std::string sBoard;
    std::string sProduct;
    std::string sMultiRecord;  // the records, back to back
};
// The common header and the areas in order, without gaps.
std::string FruImage(const FruAreas& areas);

// A typical server board: chassis, board and product areas in 8-bit text,
// and a power-supply record.
std::string TypicalServerFru();
// Every field encoding: six-bit, BCD plus, 8-bit, empty fields, and
// UTF-16LE fields under a non-English language code.
std::string EveryEncodingFru();

// FRU text of an image as a person would write it: hex bytes, several to a
// line, and every text field of the info areas as a quoted string (8-bit
// fields only; language code English).
std::string FruText(const std::string& sImage);

// Runs FreeIPMI's ipmi-fru on the image; its whole output.
std::string DecodeWithIpmiFru(const std::string& sImage);

}  // namespace valdrn_test
