// Results of the repository and FRU command routines: one value set, one
// meaning per value, never mixed with other codes (the trace prints the
// number).
#pragma once

enum class CommandResult : int {
    CMD_FAILED = 0,     // already reported
    SDR_INFO_READ = 1,  // the repository answered, and supports the operation
    SDR_RESERVATION_OBTAINED = 2,
    SDR_ERASE_IN_PROGRESS = 3,
    SDR_ERASE_COMPLETED = 4,
    SDR_PARTIAL_ADD_MORE = 6,
    SDR_PARTIAL_ADD_LAST = 7,
    SDR_RECORD_READ_IN_PART = 8,
    SDR_RECORD_READ = 9,
    SDR_INIT_AGENT_COMPLETED = 10,
    FRU_DOWNLOAD_COMPLETE = 11,
    SDR_OPERATION_NOT_SUPPORTED = 12,
    SDR_INFO_FAILED = 13,
    FRU_READ_DONE = 14,
    FRU_WRITE_DONE = 15,
    SDR_RESERVATION_CANCELLED = 16,  // not reported: the caller reserves anew and repeats
    FRU_UPLOAD_COMPLETE = 17,
    FRU_AREA_PRESENT = 18,
};
