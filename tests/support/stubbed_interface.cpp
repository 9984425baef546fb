#include "support/stubbed_interface.h"

#include <cstdlib>

#include "base/interface_state.h"
#include "base/trace.h"
#include "bmc/ipmi_command.h"
#include "bmc/talk_to_bmc.h"

namespace valdrn_test {

void StubbedInterfaceTest::SetUp()
{
    setenv("VALDRN_BACKUP_DIR", m_backups.Path().c_str(), 1);
    m_sPath = StubPath("full", "openraw");
    G_pchOpenRawLibrary = m_sPath.c_str();
    m_stub.reset(new StubLibrary(m_sPath));
    ASSERT_TRUE(InitializeInterface(InterfaceChoice{}));
    m_stub->Reset();
}

void StubbedInterfaceTest::TearDown()
{
    TerminateConnSession();
    G_pchOpenRawLibrary = "libopenraw.so";
    G_bVerboseMode = false;
    unsetenv("VALDRN_BACKUP_DIR");
}

}  // namespace valdrn_test
