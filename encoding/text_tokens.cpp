#include "encoding/text_tokens.h"

#include <cstdio>
#include <cstring>

namespace {

// The C locale's white space; written out because the readers call this
// for every character of every line.
bool IsSpace(char chCharacter)
{
    return chCharacter == ' ' || (chCharacter >= '\t' && chCharacter <= '\r');
}

bool IsTokenDelimiter(char chCharacter)
{
    return chCharacter == ' ' || chCharacter == '\t' || chCharacter == '\r' || chCharacter == '\n';
}

bool ReportNullArgument(const void* pFirst, const void* pSecond = "")
{
    if (pFirst == nullptr || pSecond == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return true;
    }
    return false;
}

// Copies at most TEXT_TOKEN_BUFFER_SIZE - 1 characters and terminates.
void CopyToken(char* pchOutput, const char* pchInput, std::size_t uLength)
{
    if (uLength >= TEXT_TOKEN_BUFFER_SIZE) {
        uLength = TEXT_TOKEN_BUFFER_SIZE - 1;
    }
    std::memcpy(pchOutput, pchInput, uLength);
    pchOutput[uLength] = '\0';
}

// Moves the text from pchFrom (inside pchLine) to the start of the line.
void KeepFrom(char* pchLine, const char* pchFrom)
{
    std::memmove(pchLine, pchFrom, std::strlen(pchFrom) + 1);
}

unsigned char HexDigitValue(char chCharacter)
{
    if (chCharacter <= '9') {
        return static_cast<unsigned char>(chCharacter - '0');
    }
    return static_cast<unsigned char>((chCharacter | 0x20) - 'a' + 10);
}

}  // namespace

bool IsHexDigitChar(char chCharacter)
{
    return (chCharacter >= '0' && chCharacter <= '9') || (chCharacter >= 'a' && chCharacter <= 'f') ||
           (chCharacter >= 'A' && chCharacter <= 'F');
}

bool ParseHexByteToken(const char* pchToken, unsigned char* pu8Byte)
{
    if (pchToken == nullptr || !IsHexDigitChar(pchToken[0]) || !IsHexDigitChar(pchToken[1]) || pchToken[2] != '\0') {
        return false;
    }
    *pu8Byte = static_cast<unsigned char>(HexDigitValue(pchToken[0]) * 16 + HexDigitValue(pchToken[1]));
    return true;
}

void TrimComment(char* pchLine)
{
    if (ReportNullArgument(pchLine)) {
        return;
    }
    for (char* pch = pchLine; *pch != '\0'; ++pch) {
        if (pch[0] == '/' && pch[1] == '/') {
            *pch = '\0';
            return;
        }
    }
}

char* TrimLeadingSpace(char* pchLine)
{
    if (ReportNullArgument(pchLine)) {
        return pchLine;
    }
    const char* pchStart = pchLine;
    while (IsSpace(*pchStart)) {
        ++pchStart;
    }
    if (pchStart != pchLine) {
        KeepFrom(pchLine, pchStart);
    }
    return pchLine;
}

void TrimSideSpace(char* pchLine)
{
    if (ReportNullArgument(pchLine)) {
        return;
    }
    TrimLeadingSpace(pchLine);
    std::size_t uLength = std::strlen(pchLine);
    while (uLength > 1 && IsSpace(pchLine[uLength - 1])) {
        --uLength;
    }
    pchLine[uLength] = '\0';
}

void ParseQuotedData(char* pchLine, char* pchString)
{
    if (ReportNullArgument(pchLine, pchString)) {
        return;
    }
    pchString[0] = '\0';
    if (pchLine[0] == '\0') {
        return;
    }
    // The last apostrophe closes the string, so apostrophes inside it stay.
    char* pchClose = std::strrchr(pchLine + 1, '\'');
    if (pchClose == nullptr) {
        return;
    }
    CopyToken(pchString, pchLine + 1, static_cast<std::size_t>(pchClose - (pchLine + 1)));
    KeepFrom(pchLine, pchClose + 1);
}

void ParseNonQuotedData(char* pchLine, char* pchToken, int iKeepComment)
{
    if (ReportNullArgument(pchLine, pchToken)) {
        return;
    }
    if (iKeepComment == 0) {
        TrimComment(pchLine);
    }
    TrimSideSpace(pchLine);
    std::size_t uTokenLength = 0;
    while (pchLine[uTokenLength] != '\0' && !IsTokenDelimiter(pchLine[uTokenLength])) {
        ++uTokenLength;
    }
    CopyToken(pchToken, pchLine, uTokenLength);
    KeepFrom(pchLine, pchLine + uTokenLength);
}

int GetNextToken(char* pchString, char* pchToken)
{
    const char* pchFound = std::strtok(pchString, " ,\t\n");
    if (pchFound == nullptr) {
        return 0;
    }
    const std::size_t uLength = std::strlen(pchFound);
    // A longer value (a file name, say) would have to be cut, and a cut
    // name is another file: refuse it instead.
    if (uLength >= TEXT_TOKEN_BUFFER_SIZE) {
        std::fprintf(stderr, "<ERROR> '%s' is longer than %zu characters. \n", pchFound, TEXT_TOKEN_BUFFER_SIZE - 1);
        return 0;
    }
    if (pchToken != nullptr) {
        CopyToken(pchToken, pchFound, uLength);
    }
    return 1;
}

int ValidateHexData(char* pchText)
{
    if (ReportNullArgument(pchText)) {
        return 0;
    }
    if (pchText[0] == '0' && (pchText[1] == 'x' || pchText[1] == 'X')) {
        if (pchText[2] == '\0') {
            return 0;
        }
        KeepFrom(pchText, pchText + 2);
    }
    for (const char* pchDigit = pchText; *pchDigit != '\0'; ++pchDigit) {
        if (!IsHexDigitChar(*pchDigit)) {
            return 0;
        }
    }
    return 1;
}

unsigned int HexDigitsValue(const char* pchDigits, unsigned int uMask)
{
    unsigned int uValue = 0;
    for (const char* pch = pchDigits; pch != nullptr && IsHexDigitChar(*pch); ++pch) {
        const unsigned int uDigit =
            *pch <= '9' ? static_cast<unsigned int>(*pch - '0') : static_cast<unsigned int>((*pch | 0x20) - 'a' + 10);
        // Masking each step keeps the product small: only the low bits of
        // the whole number survive, as they would in the exact value.
        uValue = ((uValue << 4) | uDigit) & uMask;
    }
    return uValue;
}

char* GetLowerCaseString(const char* pchText)
{
    static char ai8LowerCase[LOWER_CASE_MAX_LENGTH + 1];
    ai8LowerCase[0] = '\0';
    if (pchText == nullptr || std::strlen(pchText) > LOWER_CASE_MAX_LENGTH) {
        return ai8LowerCase;
    }
    std::size_t i = 0;
    for (; pchText[i] != '\0'; ++i) {
        const char chCharacter = pchText[i];
        ai8LowerCase[i] =
            (chCharacter >= 'A' && chCharacter <= 'Z') ? static_cast<char>(chCharacter - 'A' + 'a') : chCharacter;
    }
    ai8LowerCase[i] = '\0';
    return ai8LowerCase;
}
