#include "encoding/backup_writer.h"

#include <cstdio>

namespace {

// A backup that could not be written whole must not be mistaken for one.
int DiscardBackup(FILE* pFile, const char* pchPath)
{
    std::fclose(pFile);
    std::remove(pchPath);
    return 0;
}

bool WriteByteByByte(FILE* pFile, const unsigned char* pu8Data, unsigned int uCount)
{
    for (unsigned int i = 0; i < uCount; ++i) {
        if (std::fputc(pu8Data[i], pFile) == EOF) {
            return false;
        }
    }
    return true;
}

// The buffered bytes reach the file only now, so this is where a full disk
// shows; the file is deleted then too.
int FinishBackup(FILE* pFile, const char* pchPath)
{
    const bool bFlushed = std::fflush(pFile) == 0;
    if (std::fclose(pFile) == 0 && bFlushed) {
        return 1;
    }
    std::remove(pchPath);
    return 0;
}

}  // namespace

int BackUpFRUBinFile(const char* pchPath, const unsigned char* pu8Data, unsigned short u16Count)
{
    if (pchPath == nullptr || pu8Data == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "wb");
    if (pFile == nullptr) {
        return 0;
    }
    if (!WriteByteByByte(pFile, pu8Data, u16Count)) {
        return DiscardBackup(pFile, pchPath);
    }
    return FinishBackup(pFile, pchPath);
}

int BackUpSDRBinFile(const char* pchPath, const SDREntry* psList)
{
    if (pchPath == nullptr || psList == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    FILE* pFile = std::fopen(pchPath, "wb");
    if (pFile == nullptr) {
        return 0;
    }
    for (unsigned int i = 0; i < SDR_LIST_SLOT_COUNT; ++i) {
        const SDREntry& entry = psList[i];
        if (!IsSDRSlotOccupied(entry)) {
            continue;
        }
        // A length beyond the slot's data means a corrupt list: no backup
        // rather than one that reads past the slot.
        if (entry.u8RecordLength > SDR_RECORD_DATA_SIZE ||
            !WriteByteByByte(pFile, entry.au8RecordData, entry.u8RecordLength)) {
            return DiscardBackup(pFile, pchPath);
        }
    }
    return FinishBackup(pFile, pchPath);
}
