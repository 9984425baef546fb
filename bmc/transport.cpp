#include "bmc/transport.h"

#include <utility>

namespace {

// The run's transport: opened once by InitializeInterface, ended by
// TerminateConnSession or at exit (which closes a LAN+ session cleanly).
std::unique_ptr<IPMITransport>& RunTransport()
{
    static std::unique_ptr<IPMITransport> S_pTransport;
    return S_pTransport;
}

}  // namespace

void UseTransport(std::unique_ptr<IPMITransport> pTransport)
{
    RunTransport().reset();
    RunTransport() = std::move(pTransport);
}

IPMITransport* CurrentTransport()
{
    return RunTransport().get();
}
