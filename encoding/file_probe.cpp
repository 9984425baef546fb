#include "encoding/file_probe.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>

int IsFileExist(const char* pchPath)
{
    if (pchPath == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return FILE_PROBE_CANNOT_CREATE;
    }
    const int iFd = open(pchPath, O_RDONLY | O_CREAT | O_EXCL, 0600);
    if (iFd >= 0) {
        close(iFd);
        return FILE_PROBE_CREATED;
    }
    return errno == EEXIST ? FILE_PROBE_EXISTS : FILE_PROBE_CANNOT_CREATE;
}

int IsFileExistReadOnly(const char* pchPath)
{
    if (pchPath == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return FILE_PROBE_CANNOT_OPEN;
    }
    const int iFd = open(pchPath, O_RDONLY | O_EXCL, 0400);
    if (iFd >= 0) {
        close(iFd);
        return FILE_PROBE_READABLE;
    }
    return errno == EEXIST ? FILE_PROBE_EXISTS : FILE_PROBE_CANNOT_OPEN;
}

bool ReportUnlessFileReadable(const char* pchPath)
{
    if (IsFileExistReadOnly(pchPath) == FILE_PROBE_CANNOT_OPEN) {
        std::fprintf(stderr, "<ERROR> File %s does not exist.\n", pchPath);
        return false;
    }
    return true;
}
