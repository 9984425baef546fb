#include "encoding/fru_field_encoding.h"

#include <cstdio>
#include <cstring>

namespace {

void ReportInternalError()
{
    std::fputs("<ERROR> Internal Error!\n", stderr);
}

// The six-bit and BCD plus string functions print their own variant.
void ReportPackedInternalError()
{
    std::fputs("<ERROR> Internal Error! \n", stderr);
}

void ReportInvalidUtf8()
{
    std::fputs("<ERROR> Invalid UTF-8 data found.\n", stderr);
}

bool IsTwoByteLead(unsigned char u8Byte)
{
    return (u8Byte & 0xE0) == 0xC0;
}
bool IsThreeByteLead(unsigned char u8Byte)
{
    return (u8Byte & 0xF0) == 0xE0;
}

// BCD plus codes 0xA-0xF: space, dash and period as the standard has them,
// then colon, comma and underscore for the codes it reserves.
const char S_achBCDPlusExtra[] = {' ', '-', '.', ':', ',', '_'};

}  // namespace

int ConvertASCIIStrToSixBitASCII(const char* pchText, unsigned char* pu8Packed)
{
    if (pchText == nullptr || pu8Packed == nullptr) {
        ReportPackedInternalError();
        return 0;
    }
    if (std::strlen(pchText) > FRU_ENCODER_MAX_INPUT) {
        return 0;
    }
    unsigned int uBit = 0;  // bit position within the current output byte
    size_t uOut = 0;
    for (size_t i = 0; pchText[i] != '\0'; ++i) {
        // Bytes of 0x80 and above are negative here, so below the range.
        const signed char i8Char = static_cast<signed char>(pchText[i]);
        if (i8Char < 0x20 || i8Char > 0x5F) {
            return 0;
        }
        const unsigned int uCode = static_cast<unsigned int>(i8Char - 0x20);
        pu8Packed[uOut] = static_cast<unsigned char>(pu8Packed[uOut] + (uCode << uBit));
        if (uBit > 1) {
            ++uOut;
            if (uBit > 2) {
                pu8Packed[uOut] = static_cast<unsigned char>(uCode >> (8 - uBit));
            }
        }
        uBit += 6;
        if (uBit > 7) {
            uBit -= 8;
        }
    }
    return 1;
}

int ConvertSixBitASCIIToASCIIStr(const unsigned char* pu8Packed, unsigned char u8Count, char* pchText)
{
    if (pu8Packed == nullptr || pchText == nullptr) {
        ReportPackedInternalError();
        return 0;
    }
    unsigned int i = 0;
    size_t uOut = 0;
    auto emit = [&](unsigned long ulBits, unsigned int uShift) {
        pchText[uOut++] = static_cast<char>(((ulBits >> uShift) & 0x3F) + 0x20);
    };
    for (; u8Count - i >= 3; i += 3) {
        const unsigned long ulBits =
            pu8Packed[i] | (pu8Packed[i + 1] << 8) | (static_cast<unsigned long>(pu8Packed[i + 2]) << 16);
        emit(ulBits, 0);
        emit(ulBits, 6);
        emit(ulBits, 12);
        emit(ulBits, 18);
    }
    if (u8Count - i == 2) {
        const unsigned long ulBits = pu8Packed[i] | (pu8Packed[i + 1] << 8);
        emit(ulBits, 0);
        emit(ulBits, 6);
    } else if (u8Count - i == 1) {
        emit(pu8Packed[i], 0);
    }
    return 1;
}

unsigned char ConvertCharToBCDPlus(char chCharacter)
{
    if (chCharacter >= '0' && chCharacter <= '9') {
        return static_cast<unsigned char>(chCharacter - '0');
    }
    for (unsigned int i = 0; i < sizeof S_achBCDPlusExtra; ++i) {
        if (S_achBCDPlusExtra[i] == chCharacter) {
            return static_cast<unsigned char>(0x0A + i);
        }
    }
    return 0xFF;
}

char ConvertBCDPlusToChar(unsigned char u8Code)
{
    if (u8Code <= 9) {
        return static_cast<char>('0' + u8Code);
    }
    if (u8Code <= 0x0F) {
        return S_achBCDPlusExtra[u8Code - 0x0A];
    }
    std::fputs("<ERROR> Invalid BCD number!\n", stderr);
    return 0;
}

int ConvertASCIIStrToBCDPlus(const char* pchText, unsigned char* pu8Packed)
{
    if (pchText == nullptr || pu8Packed == nullptr) {
        ReportPackedInternalError();
        return 0;
    }
    if (std::strlen(pchText) > FRU_ENCODER_MAX_INPUT) {
        return 0;
    }
    for (size_t i = 0; pchText[i] != '\0'; ++i) {
        const unsigned char u8Code = ConvertCharToBCDPlus(pchText[i]);
        if (u8Code > 0x0F) {
            return 0;
        }
        // Even characters fill the high nibble, odd ones the low nibble; an
        // odd-length text leaves a zero nibble, which reads back as '0'.
        const unsigned int uShift = (i % 2 == 0) ? 4 : 0;
        pu8Packed[i / 2] = static_cast<unsigned char>(pu8Packed[i / 2] + (u8Code << uShift));
    }
    return 1;
}

int ConvertBCDPlusToASCIIStr(const unsigned char* pu8Packed, unsigned char u8Count, char* pchText)
{
    if (pu8Packed == nullptr || pchText == nullptr) {
        ReportPackedInternalError();
        return 0;
    }
    for (unsigned int i = 0; i < u8Count; ++i) {
        const char chHigh = ConvertBCDPlusToChar(static_cast<unsigned char>(pu8Packed[i] >> 4));
        const char chLow = ConvertBCDPlusToChar(static_cast<unsigned char>(pu8Packed[i] & 0x0F));
        if (chHigh == 0 || chLow == 0) {
            return 0;
        }
        pchText[2 * i] = chHigh;
        pchText[2 * i + 1] = chLow;
    }
    return 1;
}

int ASCIIToUTF8(const unsigned char* pu8Latin1, unsigned char u8Count, unsigned char* pu8Utf8,
                unsigned char* pu8OutCount)
{
    if (pu8Latin1 == nullptr || pu8Utf8 == nullptr || pu8OutCount == nullptr) {
        ReportInternalError();
        return 0;
    }
    size_t uOut = 0;
    for (unsigned int i = 0; i < u8Count; ++i) {
        const unsigned char u8Byte = pu8Latin1[i];
        if (u8Byte < 0x80) {
            pu8Utf8[uOut++] = u8Byte;
        } else {
            pu8Utf8[uOut++] = static_cast<unsigned char>(0xC0 + (u8Byte >> 6));
            pu8Utf8[uOut++] = static_cast<unsigned char>(0x80 + (u8Byte & 0x3F));
        }
    }
    *pu8OutCount = static_cast<unsigned char>(uOut);
    return 1;
}

int UTF8ToASCII(const unsigned char* pu8Utf8, unsigned char u8Count, unsigned char* pu8Latin1,
                unsigned char* pu8OutCount)
{
    if (pu8Utf8 == nullptr || pu8Latin1 == nullptr || pu8OutCount == nullptr) {
        ReportInternalError();
        return 0;
    }
    size_t uOut = 0;
    for (unsigned int i = 0; i < u8Count; ++i) {
        const unsigned char u8Byte = pu8Utf8[i];
        if (u8Byte < 0x80) {
            pu8Latin1[uOut++] = u8Byte;
            continue;
        }
        // Only leads 0xC0-0xC3 carry a Latin-1 character; the continuation
        // byte is taken as it is, but it must be there.
        if (!IsTwoByteLead(u8Byte) || (u8Byte & 0x1C) != 0 || i + 1 >= u8Count) {
            ReportInvalidUtf8();
            return 0;
        }
        pu8Latin1[uOut++] = static_cast<unsigned char>(((u8Byte & 0x03) << 6) + (pu8Utf8[i + 1] & 0x3F));
        ++i;
    }
    *pu8OutCount = static_cast<unsigned char>(uOut);
    return 1;
}

int UTF16ToUTF8(const unsigned char* pu8Utf16, unsigned char u8Count, unsigned char* pu8Utf8,
                unsigned char* pu8OutCount)
{
    if (pu8Utf16 == nullptr || pu8Utf8 == nullptr || pu8OutCount == nullptr) {
        ReportInternalError();
        return 0;
    }
    size_t uOut = 0;
    // A trailing odd byte is half a code unit and is not read.
    for (unsigned int i = 0; i + 1 < u8Count; i += 2) {
        const unsigned char u8Low = pu8Utf16[i];
        const unsigned char u8High = pu8Utf16[i + 1];
        if (u8High == 0 && u8Low < 0x80) {
            pu8Utf8[uOut++] = u8Low;
        } else if (u8High <= 7 && u8Low >= 0x80) {
            pu8Utf8[uOut++] = static_cast<unsigned char>(0xC0 + ((u8High & 0x07) << 2) + (u8Low >> 6));
            pu8Utf8[uOut++] = static_cast<unsigned char>(0x80 + (u8Low & 0x3F));
        } else if (u8High > 7) {
            pu8Utf8[uOut++] = static_cast<unsigned char>(0xE0 + (u8High >> 4));
            pu8Utf8[uOut++] = static_cast<unsigned char>(0x80 + ((u8High & 0x0F) << 2) + (u8Low >> 6));
            pu8Utf8[uOut++] = static_cast<unsigned char>(0x80 + (u8Low & 0x3F));
        }
        // U+0100-U+07FF with a low byte below 0x80 produce nothing: that gap
        // is how FRU text has always been written, and readers expect it.
    }
    *pu8OutCount = static_cast<unsigned char>(uOut);
    return 1;
}

int UTF8ToUTF16(const unsigned char* pu8Utf8, unsigned char u8Count, unsigned char* pu8Utf16,
                unsigned char* pu8OutCount)
{
    if (pu8Utf8 == nullptr || pu8Utf16 == nullptr || pu8OutCount == nullptr) {
        ReportInternalError();
        return 0;
    }
    size_t uOut = 0;
    for (unsigned int i = 0; i < u8Count; ++i) {
        const unsigned char u8Byte = pu8Utf8[i];
        unsigned char u8Low = 0;
        unsigned char u8High = 0;
        if (u8Byte < 0x80) {
            u8Low = u8Byte;
        } else if (IsTwoByteLead(u8Byte) && i + 1 < u8Count) {
            const unsigned char u8Next = pu8Utf8[++i];
            u8High = static_cast<unsigned char>((u8Byte & 0x1C) >> 2);
            u8Low = static_cast<unsigned char>(((u8Byte & 0x03) << 6) + (u8Next & 0x3F));
        } else if (IsThreeByteLead(u8Byte) && i + 2 < u8Count) {
            const unsigned char u8Next = pu8Utf8[++i];
            const unsigned char u8Third = pu8Utf8[++i];
            u8High = static_cast<unsigned char>(((u8Byte & 0x0F) << 4) + ((u8Next & 0x3C) >> 2));
            u8Low = static_cast<unsigned char>(((u8Next & 0x03) << 6) + (u8Third & 0x3F));
        } else {
            // Four-byte sequences, stray continuation bytes and sequences
            // cut off by the end of the input.
            ReportInvalidUtf8();
            return 0;
        }
        pu8Utf16[uOut++] = u8Low;
        pu8Utf16[uOut++] = u8High;
    }
    *pu8OutCount = static_cast<unsigned char>(uOut);
    return 1;
}
