#include "bmc/target_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/monotonic_clock.h"

namespace {

constexpr unsigned int LOCK_POLL_PAUSE_MS = 200;

bool IsFolder(const char* pchPath)
{
    struct stat info = {};
    return stat(pchPath, &info) == 0 && S_ISDIR(info.st_mode);
}

// Read-write where this user may, else read-only (a lock file another
// user created): flock needs no write permission.
int OpenLockFile(const std::string& sPath)
{
    const int iFd = open(sPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (iFd >= 0) {
        // Readable by all whatever the umask: another user's run must be
        // able to wait for this one.
        struct stat info = {};
        if (fstat(iFd, &info) == 0 && info.st_uid == geteuid()) {
            fchmod(iFd, 0644);
        }
        return iFd;
    }
    return errno != EACCES ? iFd : open(sPath.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
}

// "process N, started at TIME", as the holder wrote it.
std::string Holder(int iFd)
{
    char achText[128] = {};
    const ssize_t iRead = pread(iFd, achText, sizeof achText - 1, 0);
    std::string sText = iRead > 0 ? std::string(achText, static_cast<size_t>(iRead)) : std::string();
    while (!sText.empty() && (sText.back() == '\n' || sText.back() == '\0')) {
        sText.pop_back();
    }
    return sText.empty() ? "another process" : sText;
}

void WriteHolder(int iFd)
{
    char achStamp[32] = {};
    const time_t now = time(nullptr);
    std::tm utc = {};
    gmtime_r(&now, &utc);
    std::strftime(achStamp, sizeof achStamp, "%Y-%m-%dT%H:%M:%SZ", &utc);
    char achText[128];
    const int iLength =
        std::snprintf(achText, sizeof achText, "process %ld, started at %s\n", static_cast<long>(getpid()), achStamp);
    if (ftruncate(iFd, 0) == 0) {
        const ssize_t iIgnored = pwrite(iFd, achText, static_cast<size_t>(iLength), 0);
        (void)iIgnored;  // a read-only lock file names no holder; the lock holds all the same
    }
}

}  // namespace

std::string TargetLockPath(const std::string& sTarget)
{
    return std::string(IsFolder("/run/lock") ? "/run/lock" : "/tmp") + "/valdrn-" + sTarget + ".lock";
}

bool TargetLock::Take(const std::string& sTarget, long lWaitMilliseconds)
{
    const std::string sPath = TargetLockPath(sTarget);
    m_iFd = OpenLockFile(sPath);
    if (m_iFd < 0) {
        std::fprintf(stderr, "<ERROR> Cannot open the lock file %s: %s; nothing was changed.\n", sPath.c_str(),
                     std::strerror(errno));
        return false;
    }
    const long lDeadline = MonotonicMilliseconds() + lWaitMilliseconds;
    while (flock(m_iFd, LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || MonotonicMilliseconds() >= lDeadline) {
            std::fflush(stdout);
            std::fprintf(stderr, "<ERROR> Another VALDRN run (%s) is changing %s; nothing was changed.\n",
                         Holder(m_iFd).c_str(), sTarget.c_str());
            close(m_iFd);
            m_iFd = -1;
            return false;
        }
        usleep(LOCK_POLL_PAUSE_MS * 1000);
    }
    WriteHolder(m_iFd);
    return true;
}

TargetLock::~TargetLock()
{
    if (m_iFd >= 0) {
        close(m_iFd);
    }
}
