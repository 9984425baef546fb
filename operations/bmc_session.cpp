#include "operations/bmc_session.h"

#include "base/working_storage.h"
#include "bmc/ipmi_command.h"
#include "bmc/talk_to_bmc.h"

bool OpenBMCSession()
{
    if (!InitializeInterface()) {
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
