// The SDR list slot: the layout every layer shares for one record of a
// record list, and the sizes of the lists.
#pragma once

#include <vector>

constexpr unsigned int SDR_RECORD_DATA_SIZE = 101;
constexpr unsigned int SDR_LIST_SLOT_COUNT = 65535;
constexpr unsigned short SDR_FREE_SLOT_ID = 0xFFFF;
// A list holds at most this many records; the last slot stays free.
constexpr unsigned int SDR_MAX_RECORD_COUNT = 65534;

constexpr unsigned char SDR_VERSION = 0x51;
constexpr unsigned char SDR_HEADER_LENGTH = 5;

struct SDREntry {
    unsigned short u16RecordID;  // 0xFFFF marks a free slot
    unsigned char u8RecordType;
    unsigned char u8RecordLength;  // total length, the 5 header bytes included
    unsigned char u8Cursor;        // work byte of the readers and the repository transfers
    unsigned char au8RecordData[SDR_RECORD_DATA_SIZE];
};

static_assert(sizeof(SDREntry) == 106, "an SDR list slot is 106 bytes");

// A record list: the records of a file or of the repository in their
// order. It grows with what is read; it holds at most SDR_MAX_RECORD_COUNT
// records (the limit the messages name as SDR_LIST_SLOT_COUNT).
using SDRRecordList = std::vector<SDREntry>;

// An entry that holds no record yet.
inline SDREntry FreeSDRSlot()
{
    SDREntry entry = {};
    entry.u16RecordID = SDR_FREE_SLOT_ID;
    return entry;
}

// A slot holds a record when it has a length and is not marked free.
inline bool IsSDRSlotOccupied(const SDREntry& entry)
{
    return entry.u8RecordLength != 0 && entry.u16RecordID != SDR_FREE_SLOT_ID;
}
