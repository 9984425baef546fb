#include "cli/option_values.h"

#include "encoding/text_tokens.h"

#include <climits>
#include <cstring>

namespace {

bool IsDecimalDigit(char chCharacter)
{
    return chCharacter >= '0' && chCharacter <= '9';
}

bool HasHexPrefix(const char* pchText)
{
    return pchText[0] == '0' && (pchText[1] == 'x' || pchText[1] == 'X');
}

// The value of the digit run starting at the text, saturating so that a
// long run cannot overflow.
long LeadingNumber(const char* pchText)
{
    long lValue = 0;
    for (; IsDecimalDigit(*pchText); ++pchText) {
        lValue = lValue * 10 + (*pchText - '0');
        if (lValue > INT_MAX) {
            return LONG_MAX;
        }
    }
    return lValue;
}

}  // namespace

bool IsValidIPv4Format(const char* pchText)
{
    if (pchText == nullptr) {
        return false;
    }
    int iDots = 0;
    bool bDigitSinceDot = false;
    for (const char* pch = pchText; *pch != '\0'; ++pch) {
        if (*pch == '.') {
            if (!bDigitSinceDot || pch[1] == '\0') {
                return false;
            }
            ++iDots;
            bDigitSinceDot = false;
            continue;
        }
        if (!IsDecimalDigit(*pch) || LeadingNumber(pch) > 255) {
            return false;
        }
        bDigitSinceDot = true;
    }
    return iDots == 3;
}

bool IsValidHostIPFormat(const char* pchText)
{
    return pchText != nullptr && std::strchr(pchText, ':') == nullptr && IsValidIPv4Format(pchText);
}

bool IsValidCipherSuite(const char* pchText)
{
    int iValue = 0;
    return StringToInteger(pchText, &iValue) && ((iValue >= 0 && iValue < 20) || (iValue > 127 && iValue < 192));
}

bool StringToInteger(const char* pchText, int* piValue)
{
    if (pchText == nullptr || piValue == nullptr) {
        return false;
    }
    const bool bHex = HasHexPrefix(pchText);
    const char* pchDigits = bHex ? pchText + 2 : pchText;
    if (*pchDigits == '\0') {
        return false;  // "", "0x"
    }
    long lValue = 0;
    for (const char* pch = pchDigits; *pch != '\0'; ++pch) {
        if (bHex ? !IsHexDigitChar(*pch) : !IsDecimalDigit(*pch)) {
            return false;
        }
        lValue = lValue * (bHex ? 16 : 10) + HexToDecimal(pch);
        if (lValue > INT_MAX) {
            return false;
        }
    }
    *piValue = static_cast<int>(lValue);
    return true;
}

int GetCharCount(const char* pchText, char chCharacter)
{
    int iCount = 0;
    for (const char* pch = pchText; pch != nullptr && *pch != '\0'; ++pch) {
        iCount += (*pch == chCharacter) ? 1 : 0;
    }
    return iCount;
}

unsigned char HexToDecimal(const char* pchCharacter)
{
    const char chCharacter = *pchCharacter;
    if (IsDecimalDigit(chCharacter)) {
        return static_cast<unsigned char>(chCharacter - '0');
    }
    if (chCharacter >= 'a' && chCharacter <= 'f') {
        return static_cast<unsigned char>(chCharacter - 'a' + 10);
    }
    if (chCharacter >= 'A' && chCharacter <= 'F') {
        return static_cast<unsigned char>(chCharacter - 'A' + 10);
    }
    return static_cast<unsigned char>(chCharacter);
}
