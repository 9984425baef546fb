#include "support/fru_fixtures.h"

#include <array>
#include <cstdio>
#include <stdexcept>

#include "encoding/fru_field_encoding.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

namespace valdrn_test {

namespace {

std::string TypeLength(unsigned int uType, size_t uLength)
{
    if (uLength > 63) {
        throw std::invalid_argument("a FRU field holds at most 63 bytes");
    }
    return std::string(1, static_cast<char>((uType << 6) | uLength));
}

std::string Checksummed(std::string sBytes)
{
    sBytes += static_cast<char>(ZeroSumChecksum(sBytes));
    return sBytes;
}

}  // namespace

std::string FruAsciiField(const std::string& sLatin1)
{
    return TypeLength(3, sLatin1.size()) + sLatin1;
}

std::string FruSixBitField(const std::string& sText)
{
    std::string sPacked((sText.size() * 6 + 7) / 8, '\0');
    if (!ConvertASCIIStrToSixBitASCII(sText.c_str(), reinterpret_cast<unsigned char*>(&sPacked[0]))) {
        throw std::invalid_argument("not six-bit text: " + sText);
    }
    return TypeLength(2, sPacked.size()) + sPacked;
}

std::string FruBcdField(const std::string& sText)
{
    std::string sPacked((sText.size() + 1) / 2, '\0');
    if (!ConvertASCIIStrToBCDPlus(sText.c_str(), reinterpret_cast<unsigned char*>(&sPacked[0]))) {
        throw std::invalid_argument("not BCD plus text: " + sText);
    }
    return TypeLength(1, sPacked.size()) + sPacked;
}

std::string FruUnicodeField(const std::string& sUtf16Le)
{
    return TypeLength(3, sUtf16Le.size()) + sUtf16Le;
}

std::string FruEmptyField()
{
    return TypeLength(3, 0);
}

std::string FruInfoArea(const std::string& sOwnBytes, const std::vector<std::string>& asFields)
{
    std::string sArea = "\x01";
    sArea += '\0';  // length, set below
    sArea += sOwnBytes;
    for (const std::string& sField : asFields) {
        sArea += sField;
    }
    sArea += '\xC1';
    while ((sArea.size() + 1) % 8 != 0) {
        sArea += '\0';
    }
    sArea[1] = static_cast<char>((sArea.size() + 1) / 8);
    return Checksummed(sArea);
}

std::string FruChassisArea(uint8_t u8Type, const std::vector<std::string>& asFields)
{
    return FruInfoArea(std::string(1, static_cast<char>(u8Type)), asFields);
}

std::string FruBoardArea(uint8_t u8Language, uint32_t u32Minutes, const std::vector<std::string>& asFields)
{
    std::string sOwn(1, static_cast<char>(u8Language));
    for (int i = 0; i < 3; ++i) {
        sOwn += static_cast<char>((u32Minutes >> (8 * i)) & 0xFF);
    }
    return FruInfoArea(sOwn, asFields);
}

std::string FruProductArea(uint8_t u8Language, const std::vector<std::string>& asFields)
{
    return FruInfoArea(std::string(1, static_cast<char>(u8Language)), asFields);
}

std::string FruMultiRecord(uint8_t u8Type, const std::string& sData, bool bLast, uint8_t u8Format)
{
    std::string sHeader;
    sHeader += static_cast<char>(u8Type);
    sHeader += static_cast<char>(u8Format | (bLast ? 0x80 : 0x00));
    sHeader += static_cast<char>(sData.size());
    sHeader += static_cast<char>(ZeroSumChecksum(sData));
    return Checksummed(sHeader) + sData;
}

std::string FruPowerSupplyRecord(bool bLast)
{
    const unsigned char au8Data[24] = {
        0xEE, 0x02,        // overall capacity 750 W
        0x20, 0x03,        // peak VA 800
        0x32,              // inrush current 50 A
        0x05,              // inrush interval 5 ms
        0x30, 0x2A,        // low-end input voltage range 1: 108.00 V (10 mV units)
        0xA0, 0x32,        // high-end input voltage range 1: 130.00 V
        0x60, 0x54,        // low-end input voltage range 2: 216.00 V
        0x80, 0x5D,        // high-end input voltage range 2: 240.00 V
        0x2F,              // low-end input frequency 47 Hz
        0x3F,              // high-end input frequency 63 Hz
        0x14,              // A/C dropout tolerance 20 ms
        0x19,              // flags: hot swap, autoswitch, PFC
        0x52, 0x03,        // peak wattage 850 W, holdup 0 s
        0x00, 0x00, 0x00,  // combined wattage: none
        0xC1,              // predictive fail tachometer lower threshold (RPS)
    };
    return FruMultiRecord(0x00, std::string(reinterpret_cast<const char*>(au8Data), sizeof au8Data), bLast);
}

std::string FruImage(const FruAreas& areas)
{
    std::string sHeader = "\x01";
    std::string sBody;
    const std::string* apAreas[] = {&areas.sInternal, &areas.sChassis, &areas.sBoard, &areas.sProduct,
                                    &areas.sMultiRecord};
    for (const std::string* psArea : apAreas) {
        if (psArea->empty()) {
            sHeader += '\0';
            continue;
        }
        if (sBody.size() % 8 != 0) {
            throw std::invalid_argument("areas must be multiples of 8 bytes");
        }
        sHeader += static_cast<char>((8 + sBody.size()) / 8);
        sBody += *psArea;
    }
    sHeader += '\0';
    return Checksummed(sHeader) + sBody;
}

std::string TypicalServerFru()
{
    FruAreas areas;
    areas.sChassis =
        FruChassisArea(0x17, {FruAsciiField("CHS-R200-01"), FruAsciiField("CSN20261121A"), FruAsciiField("Rack 2U")});
    areas.sBoard = FruBoardArea(0x19, 0x00C2B1F0,
                                {FruAsciiField("Valdrin Systems"), FruAsciiField("X99 Server Board"),
                                 FruAsciiField("BSN0001234"), FruAsciiField("PN-77-A"), FruAsciiField("FRU v1.0")});
    areas.sProduct = FruProductArea(
        0x19, {FruAsciiField("Valdrin Systems"), FruAsciiField("Valdrin R200"), FruAsciiField("R200-8"),
               FruAsciiField("A01"), FruAsciiField("PSN998877"), FruAsciiField("ASSET-42"), FruAsciiField("FRU v1.0")});
    areas.sMultiRecord = FruPowerSupplyRecord(true);
    return FruImage(areas);
}

std::string EveryEncodingFru()
{
    FruAreas areas;
    areas.sChassis = FruChassisArea(0x11, {FruSixBitField("CHS-0042"), FruBcdField("12-34.56:7"), FruEmptyField()});
    // Language 0x22 is not English: text fields are UTF-16LE, except the
    // serial number and FRU file ID (fields 2 and 4), kept in 8-bit.
    const std::string sEuro = std::string("\xAC\x20", 2);
    const std::string sName = std::string(
                                  "S\0\xE9\0r\0v\0"
                                  "e\0u\0r\0 \0",
                                  16) +
                              sEuro;
    areas.sBoard = FruBoardArea(0x22, 0x00112233,
                                {FruUnicodeField(std::string("V\0a\0l\0d\0r\0i\0n\0", 14)), FruUnicodeField(sName),
                                 FruAsciiField("BSN-UNI-1"), FruEmptyField(), FruAsciiField("fru-1")});
    areas.sProduct =
        FruProductArea(0x19, {FruSixBitField("VALDRIN"), FruAsciiField("Caf\xE9 R100"), FruBcdField("2026"),
                              FruEmptyField(), FruAsciiField("SN'42'"), FruEmptyField(), FruEmptyField()});
    areas.sMultiRecord = FruPowerSupplyRecord(false) +
                         FruMultiRecord(0x03, std::string("\x01") + "https://bmc.example/sys", false) +
                         FruMultiRecord(0x03, std::string("\x07") + std::string(16, '\x5A'), false) +
                         FruMultiRecord(0xC0, std::string("\x12\x34\x56\xC1\x00\xFF", 6), true);
    return FruImage(areas);
}

namespace {

void AppendHexBytes(std::string& sText, const std::string& sBytes)
{
    for (size_t i = 0; i < sBytes.size(); ++i) {
        char achByte[4];
        std::snprintf(achByte, sizeof achByte, "%02X", static_cast<unsigned char>(sBytes[i]));
        sText += achByte;
        sText += (i + 1 == sBytes.size()) ? "\n" : " ";
    }
}

void AppendInfoArea(std::string& sText, const std::string& sArea, size_t uOwnBytes, const char* pchTag)
{
    sText += std::string(pchTag) + "   // " + std::to_string(sArea.size()) + " bytes\n";
    AppendHexBytes(sText, sArea.substr(0, 2 + uOwnBytes));
    size_t uPos = 2 + uOwnBytes;
    while (static_cast<unsigned char>(sArea[uPos]) != 0xC1) {
        const unsigned char u8TypeLength = static_cast<unsigned char>(sArea[uPos]);
        const size_t uLength = u8TypeLength & 0x3F;
        AppendHexBytes(sText, sArea.substr(uPos, 1));
        if (uLength > 0) {
            sText += "'" + sArea.substr(uPos + 1, uLength) + "'\n";
        }
        uPos += 1 + uLength;
    }
    // A zero checksum would read as padding: then the tail is spelled out.
    if (sArea.back() != '\0') {
        sText += "C1 // end of fields; the padding is left to the reader\n";
        AppendHexBytes(sText, sArea.substr(sArea.size() - 1));
    } else {
        AppendHexBytes(sText, sArea.substr(uPos));
    }
}

// Each record's header and data on lines of their own: a data line is
// read to its end.
void AppendMultiRecordArea(std::string& sText, const std::string& sArea)
{
    sText += "_SEE_MULTIRECORD\n";
    size_t uPos = 0;
    while (uPos + 5 <= sArea.size()) {
        const size_t uLength = static_cast<unsigned char>(sArea[uPos + 2]);
        AppendHexBytes(sText, sArea.substr(uPos, 5));
        if (uLength > 0) {
            AppendHexBytes(sText, sArea.substr(uPos + 5, uLength));
        }
        uPos += 5 + uLength;
    }
}

}  // namespace

std::string FruText(const std::string& sImage)
{
    std::string sText = "// FRU text spelled out by the tests\n_FRU (\n_SEE_COMMON\n";
    AppendHexBytes(sText, sImage.substr(0, 8));
    const char* apchTags[] = {"_SEE_INTERNAL", "_SEE_CHASSIS", "_SEE_BOARD", "_SEE_PRODUCT", "_SEE_MULTIRECORD"};
    const size_t auOwn[] = {0, 1, 4, 1, 0};
    for (int iArea = 1; iArea <= 5; ++iArea) {
        const unsigned char u8Offset = static_cast<unsigned char>(sImage[iArea]);
        if (u8Offset == 0) {
            continue;
        }
        size_t uEnd = sImage.size();
        for (int j = iArea + 1; j <= 5; ++j) {
            if (sImage[j] != 0) {
                uEnd = static_cast<unsigned char>(sImage[j]) * 8u;
                break;
            }
        }
        const std::string sArea = sImage.substr(u8Offset * 8u, uEnd - u8Offset * 8u);
        if (iArea >= 2 && iArea <= 4) {
            AppendInfoArea(sText, sArea, auOwn[iArea - 1], apchTags[iArea - 1]);
        } else if (iArea == 5) {
            AppendMultiRecordArea(sText, sArea);
        } else {
            sText += std::string(apchTags[iArea - 1]) + "\n";
            AppendHexBytes(sText, sArea);
        }
    }
    return sText + ")\n";
}

std::string DecodeWithIpmiFru(const std::string& sImage)
{
    TempDir dir;
    WriteFile(dir.File("image.fru"), sImage);
    const std::string sCommand = "ipmi-fru -v --fru-file=" + dir.File("image.fru") + " 2>&1";
    FILE* pPipe = popen(sCommand.c_str(), "r");
    if (pPipe == nullptr) {
        throw std::runtime_error("cannot run ipmi-fru");
    }
    std::string sOutput;
    std::array<char, 512> achBuffer;
    size_t uRead = 0;
    while ((uRead = fread(achBuffer.data(), 1, achBuffer.size(), pPipe)) > 0) {
        sOutput.append(achBuffer.data(), uRead);
    }
    const int iStatus = pclose(pPipe);
    if (iStatus != 0) {
        throw std::runtime_error("ipmi-fru failed: " + sOutput);
    }
    return sOutput;
}

}  // namespace valdrn_test
