// Probing whether a file exists before an operation reads or writes it.
#pragma once

enum eFileProbeResult {
    FILE_PROBE_CREATED = 0,      // IsFileExist: did not exist, now exists empty
    FILE_PROBE_READABLE = 0,     // IsFileExistReadOnly: exists and opens for reading
    FILE_PROBE_CANNOT_OPEN = 1,  // IsFileExistReadOnly: cannot be opened
    FILE_PROBE_EXISTS = 2,
    FILE_PROBE_CANNOT_CREATE = 3,  // IsFileExist: the directory is missing or not writable
};

// Creates the file exclusively (mode 0600): 0 created, 2 it exists, 3 it
// cannot be created. Creating it is deliberate: the upload claims the name
// before it talks to the BMC.
int IsFileExist(const char* pchPath);
// 0 the file opens for reading, 1 it does not, 2 the open said "exists".
int IsFileExistReadOnly(const char* pchPath);
// The check of every operation that reads a local file: true when the
// file can be opened; otherwise false after "<ERROR> File <name> does not
// exist." on standard error.
bool ReportUnlessFileReadable(const char* pchPath);
