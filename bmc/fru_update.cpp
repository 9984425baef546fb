#include "bmc/fru_update.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "base/working_storage.h"
#include "bmc/fru_inventory.h"
#include "bmc/ipmi_command.h"
#include "bmc/talk_to_bmc.h"
#include "cli/diagnostics.h"
#include "encoding/checksum.h"
#include "encoding/fru_field_encoding.h"
#include "encoding/text_tokens.h"

namespace {

constexpr unsigned int MAX_PARAMETERS = 6;
constexpr size_t MAX_NAME_LENGTH = 10;
constexpr size_t MAX_VALUE_LENGTH = 126;
constexpr unsigned int CHUNK_SIZE = 16;
constexpr unsigned int DATE_TIME_BYTES = 3;

enum eStringType { STRING_BCD_PLUS = 1, STRING_SIX_BIT = 2, STRING_EIGHT_BIT = 3 };

bool Refuse(const char* pchMessage)
{
    std::fputs(pchMessage, stderr);
    return false;
}

struct Parameter {
    std::string sName;
    char* pchValue;  // inside the command line's word: checks edit it in place
};

// "name=value": the name before the first "=", the value after it.
bool SplitParameters(unsigned short u16ArgCount, char* apchArgs[], Parameter* pasParameters)
{
    for (unsigned int i = 0; i < u16ArgCount; ++i) {
        char* pchEquals = apchArgs[i] != nullptr ? std::strchr(apchArgs[i], '=') : nullptr;
        if (pchEquals == nullptr || pchEquals[1] == '\0') {
            return Refuse("<ERROR> Parameter has no value! \n");
        }
        pasParameters[i].sName.assign(apchArgs[i], static_cast<size_t>(pchEquals - apchArgs[i]));
        pasParameters[i].pchValue = pchEquals + 1;
        if (pasParameters[i].sName.size() > MAX_NAME_LENGTH) {
            std::fprintf(stderr, "<ERROR> Parameter name (%s) is not allowed! \n", pasParameters[i].sName.c_str());
            return false;
        }
        if (std::strlen(pasParameters[i].pchValue) > MAX_VALUE_LENGTH) {
            std::fprintf(stderr, "<ERROR> Parameter value (%s) is over the maximum length! \n",
                         pasParameters[i].pchValue);
            return false;
        }
    }
    for (unsigned int i = 0; i < u16ArgCount; ++i) {
        for (unsigned int j = i + 1; j < u16ArgCount; ++j) {
            if (pasParameters[i].sName == pasParameters[j].sName) {
                return Refuse("<ERROR> Duplicated parameters found! \n");
            }
        }
    }
    return true;
}

unsigned long HexValue(const char* pchText)
{
    return std::strtoul(pchText, nullptr, 16);
}

// One parameter into the request; names are case-sensitive.
bool ApplyParameter(const Parameter& parameter, FRUUpdateRequest* psRequest)
{
    char* pchValue = parameter.pchValue;
    const std::string& sName = parameter.sName;
    if (sName == "fieldName") {
        for (const char* pchField : {"datetime", "snBoard", "snChassis", "snProduct"}) {
            if (std::strcmp(pchValue, pchField) == 0) {
                std::strcpy(psRequest->achFieldName, pchField);
                return true;
            }
        }
        return Refuse("<ERROR> Incorrect field name! \n");
    }
    if (sName == "fruID") {
        if (!ValidateHexData(pchValue)) {
            return Refuse("<ERROR> FRU ID is not a number! \n");
        }
        psRequest->u8FruID = static_cast<unsigned char>(HexValue(pchValue));  // the low byte only
        if (psRequest->u8FruID == 0xFF) {
            return Refuse("<ERROR> FRU ID specified is reserved! \n");
        }
        return true;
    }
    if (sName == "offset") {
        if (!ValidateHexData(pchValue)) {
            return Refuse("<ERROR> Offset is not a number! \n");
        }
        psRequest->u16Offset = static_cast<unsigned short>(HexValue(pchValue));
        return true;
    }
    if (sName == "strType") {
        const auto u8Type = static_cast<unsigned char>(HexValue(pchValue));
        if (u8Type == 0 || u8Type > 3) {
            return Refuse("<ERROR> Invalid string type! \n");
        }
        psRequest->u32StringType = u8Type;
        return true;
    }
    if (sName == "strLength") {
        if (!ValidateHexData(pchValue)) {
            return Refuse("<ERROR> String length is not a number! \n");
        }
        const unsigned long ulLength = HexValue(pchValue);
        if (ulLength > 0x3F) {
            return Refuse("<ERROR> String length must be less than or equal to 63 bytes! \n");
        }
        psRequest->u8StringLength = static_cast<unsigned char>(ulLength);
        return true;
    }
    if (sName == "strValue") {
        if (std::strlen(pchValue) > MAX_VALUE_LENGTH) {
            return Refuse("<ERROR> The length of the string value is over the maximum! \n");
        }
        std::strcpy(psRequest->achStringValue, pchValue);
        return true;
    }
    return Refuse("<ERROR> Invalid parameter! \n");
}

bool Given(const Parameter* pasParameters, unsigned int uCount, const char* pchName)
{
    for (unsigned int i = 0; i < uCount; ++i) {
        if (pasParameters[i].sName == pchName) {
            return true;
        }
    }
    return false;
}

bool ReportExceedsLength()
{
    return Refuse("The number of string data bytes exceeds the string length specified! \n");
}

bool EncodeSixBit(FRUUpdateRequest* psRequest)
{
    std::string sValue = psRequest->achStringValue;
    const size_t uLength = psRequest->u8StringLength;
    if (sValue.size() > 84) {
        return Refuse("<ERROR> The string exceeds the maximum number of 84 characters allowed! \n");
    }
    size_t uBytes = (sValue.size() * 3 + 3) / 4;
    if (uBytes > uLength) {
        return ReportExceedsLength();
    }
    while (uBytes < uLength) {
        sValue += ' ';
        uBytes = (sValue.size() * 3 + 3) / 4;
    }
    std::strcpy(psRequest->achStringValue, sValue.c_str());
    if (!ConvertASCIIStrToSixBitASCII(psRequest->achStringValue, psRequest->au8EncodedData)) {
        std::string sPunctuation = "  Punctuations: ";
        for (int c = 0x21; c <= 0x5F; ++c) {
            if ((c <= 0x2F) || (c >= 0x3A && c <= 0x40) || c >= 0x5B) {
                sPunctuation += static_cast<char>(c);
                sPunctuation += ' ';
            }
        }
        std::fputs("Cannot convert to 6-bit ASCII, packed! \n", stderr);
        std::fputs("Valid characters for 6-bit ASCII are: \n", stderr);
        std::fputs("  Alphabets: A B C D E F G H I J K L M N O P Q R S T U V W X Y Z \n", stderr);
        std::fputs("  Digits: 0 1 2 3 4 5 6 7 8 9 \n", stderr);
        std::fputs((sPunctuation + "space \n").c_str(), stderr);
        return Refuse("Failure to update FRU data! \n");
    }
    return true;
}

bool EncodeEightBit(FRUUpdateRequest* psRequest)
{
    std::string sValue = psRequest->achStringValue;
    const size_t uLength = psRequest->u8StringLength;
    if (sValue.size() == 1) {
        return Refuse("<ERROR> The string cannot be 1 character long! \n");
    }
    if (sValue.size() > 63) {
        return Refuse("<ERROR> The string exceeds the maximum number of 63 characters allowed! \n");
    }
    if (sValue.size() > uLength) {
        return ReportExceedsLength();
    }
    sValue.resize(uLength, ' ');
    std::strcpy(psRequest->achStringValue, sValue.c_str());
    std::memcpy(psRequest->au8EncodedData, sValue.data(), uLength);
    return true;
}

bool EncodeBCDPlus(FRUUpdateRequest* psRequest)
{
    std::string sValue = psRequest->achStringValue;
    const size_t uLength = psRequest->u8StringLength;
    if (sValue.size() > 126) {
        return Refuse("<ERROR> The string exceeds the maximum number of 126 characters allowed! \n");
    }
    size_t uBytes = (sValue.size() + 1) / 2;
    if (uBytes > uLength) {
        return ReportExceedsLength();
    }
    // The padding rounds down, so a padded value has an even number of
    // characters.
    while (uBytes < uLength) {
        sValue += ' ';
        uBytes = sValue.size() / 2;
    }
    std::strcpy(psRequest->achStringValue, sValue.c_str());
    if (!ConvertASCIIStrToBCDPlus(psRequest->achStringValue, psRequest->au8EncodedData)) {
        std::fputs("Cannot convert to BCD plus! \n", stderr);
        std::fputs("Valid characters for BCD plus are: \n", stderr);
        std::fputs("  Digits: 0 1 2 3 4 5 6 7 8 9 \n", stderr);
        std::fputs("  Punctuations: space - . : , _ \n", stderr);
        return Refuse("Failure to update FRU data! \n");
    }
    return true;
}

// --- the update on the BMC -----------------------------------------------------------------

bool ReadBytes(unsigned char u8FruID, unsigned short u16Offset, unsigned int uCount, unsigned char* pu8Out)
{
    // Chunks of 16 bytes and a last one of the rest.
    for (unsigned int uDone = 0; uDone < uCount; uDone += CHUNK_SIZE) {
        const unsigned int uChunk = uCount - uDone < CHUNK_SIZE ? uCount - uDone : CHUNK_SIZE;
        if (ReadFRUDataCommandToLocalBuffer(u8FruID, static_cast<unsigned short>(u16Offset + uDone),
                                            static_cast<unsigned char>(uChunk), pu8Out,
                                            static_cast<unsigned short>(uDone)) == CMD_FAILED) {
            return false;
        }
    }
    return true;
}

bool WriteBytes(unsigned char u8FruID, unsigned short u16Offset, unsigned int uCount, const unsigned char* pu8Bytes)
{
    for (unsigned int uDone = 0; uDone < uCount; uDone += CHUNK_SIZE) {
        const unsigned int uChunk = uCount - uDone < CHUNK_SIZE ? uCount - uDone : CHUNK_SIZE;
        if (WriteFRUDataCommandFromLocalBuffer(u8FruID, static_cast<unsigned short>(u16Offset + uDone),
                                               static_cast<unsigned char>(uChunk), pu8Bytes,
                                               static_cast<unsigned short>(uDone)) == CMD_FAILED) {
            return false;
        }
    }
    return true;
}

// The area's checksum byte: its position and value.
bool ReadAreaChecksum(unsigned char u8FruID, unsigned char u8AreaOffset, unsigned short* pu16Position,
                      unsigned char* pu8Checksum)
{
    unsigned char u8LengthUnits = 0;
    if (!ReadBytes(u8FruID, static_cast<unsigned short>(u8AreaOffset * 8 + 1), 1, &u8LengthUnits)) {
        return false;
    }
    *pu16Position = static_cast<unsigned short>((u8AreaOffset + u8LengthUnits) * 8 - 1);
    return ReadBytes(u8FruID, *pu16Position, 1, pu8Checksum);
}

bool NewChecksum(unsigned char u8Old, unsigned int uCount, const unsigned char* pu8Old, const unsigned char* pu8New,
                 unsigned char* pu8Checksum)
{
    if (!ComputeChecksum(u8Old, static_cast<unsigned char>(uCount), pu8Old, pu8New, pu8Checksum)) {
        std::fputs("Fail to compute new checksum!", stderr);
        return false;
    }
    return true;
}

bool UpdateString(FRUUpdateRequest* psRequest, const unsigned char* pu8Header)
{
    const unsigned char u8FruID = psRequest->u8FruID;
    const unsigned int uLength = psRequest->u8StringLength;
    const auto u16TypeLengthOffset = static_cast<unsigned short>(psRequest->u16Offset - 1);
    unsigned char au8Old[65] = {};
    unsigned char u8OldTypeLength = 0;
    if (!ReadBytes(u8FruID, u16TypeLengthOffset, 1, &u8OldTypeLength)) {
        return false;
    }
    // The type may change, the length may not.
    if ((u8OldTypeLength & 0x3F) != uLength) {
        return Refuse("<ERROR> String length specified must match string length in the FRU Inventory! \n");
    }
    psRequest->au8EncodedData[uLength] = static_cast<unsigned char>((psRequest->u32StringType << 6) + uLength);
    if (!ReadBytes(u8FruID, psRequest->u16Offset, uLength, au8Old)) {
        return false;
    }
    au8Old[uLength] = u8OldTypeLength;
    const char* pchField = psRequest->achFieldName;
    const unsigned char u8Area = std::strcmp(pchField, "snBoard") == 0     ? pu8Header[3]
                                 : std::strcmp(pchField, "snChassis") == 0 ? pu8Header[2]
                                                                           : pu8Header[4];
    unsigned short u16ChecksumPosition = 0;
    unsigned char u8Checksum = 0;
    unsigned char u8NewChecksum = 0;
    return ReadAreaChecksum(u8FruID, u8Area, &u16ChecksumPosition, &u8Checksum) &&
           NewChecksum(u8Checksum, uLength + 1, au8Old, psRequest->au8EncodedData, &u8NewChecksum) &&
           WriteBytes(u8FruID, u16TypeLengthOffset, 1, &psRequest->au8EncodedData[uLength]) &&
           WriteBytes(u8FruID, psRequest->u16Offset, uLength, psRequest->au8EncodedData) &&
           WriteBytes(u8FruID, u16ChecksumPosition, 1, &u8NewChecksum);
}

bool UpdateDateTime(const FRUUpdateRequest* psRequest, const unsigned char* pu8Header)
{
    const unsigned char u8FruID = psRequest->u8FruID;
    unsigned char au8Old[DATE_TIME_BYTES] = {};
    unsigned short u16ChecksumPosition = 0;
    unsigned char u8Checksum = 0;
    unsigned char u8NewChecksum = 0;
    return ReadBytes(u8FruID, psRequest->u16Offset, DATE_TIME_BYTES, au8Old) &&
           ReadAreaChecksum(u8FruID, pu8Header[3], &u16ChecksumPosition, &u8Checksum) &&
           NewChecksum(u8Checksum, DATE_TIME_BYTES, au8Old, psRequest->au8EncodedData, &u8NewChecksum) &&
           WriteBytes(u8FruID, psRequest->u16Offset, DATE_TIME_BYTES, psRequest->au8EncodedData) &&
           WriteBytes(u8FruID, u16ChecksumPosition, 1, &u8NewChecksum);
}

}  // namespace

bool ConvertCurrentDateTimeToHex(unsigned char* pu8Out)
{
    if (pu8Out == nullptr) {
        return Refuse("<ERROR> Internal Error! \n");
    }
    std::tm epoch = {};
    epoch.tm_year = 1996 - 1900;
    epoch.tm_mon = 0;
    epoch.tm_mday = 1;
    epoch.tm_isdst = -1;  // the C library decides whether daylight saving applies
    const std::time_t base = std::mktime(&epoch);
    const std::time_t now = std::time(nullptr);
    if (now < 0) {
        return false;
    }
    const long lMinutes = static_cast<long>(now / 60 - base / 60);
    pu8Out[0] = static_cast<unsigned char>(lMinutes & 0xFF);
    pu8Out[1] = static_cast<unsigned char>((lMinutes >> 8) & 0xFF);
    pu8Out[2] = static_cast<unsigned char>((lMinutes >> 16) & 0xFF);
    return true;
}

bool ValidateAnalyzeFRUUpdateDataParameters(unsigned short u16ArgCount, char* apchArgs[], FRUUpdateRequest* psRequest)
{
    if (apchArgs == nullptr || psRequest == nullptr) {
        return Refuse("<ERROR> Internal Error! \n");
    }
    if (u16ArgCount == 0) {
        return Refuse("<ERROR> Please specify the FRU data you wish to update! \n");
    }
    if (u16ArgCount > MAX_PARAMETERS) {
        return Refuse("<ERROR> The number of parameters exceeds the maximum allowed! \n");
    }
    Parameter asParameters[MAX_PARAMETERS];
    if (!SplitParameters(u16ArgCount, apchArgs, asParameters)) {
        return false;
    }
    for (unsigned int i = 0; i < u16ArgCount; ++i) {
        if (!ApplyParameter(asParameters[i], psRequest)) {
            return false;
        }
    }
    if (std::strcmp(psRequest->achFieldName, "datetime") == 0) {
        if (u16ArgCount != 3) {
            return Refuse("<ERROR> Incorrect number of parameters! \n");
        }
        if (!Given(asParameters, u16ArgCount, "offset") || !Given(asParameters, u16ArgCount, "fruID")) {
            return Refuse("<ERROR> Required parameter is not specified! \n");
        }
        if (!ConvertCurrentDateTimeToHex(psRequest->au8EncodedData)) {
            std::fputs("Cannot get the current time! \n", stderr);
            return Refuse("Failure to update FRU data! \n");
        }
        return true;
    }
    if (u16ArgCount != MAX_PARAMETERS) {
        return Refuse("<ERROR> Incorrect number of parameters! \n");
    }
    for (const char* pchName : {"offset", "fruID", "strType", "strLength", "strValue"}) {
        if (!Given(asParameters, u16ArgCount, pchName)) {
            return Refuse("<ERROR> Required parameter is not specified! \n");
        }
    }
    switch (psRequest->u32StringType) {
    case STRING_SIX_BIT:
        return EncodeSixBit(psRequest);
    case STRING_EIGHT_BIT:
        return EncodeEightBit(psRequest);
    default:
        return EncodeBCDPlus(psRequest);
    }
}

int UpdateFRU(unsigned short u16ArgCount, char* apchArgs[])
{
    FRUUpdateRequest request = {};
    if (!ValidateAnalyzeFRUUpdateDataParameters(u16ArgCount, apchArgs, &request)) {
        std::printf("Use %s -h for help.\n", VALDRN_PROGRAM_NAME);
        return 1;
    }
    if (!InitializeInterface()) {
        return 1;
    }
    if (!VLInit()) {
        TerminateConnSession();
        return 1;
    }
    unsigned char au8Header[8] = {};
    // Nothing is undone after a failed write: the order type/length byte,
    // data, checksum is fixed.
    const bool bUpdated = ReadBytes(request.u8FruID, 0, sizeof au8Header, au8Header) &&
                          (std::strcmp(request.achFieldName, "datetime") == 0 ? UpdateDateTime(&request, au8Header)
                                                                              : UpdateString(&request, au8Header));
    VLExit();
    TerminateConnSession();
    std::puts(bUpdated ? "Update FRU data successful!\n" : "Update FRU data failed!\n");
    return bUpdated ? 0 : 1;
}
