#include "fru/fru_update_encoding.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "encoding/fru_field_encoding.h"

namespace {

bool Refuse(const char* pchMessage)
{
    std::fputs(pchMessage, stderr);
    return false;
}

bool ReportExceedsLength()
{
    return Refuse("The number of string data bytes exceeds the string length specified! \n");
}

void PrintSixBitCharacters()
{
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
        PrintSixBitCharacters();
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

}  // namespace

bool EncodeFRUUpdateString(FRUUpdateRequest* psRequest)
{
    switch (psRequest->u32StringType) {
    case FRU_STRING_SIX_BIT:
        return EncodeSixBit(psRequest);
    case FRU_STRING_EIGHT_BIT:
        return EncodeEightBit(psRequest);
    default:
        return EncodeBCDPlus(psRequest);
    }
}

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
