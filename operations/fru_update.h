// -updateFRU: a checked and encoded field update carried out on the BMC
// the run's interface reaches.
#pragma once

#include "base/interface_state.h"
#include "fru/fru_update_encoding.h"
#include "operations/run_result.h"

// Opens the session, writes the field, closes the session and prints the
// result line; 0 when the field was written, 1 otherwise.
int UpdateFRUField(const InterfaceChoice& interface, FRUUpdateRequest* psRequest, RunResult* psResult);
