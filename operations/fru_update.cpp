#include "operations/fru_update.h"

#include <cstdio>

#include "bmc/fru_field_update.h"
#include "operations/bmc_session.h"

int UpdateFRUField(FRUUpdateRequest* psRequest)
{
    if (!OpenBMCSession()) {
        return 1;
    }
    const bool bUpdated = WriteFRUFieldUpdate(psRequest);
    CloseBMCSession();
    std::puts(bUpdated ? "Update FRU data successful!\n" : "Update FRU data failed!\n");
    return bUpdated ? 0 : 1;
}
