// Checking and converting the values typed after the interface options.
#pragma once

// Dotted IPv4 text: four numbers 0-255 (leading zeros allowed), 3 dots.
bool IsValidIPv4Format(const char* pchText);
// A BMC address: IPv4 only (any ":" refuses IPv6); host names are refused.
bool IsValidHostIPFormat(const char* pchText);
// Cipher suite IDs 0-19 and 128-191, decimal or "0x" hexadecimal.
bool IsValidCipherSuite(const char* pchText);
// Unsigned decimal, or hexadecimal after "0x"/"0X"; the value is stored
// only on success. Values beyond 32-bit signed are refused.
bool StringToInteger(const char* pchText, int* piValue);
// Occurrences of the character; 0 for a null text.
int GetCharCount(const char* pchText, char chCharacter);
// 0-15 for a hexadecimal digit of either case; any other character comes
// back as its own code.
unsigned char HexToDecimal(const char* pchCharacter);
