// The one seam through which every request reaches a BMC. DoIPMICommand
// sends through the transport the run opened (InitializeInterface): the
// OpenIPMI or KCS library in-band, ipmitool over LAN+ (one run per
// request, or one session for the whole run), or, in unit tests, a BMC in
// memory.
#pragma once

#include <memory>

#include "base/interface_state.h"
#include "bmc/ipmi_command.h"

class IPMITransport {
public:
    virtual ~IPMITransport() = default;
    // One request under DoIPMICommand's contract: the caller set the
    // request and the response capacity; the transport sets the completion
    // code and the response. True when the request succeeded.
    virtual bool Send(unsigned char u8NetFnLun, unsigned char u8Cmd, IPMICommandRecord* psRecord) = 0;
};

// Makes the transport the run's, ending the one before (its session
// closed); nullptr leaves none, and every request then fails unsent.
void UseTransport(std::unique_ptr<IPMITransport> pTransport);
IPMITransport* CurrentTransport();

// The LAN+ transports: ipmitool once per attempt (the default), and one
// "ipmitool shell" session for the whole run (VALDRN_LAN_SESSION=run).
// Each holds its own copy of the login.
std::unique_ptr<IPMITransport> NewIpmitoolPerRequestTransport(const IolDataRecord& login);
std::unique_ptr<IPMITransport> NewIpmitoolSessionTransport(const IolDataRecord& login);
