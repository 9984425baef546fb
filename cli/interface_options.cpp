#include "cli/interface_options.h"

unsigned int eInterfaceInUse = eInterfaceOpenIPMI;
IolDataRecord sIolData = {};
