// Trimming and tokenising of 8-bit text lines and command-line values.
// Every function works in place on NUL-terminated caller-owned strings.
#pragma once

#include <cstddef>

// Size of the token and string outputs of ParseQuotedData,
// ParseNonQuotedData and GetNextToken: at most 255 characters and the NUL.
constexpr std::size_t TEXT_TOKEN_BUFFER_SIZE = 256;
// GetLowerCaseString keeps at most this many characters.
constexpr std::size_t LOWER_CASE_MAX_LENGTH = 15;

// '0'-'9', 'a'-'f', 'A'-'F'.
bool IsHexDigitChar(char chCharacter);
// A token of exactly two hexadecimal digits, either case, as a byte; the
// byte is stored only on success.
bool ParseHexByteToken(const char* pchToken, unsigned char* pu8Byte);

// Cuts the line at the first "//", quoted or not.
void TrimComment(char* pchLine);
// Removes leading and trailing white space.
void TrimSideSpace(char* pchLine);
// Removes leading white space; returns its argument.
char* TrimLeadingSpace(char* pchLine);
// The line starts with an opening quotation mark; the string runs to the
// last apostrophe. The output gets the string and the line keeps what
// follows it; with no closing apostrophe the output is empty and the line
// unchanged.
void ParseQuotedData(char* pchLine, char* pchString);
// Takes the first white-space-delimited token off the line (after removing
// a comment unless iKeepComment is non-zero); the line keeps the rest,
// starting with the delimiter.
void ParseNonQuotedData(char* pchLine, char* pchToken, int iKeepComment);
// Tokens separated by blanks, commas, tabs and line feeds; pass the string
// to start, null to go on. 1 when a token was found (copied to the output
// when one is given), else 0. A token longer than 255 characters is
// refused with a message.
int GetNextToken(char* pchString, char* pchToken);
// Removes a "0x"/"0X" prefix in place and checks that only hexadecimal
// digits remain; an empty remainder counts as valid.
int ValidateHexData(char* pchText);
// The value of hexadecimal digits (as ValidateHexData leaves them) with
// the bits outside the mask dropped, however many digits there are: the
// command line's "taken as 16 bits" / "taken as 8 bits" numbers. A
// character that is not a hexadecimal digit ends the number.
unsigned int HexDigitsValue(const char* pchDigits, unsigned int uMask);
// A lower-cased copy in a static buffer that each call overwrites. Texts
// longer than LOWER_CASE_MAX_LENGTH give the empty string, so that they
// can match no keyword.
char* GetLowerCaseString(const char* pchText);
