#include "operations/fru_update.h"

#include <cstdio>

#include "base/interruption.h"
#include "bmc/fru_field_update.h"
#include "bmc/target_lock.h"
#include "operations/bmc_session.h"
#include "operations/restore_advice.h"

int UpdateFRUField(const InterfaceChoice& interface, FRUUpdateRequest* psRequest, RunResult* psResult)
{
    *psResult = StartRunResult(RunOperation::UPDATE_FRU, false, nullptr, psRequest->u8FruID);
    psResult->sField = psRequest->achFieldName;
    if (!OpenBMCSession(interface)) {
        return 1;
    }
    // Waiting for another run, nothing has changed yet: a signal may end
    // the wait as it ends any run.
    TargetLock lock;
    const bool bLocked = LockBMCForChanges(&lock, interface);
    GuardAgainstInterruption();
    WayBack wayBack = NewWayBack(interface);
    const bool bUpdated = bLocked && WriteFRUFieldUpdate(psRequest, &wayBack);
    CloseBMCSession();
    std::puts(bUpdated ? "Update FRU data successful!\n" : "Update FRU data failed!\n");
    PrintSavedCopyAdvice(wayBack);
    TakeWayBack(wayBack, interface, psResult);
    EndInterruptionGuard();
    psResult->eOutcome = bUpdated ? RunOutcome::SUCCESS : bLocked ? RunOutcome::FAILURE : RunOutcome::REFUSED;
    return bUpdated ? 0 : 1;
}
