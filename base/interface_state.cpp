#include "base/interface_state.h"

unsigned int eInterfaceInUse = eInterfaceOpenIPMI;
IolDataRecord sIolData = {};
