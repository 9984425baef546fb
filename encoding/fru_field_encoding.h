// Byte-level conversions of FRU field data: packed six-bit ASCII, BCD plus,
// Latin-1 <-> UTF-8 and UTF-16LE <-> UTF-8. None writes a type/length byte
// and none allocates; results are 1 for success and 0 for failure.
//
// Output buffers belong to the caller and are written without bounds
// checks, so they must hold at least:
//   ConvertSixBitASCIIToASCIIStr  4 * ceil(count / 3) characters
//   ConvertBCDPlusToASCIIStr      2 * count characters
//   ConvertASCIIStrToSixBitASCII  ceil(6 * length / 8) bytes, zeroed
//   ConvertASCIIStrToBCDPlus      ceil(length / 2) bytes, zeroed
//   ASCIIToUTF8                   2 * count bytes
//   UTF8ToASCII                   count bytes
//   UTF16ToUTF8                   3 * (count / 2) bytes
//   UTF8ToUTF16                   2 * count bytes
// Output counts are 8-bit and wrap modulo 256; callers keep fields within
// the 63 bytes a type/length byte can describe.
#pragma once

// Text inputs to the two encoders are limited to this many characters; a
// longer text is refused rather than written past any sensible buffer.
constexpr unsigned int FRU_ENCODER_MAX_INPUT = 255;

int ConvertASCIIStrToSixBitASCII(const char* pchText, unsigned char* pu8Packed);
int ConvertSixBitASCIIToASCIIStr(const unsigned char* pu8Packed, unsigned char u8Count, char* pchText);

int ConvertASCIIStrToBCDPlus(const char* pchText, unsigned char* pu8Packed);
int ConvertBCDPlusToASCIIStr(const unsigned char* pu8Packed, unsigned char u8Count, char* pchText);
unsigned char ConvertCharToBCDPlus(char chCharacter);
char ConvertBCDPlusToChar(unsigned char u8Code);

int ASCIIToUTF8(const unsigned char* pu8Latin1, unsigned char u8Count, unsigned char* pu8Utf8,
                unsigned char* pu8OutCount);
int UTF8ToASCII(const unsigned char* pu8Utf8, unsigned char u8Count, unsigned char* pu8Latin1,
                unsigned char* pu8OutCount);
int UTF16ToUTF8(const unsigned char* pu8Utf16, unsigned char u8Count, unsigned char* pu8Utf8,
                unsigned char* pu8OutCount);
int UTF8ToUTF16(const unsigned char* pu8Utf8, unsigned char u8Count, unsigned char* pu8Utf16,
                unsigned char* pu8OutCount);
