// -updateFRU's request, and the rules that turn its text into the bytes a
// FRU field holds: the value padded with spaces to the field's length and
// encoded as BCD plus, 6-bit ASCII or 8-bit ASCII; and the manufacturing
// date/time of now.
#pragma once

struct FRUUpdateRequest {
    char achFieldName[10];
    unsigned short u16Offset;  // of the field's first data byte
    unsigned char u8FruID;
    unsigned int u32StringType;    // 1 BCD plus, 2 six-bit ASCII, 3 8-bit ASCII
    unsigned char u8StringLength;  // data bytes of the field
    char achStringValue[258];
    unsigned char au8EncodedData[65];  // new data; for strings, the new type/length byte at [length]
};

enum eFRUStringType { FRU_STRING_BCD_PLUS = 1, FRU_STRING_SIX_BIT = 2, FRU_STRING_EIGHT_BIT = 3 };

// The string value padded to the string length and encoded by the string
// type (any type but 2 and 3 is BCD plus) into the encoded data; false,
// with the message on standard error, when the value does not fit or
// holds a character its type cannot encode.
bool EncodeFRUUpdateString(FRUUpdateRequest* psRequest);
// Minutes since 1996-01-01 00:00 local time, three bytes, least significant first.
bool ConvertCurrentDateTimeToHex(unsigned char* pu8Out);
