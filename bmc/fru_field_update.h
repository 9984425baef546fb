// -updateFRU on the BMC: one field of a FRU device rewritten in place, read
// first so that the area's checksum can be brought along.
#pragma once

#include "bmc/saved_copy.h"
#include "fru/fru_update_encoding.h"

// Reads the common header, the old field and the area checksum, then
// writes the new type/length byte (strings), the new data and the new
// checksum, in that order. False at the first failed request or check,
// with its message printed; the writes done by then stay.
// A write that cannot be undone sets the way back's copy.
bool WriteFRUFieldUpdate(FRUUpdateRequest* psRequest, WayBack* psWayBack);
