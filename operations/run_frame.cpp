#include "operations/run_frame.h"

#include "base/trace.h"

bool VLInit()
{
    return true;
}

void VLExit()
{
    DebugMessage("memory space deallocation successful\n");
}
