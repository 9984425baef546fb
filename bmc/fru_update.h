// -updateFRU: one field of a FRU inventory device rewritten in place (a
// serial number, or the board's manufacturing date/time set to now), with
// the area checksum brought along.
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

int UpdateFRU(unsigned short u16ArgCount, char* apchArgs[]);
bool ValidateAnalyzeFRUUpdateDataParameters(unsigned short u16ArgCount, char* apchArgs[], FRUUpdateRequest* psRequest);
// Minutes since 1996-01-01 00:00 local time, three bytes, least significant first.
bool ConvertCurrentDateTimeToHex(unsigned char* pu8Out);
