#include "operations/bmc_session.h"

#include "bmc/ipmi_command.h"
#include "bmc/saved_copy.h"
#include "bmc/talk_to_bmc.h"
#include "bmc/target_lock.h"
#include "bmc/wait_limits.h"
#include "operations/run_frame.h"

bool OpenBMCSession(const InterfaceChoice& interface)
{
    if (!InitializeInterface(interface)) {
        return false;
    }
    if (!VLInit()) {
        TerminateConnSession();
        return false;
    }
    return true;
}

void CloseBMCSession()
{
    VLExit();
    TerminateConnSession();
}

bool LockBMCForChanges(TargetLock* pLock, const InterfaceChoice& interface)
{
    return pLock->Take(TargetName(interface), WaitLimitMilliseconds(LOCK_WAIT));
}

bool ProbeInBandInterface(const InterfaceChoice& interface)
{
    const bool bOpened = InitializeKCS(interface.eInterfaceInUse);
    TerminateConnSession();
    return bOpened;
}
