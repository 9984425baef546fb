#include "operations/fru_update.h"

#include <cstdio>

#include "base/interruption.h"
#include "bmc/fru_field_update.h"
#include "bmc/saved_copy.h"
#include "bmc/target_lock.h"
#include "operations/bmc_session.h"

int UpdateFRUField(FRUUpdateRequest* psRequest)
{
    if (!OpenBMCSession()) {
        return 1;
    }
    // Waiting for another run, nothing has changed yet: a signal may end
    // the wait as it ends any run.
    TargetLock lock;
    const bool bLocked = LockBMCForChanges(&lock);
    GuardAgainstInterruption();
    const bool bUpdated = bLocked && WriteFRUFieldUpdate(psRequest);
    CloseBMCSession();
    std::puts(bUpdated ? "Update FRU data successful!\n" : "Update FRU data failed!\n");
    PrintSavedCopyAdvice();
    EndInterruptionGuard();
    return bUpdated ? 0 : 1;
}
