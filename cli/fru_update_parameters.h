// -updateFRU's parameters: words "name=value", checked one by one, then
// completed into an encoded request.
#pragma once

#include "fru/fru_update_encoding.h"

// True when the request is complete and encoded; otherwise false after
// the message on standard error. The words are edited in place (a "0x"
// prefix is taken off a number).
bool ValidateAnalyzeFRUUpdateDataParameters(unsigned short u16ArgCount, char* apchArgs[], FRUUpdateRequest* psRequest);
