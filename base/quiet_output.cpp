#include "base/quiet_output.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstdio>

#include "base/trace.h"

namespace {

void RestoreDescriptor(int iSaved, int iFd)
{
    if (iSaved >= 0) {
        dup2(iSaved, iFd);
        close(iSaved);
    }
}

}  // namespace

SilencedOutput::SilencedOutput()
{
    std::fflush(stdout);
    std::fflush(stderr);
    m_iOut = dup(STDOUT_FILENO);
    m_iErr = dup(STDERR_FILENO);
    const int iNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (iNull >= 0) {
        dup2(iNull, STDOUT_FILENO);
        dup2(iNull, STDERR_FILENO);
        close(iNull);
    }
}

SilencedOutput::~SilencedOutput()
{
    std::fflush(stdout);
    std::fflush(stderr);
    RestoreDescriptor(m_iOut, STDOUT_FILENO);
    RestoreDescriptor(m_iErr, STDERR_FILENO);
}

SuppressedTrace::SuppressedTrace() : m_bWasVerbose(G_bVerboseMode)
{
    G_bVerboseMode = false;
}

SuppressedTrace::~SuppressedTrace()
{
    G_bVerboseMode = m_bWasVerbose;
}
