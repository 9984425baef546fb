#include "cli/fru_update_parameters.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

#include "encoding/text_tokens.h"

namespace {

constexpr unsigned int MAX_PARAMETERS = 6;
constexpr size_t MAX_NAME_LENGTH = 10;
constexpr size_t MAX_VALUE_LENGTH = 126;

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

bool ApplyFieldName(const char* pchValue, FRUUpdateRequest* psRequest)
{
    for (const char* pchField : {"datetime", "snBoard", "snChassis", "snProduct"}) {
        if (std::strcmp(pchValue, pchField) == 0) {
            std::strcpy(psRequest->achFieldName, pchField);
            return true;
        }
    }
    return Refuse("<ERROR> Incorrect field name! \n");
}

// The FRU ID is cut to its low byte (the digits above the lowest two never
// count), so the range test after the reserved one could never fail.
bool ApplyFruID(char* pchValue, FRUUpdateRequest* psRequest)
{
    if (!ValidateHexData(pchValue)) {
        return Refuse("<ERROR> FRU ID is not a number! \n");
    }
    psRequest->u8FruID = static_cast<unsigned char>(HexDigitsValue(pchValue, 0xFF));
    if (psRequest->u8FruID == 0xFF) {
        return Refuse("<ERROR> FRU ID specified is reserved! \n");
    }
    return true;
}

bool ApplyOffset(char* pchValue, FRUUpdateRequest* psRequest)
{
    if (!ValidateHexData(pchValue)) {
        return Refuse("<ERROR> Offset is not a number! \n");
    }
    psRequest->u16Offset = static_cast<unsigned short>(HexDigitsValue(pchValue, 0xFFFF));
    return true;
}

// The string type is not checked as hexadecimal: its leading number (as
// strtoul reads it) is taken as 8 bits.
bool ApplyStringType(const char* pchValue, FRUUpdateRequest* psRequest)
{
    const auto u8Type = static_cast<unsigned char>(std::strtoul(pchValue, nullptr, 16));
    if (u8Type == 0 || u8Type > 3) {
        return Refuse("<ERROR> Invalid string type! \n");
    }
    psRequest->u32StringType = u8Type;
    return true;
}

// The whole number counts here: a long one saturates and is refused.
bool ApplyStringLength(char* pchValue, FRUUpdateRequest* psRequest)
{
    if (!ValidateHexData(pchValue)) {
        return Refuse("<ERROR> String length is not a number! \n");
    }
    const unsigned long ulLength = std::strtoul(pchValue, nullptr, 16);
    if (ulLength > 0x3F) {
        return Refuse("<ERROR> String length must be less than or equal to 63 bytes! \n");
    }
    psRequest->u8StringLength = static_cast<unsigned char>(ulLength);
    return true;
}

bool ApplyStringValue(const char* pchValue, FRUUpdateRequest* psRequest)
{
    if (std::strlen(pchValue) > MAX_VALUE_LENGTH) {
        return Refuse("<ERROR> The length of the string value is over the maximum! \n");
    }
    std::strcpy(psRequest->achStringValue, pchValue);
    return true;
}

// One parameter into the request; names are case-sensitive.
bool ApplyParameter(const Parameter& parameter, FRUUpdateRequest* psRequest)
{
    const std::string& sName = parameter.sName;
    if (sName == "fieldName") {
        return ApplyFieldName(parameter.pchValue, psRequest);
    }
    if (sName == "fruID") {
        return ApplyFruID(parameter.pchValue, psRequest);
    }
    if (sName == "offset") {
        return ApplyOffset(parameter.pchValue, psRequest);
    }
    if (sName == "strType") {
        return ApplyStringType(parameter.pchValue, psRequest);
    }
    if (sName == "strLength") {
        return ApplyStringLength(parameter.pchValue, psRequest);
    }
    if (sName == "strValue") {
        return ApplyStringValue(parameter.pchValue, psRequest);
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

bool AllGiven(const Parameter* pasParameters, unsigned int uCount, std::initializer_list<const char*> apchNames)
{
    for (const char* pchName : apchNames) {
        if (!Given(pasParameters, uCount, pchName)) {
            return Refuse("<ERROR> Required parameter is not specified! \n");
        }
    }
    return true;
}

}  // namespace

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
        if (!AllGiven(asParameters, u16ArgCount, {"offset", "fruID"})) {
            return false;
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
    return AllGiven(asParameters, u16ArgCount, {"offset", "fruID", "strType", "strLength", "strValue"}) &&
           EncodeFRUUpdateString(psRequest);
}
