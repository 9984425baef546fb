#include "bmc/sdr_repository.h"

#include <unistd.h>
#include <cstdio>
#include <cstring>

#include "base/interruption.h"
#include "base/monotonic_clock.h"
#include "base/trace.h"
#include "bmc/wait_limits.h"

namespace {

// A Partial Add request: reservation, record ID, offset, progress, then
// the data; the request buffer leaves room for 26 data bytes.
constexpr unsigned int PARTIAL_ADD_HEADER = 6;
constexpr unsigned int PARTIAL_ADD_DATA_ROOM = IPMI_REQUEST_DATA_SIZE - PARTIAL_ADD_HEADER;
constexpr unsigned char ERASE_INITIATE = 0xAA;
constexpr unsigned char ERASE_STATUS = 0x00;
constexpr unsigned int PLEASE_WAIT_POLL = 3000;
// A real BMC erases flash: its status is polled with short pauses until it
// reports completion or the erase wait (ERASE_WAIT) has passed.
constexpr unsigned int ERASE_POLL_PAUSE_MS = 50;
long S_lEraseTimeLimitMs = 0;  // 0: ERASE_WAIT
// The initialization agent is polled with pauses, within INIT_AGENT_WAIT.
constexpr unsigned int INIT_AGENT_POLL_PAUSE_MS = 1;
// Another agent's reservation cancels ours (0xC5): the record is read or
// added again under a new one, this many times at most, after a pause.
constexpr int CANCELLED_RESERVATION_RETRIES = 5;
constexpr unsigned int CANCELLED_RESERVATION_PAUSE_MS = 100;
// Cancelled reservations met by DownloadSDRHandler's current run.
unsigned int S_uCancelledWhileAdding = 0;

// What a request refused with "reservation cancelled" does: fails and is
// reported like any refusal, or goes back unreported to a caller that
// reserves anew and repeats it.
enum eCancelHandling { CANCEL_FAILS, CANCEL_RETURNS };

bool Cancelled(const IPMICommandRecord& record, eCancelHandling eCancel)
{
    return eCancel == CANCEL_RETURNS && record.u8CompletionCode == CC_RESERVATION_CANCELLED;
}

// The handling for the attempt iTry (from 0) of a record: the last one
// fails as any refusal does.
eCancelHandling CancelHandlingForTry(int iTry)
{
    return iTry < CANCELLED_RESERVATION_RETRIES ? CANCEL_RETURNS : CANCEL_FAILS;
}

void PauseAfterCancelledReservation()
{
    DebugMessage("   Reservation cancelled: reserving again\n");
    usleep(CANCELLED_RESERVATION_PAUSE_MS * 1000);
}

void PutWord(IPMICommandRecord& record, unsigned short u16Word)
{
    record.au8RequestData[record.u8RequestLength++] = GetLowByteOfWord(u16Word);
    record.au8RequestData[record.u8RequestLength++] = GetHighByteOfWord(u16Word);
}

void ReportClearFailure()
{
    std::fputs("\n<ERROR> Error in executing IPMI command because of: Failure to clear SDR.\n", stderr);
}

}  // namespace

CommandResult GetSDRRepOperationSupport(const SDRRepositoryInfo* psInfo, RepositoryMode eMode)
{
    if (eMode == RepositoryMode::FOR_DOWNLOAD) {
        if (psInfo->u8OverflowFlag == 1) {
            std::printf("SDR could not be written due to lack of space in SDR Repository. \n");
        }
        if (!psInfo->bPartialAddSupported) {
            std::fputs("Partial Add SDR command is not supported. \n", stderr);
            return CommandResult::SDR_OPERATION_NOT_SUPPORTED;
        }
    }
    if (!psInfo->bReserveSupported) {
        std::fputs("Reserve SDR command is not supported. \n", stderr);
        return CommandResult::SDR_OPERATION_NOT_SUPPORTED;
    }
    return CommandResult::SDR_INFO_READ;
}

CommandResult GetSDRRepositoryInfoCommand(SDRRepositoryInfo* psInfo, RepositoryMode eMode)
{
    DebugMessage("\n=> CMD_GET_SDR_REPOSITORY_INFO\n");
    IPMICommandRecord record = NewCommandRecord();
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_GET_SDR_REPOSITORY_INFO, &record)) {
        ReportCommandFailure("Failure to check SDR repository info.\n", record);
        return CommandResult::SDR_INFO_FAILED;
    }
    SetRepositoryInfo(record.au8ResponseData, psInfo);
    DebugMessage("   Record Count = %04X \n", psInfo->u16RecordCount);
    DebugMessage("   Support Partial Add = %s\n", psInfo->bPartialAddSupported ? "Yes" : "No");
    return GetSDRRepOperationSupport(psInfo, eMode);
}

CommandResult ReserveSDRCommand(unsigned short* pu16ReservationID)
{
    DebugMessage("\n=> CMD_RESERVE_SDR\n");
    IPMICommandRecord record = NewCommandRecord();
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, &record)) {
        ReportCommandFailure("Failure to reserve SDR repository.", record);
        return CommandResult::CMD_FAILED;
    }
    *pu16ReservationID = ParseByIndex(record.au8ResponseData, 0, 2);
    DebugMessage("   Reserve ID = %X \n", *pu16ReservationID);
    return CommandResult::SDR_RESERVATION_OBTAINED;
}

const char* PassVerb(RepositoryPass ePass)
{
    switch (ePass) {
    case RepositoryPass::UPLOAD:
        return "upload";
    case RepositoryPass::DOWNLOAD:
        return "download";
    case RepositoryPass::BACKUP:
        return "backup";
    case RepositoryPass::RESTORE:
        break;
    }
    return "restore";
}

namespace {

bool IsBackup(RepositoryPass ePass)
{
    return ePass == RepositoryPass::BACKUP;
}

// One Get SDR: uReadSize bytes of the record at uOffset into pu8Into, the
// next record's ID into *pu16NextRecordID. CommandResult::SDR_RECORD_READ_IN_PART when
// read; CommandResult::CMD_FAILED (reported) or CommandResult::SDR_RESERVATION_CANCELLED otherwise.
CommandResult GetSDRBytes(unsigned short u16ReservationID, unsigned short u16RecordID, unsigned int uOffset,
                          unsigned int uReadSize, unsigned short* pu16NextRecordID, unsigned char* pu8Into,
                          RepositoryPass ePass, eCancelHandling eCancel)
{
    DebugMessage("\n=> CMD_GET_SDR --- ReserveID=%04X, RequestRecordID=%04X, Offset=%02X, ReadSize=%02X ",
                 u16ReservationID, u16RecordID, uOffset, uReadSize);
    IPMICommandRecord record = NewCommandRecord();
    PutWord(record, u16ReservationID);
    PutWord(record, u16RecordID);
    record.au8RequestData[record.u8RequestLength++] = static_cast<unsigned char>(uOffset);
    record.au8RequestData[record.u8RequestLength++] = static_cast<unsigned char>(uReadSize);
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_GET_SDR, &record)) {
        if (Cancelled(record, eCancel)) {
            return CommandResult::SDR_RESERVATION_CANCELLED;
        }
        // A failed backup is only a warning: a milder line.
        if (IsBackup(ePass)) {
            std::fputs("Executing IPMI command failed because of: Failure to get data from SDR repository.\n", stderr);
        } else {
            std::fputs("<ERROR> Error in executing IPMI command because of: Failure to get data from SDR repository.\n",
                       stderr);
        }
        ReportCompletionCode(record);
        return CommandResult::CMD_FAILED;
    }
    *pu16NextRecordID = ParseByIndex(record.au8ResponseData, 0, 2);
    std::memcpy(pu8Into, record.au8ResponseData + 2, uReadSize);
    return CommandResult::SDR_RECORD_READ_IN_PART;
}

// The header just read: traced, and the progress line printed. Its total
// length, never wrapped.
unsigned int AnnounceRecord(const unsigned char* pu8Header, RepositoryPass ePass)
{
    const unsigned short u16RecordID = ParseByIndex(pu8Header, 0, 2);
    const unsigned int uLength = pu8Header[SDR_HEADER_BODY_LENGTH] + SDR_HEADER_LENGTH;
    DebugMessage("   Response Record ID=%04X, Type=%02Xh, Length=0x%2X\n", u16RecordID, pu8Header[SDR_HEADER_TYPE],
                 uLength);
    std::printf("    Start to %s SDR record ID %04Xh, type %Xh ... \n", PassVerb(ePass), u16RecordID,
                pu8Header[SDR_HEADER_TYPE]);
    return uLength;
}

CommandResult GetSDRChunk(unsigned short u16ReservationID, unsigned short u16RecordID, unsigned short* pu16NextRecordID,
                          SDREntry* psEntry, RepositoryPass ePass, eCancelHandling eCancel)
{
    const unsigned int uOffset = psEntry->u8Cursor;
    const unsigned int uReadSize = uOffset + STORAGE_CHUNK_SIZE >= psEntry->u8RecordLength
                                       ? psEntry->u8RecordLength - uOffset
                                       : STORAGE_CHUNK_SIZE;
    const CommandResult eResult = GetSDRBytes(u16ReservationID, u16RecordID, uOffset, uReadSize, pu16NextRecordID,
                                              psEntry->au8RecordData + uOffset, ePass, eCancel);
    if (eResult != CommandResult::SDR_RECORD_READ_IN_PART) {
        return eResult;
    }
    if (uOffset == 0) {
        psEntry->u16RecordID = ParseByIndex(psEntry->au8RecordData, 0, 2);
        psEntry->u8RecordType = psEntry->au8RecordData[SDR_HEADER_TYPE];
        // Counted in full: a body of 251 bytes or more must not wrap to a
        // header-only record.
        const unsigned int uLength = AnnounceRecord(psEntry->au8RecordData, ePass);
        psEntry->u8RecordLength = static_cast<unsigned char>(uLength);
        // No SDR is longer than 64 bytes; a list slot holds 101. (A backup
        // reads records of any length: ReadRepositoryRecords.)
        if (uLength > SDR_RECORD_DATA_SIZE) {
            std::fprintf(stderr, "<ERROR> SDR record %04Xh is %u bytes long; the most a record can be is %u.\n",
                         psEntry->u16RecordID, uLength, SDR_RECORD_DATA_SIZE);
            return CommandResult::CMD_FAILED;
        }
    }
    psEntry->u8Cursor = static_cast<unsigned char>(psEntry->u8Cursor + uReadSize);
    return psEntry->u8Cursor < psEntry->u8RecordLength ? CommandResult::SDR_RECORD_READ_IN_PART
                                                       : CommandResult::SDR_RECORD_READ;
}

// One record read whole as the BMC holds it, any length: its header, then
// 16-byte chunks (an offset is one byte; a body of 255 bytes still ends
// within reach).
CommandResult GetRawRecord(unsigned short u16ReservationID, unsigned short u16RecordID,
                           unsigned short* pu16NextRecordID, SDRRecordBytes* psRecord, RepositoryPass ePass,
                           eCancelHandling eCancel)
{
    unsigned char au8Header[SDR_HEADER_LENGTH] = {};
    CommandResult eResult =
        GetSDRBytes(u16ReservationID, u16RecordID, 0, SDR_HEADER_LENGTH, pu16NextRecordID, au8Header, ePass, eCancel);
    if (eResult != CommandResult::SDR_RECORD_READ_IN_PART) {
        return eResult;
    }
    const unsigned int uLength = AnnounceRecord(au8Header, ePass);
    psRecord->assign(reinterpret_cast<const char*>(au8Header), SDR_HEADER_LENGTH);
    psRecord->resize(uLength);
    for (unsigned int uOffset = SDR_HEADER_LENGTH; uOffset < uLength; uOffset += STORAGE_CHUNK_SIZE) {
        const unsigned int uReadSize = uLength - uOffset < STORAGE_CHUNK_SIZE ? uLength - uOffset : STORAGE_CHUNK_SIZE;
        eResult = GetSDRBytes(u16ReservationID, u16RecordID, uOffset, uReadSize, pu16NextRecordID,
                              reinterpret_cast<unsigned char*>(&(*psRecord)[uOffset]), ePass, eCancel);
        if (eResult != CommandResult::SDR_RECORD_READ_IN_PART) {
            return eResult;
        }
    }
    return CommandResult::SDR_RECORD_READ;
}

// Work under a reservation of its own, done again from its start under a
// new one when another agent cancels it (a few times); the work gets the
// reservation, how to handle a cancellation, and which try it is.
template <class Work>
CommandResult UnderFreshReservation(Work work)
{
    for (int iTry = 0;; ++iTry) {
        unsigned short u16Reservation = 0;
        if (ReserveSDRCommand(&u16Reservation) == CommandResult::CMD_FAILED) {
            return CommandResult::CMD_FAILED;
        }
        const CommandResult eResult = work(u16Reservation, CancelHandlingForTry(iTry), iTry);
        if (eResult != CommandResult::SDR_RESERVATION_CANCELLED) {
            return eResult;
        }
        PauseAfterCancelledReservation();
    }
}

// One record into a list slot, from its header on.
CommandResult ReadOneRecord(unsigned short u16RecordID, unsigned short* pu16NextRecordID, SDREntry* psEntry,
                            RepositoryPass ePass)
{
    return UnderFreshReservation([&](unsigned short u16Reservation, eCancelHandling eCancel, int) {
        psEntry->u8Cursor = 0;
        psEntry->u8RecordLength = SDR_HEADER_LENGTH;  // the first read is the header
        CommandResult eResult = CommandResult::CMD_FAILED;
        do {
            eResult = GetSDRChunk(u16Reservation, u16RecordID, pu16NextRecordID, psEntry, ePass, eCancel);
        } while (eResult == CommandResult::SDR_RECORD_READ_IN_PART);
        return eResult;
    });
}

// One record as the BMC holds it, any length.
CommandResult ReadOneRawRecord(unsigned short u16RecordID, unsigned short* pu16NextRecordID, SDRRecordBytes* psRecord,
                               RepositoryPass ePass)
{
    return UnderFreshReservation([&](unsigned short u16Reservation, eCancelHandling eCancel, int) {
        return GetRawRecord(u16Reservation, u16RecordID, pu16NextRecordID, psRecord, ePass, eCancel);
    });
}

// The number of records read must be the one expected: the count checks
// of an upload. True when it is (then stored).
bool CountsAgree(unsigned int uRead, unsigned short* pu16Count)
{
    if (uRead > SDR_MAX_RECORD_COUNT) {
        std::fprintf(stderr, "The SDR record count exceeds %Xh records. \n", 0xFFFF);
        return false;
    }
    if (uRead != *pu16Count) {
        std::fprintf(stderr, "SDR Record: needs %Xh, Got %Xh. \n", *pu16Count, uRead);
        return false;
    }
    *pu16Count = static_cast<unsigned short>(uRead);
    return true;
}

}  // namespace

CommandResult GetSDRCommand(unsigned short u16ReservationID, unsigned short u16RecordID,
                            unsigned short* pu16NextRecordID, SDREntry* psEntry, RepositoryPass ePass)
{
    return GetSDRChunk(u16ReservationID, u16RecordID, pu16NextRecordID, psEntry, ePass, CANCEL_FAILS);
}

CommandResult UploadSDRHandler(unsigned short* pu16Count, SDRRecordList* pList, RepositoryPass ePass)
{
    unsigned short u16RecordID = 0x0000;
    unsigned short u16NextRecordID = 0x0000;
    CommandResult eResult = CommandResult::CMD_FAILED;
    pList->clear();
    for (;;) {
        SDREntry entry = FreeSDRSlot();
        eResult = ReadOneRecord(u16RecordID, &u16NextRecordID, &entry, ePass);
        if (eResult == CommandResult::CMD_FAILED) {
            return CommandResult::CMD_FAILED;
        }
        pList->push_back(entry);
        DebugPrintGetSDR(u16RecordID, u16NextRecordID, static_cast<unsigned short>(pList->size() - 1), *pu16Count,
                         &pList->back());
        // The list's limit ends the reading as the last record does.
        if (pList->size() >= SDR_LIST_SLOT_COUNT || u16NextRecordID == 0xFFFF) {
            break;
        }
        DebugMessage("\n\n*** Get Next SDR Record ***\n");
        u16RecordID = u16NextRecordID;
    }
    DebugMessage("\n\n### No More SDR Records Available ###\n\n");
    return CountsAgree(static_cast<unsigned int>(pList->size()), pu16Count) ? eResult : CommandResult::CMD_FAILED;
}

CommandResult ReadRepositoryRecords(unsigned short* pu16Count, std::vector<SDRRecordBytes>* pasRecords,
                                    RepositoryPass ePass)
{
    pasRecords->clear();
    unsigned short u16RecordID = 0x0000;
    unsigned short u16NextRecordID = 0x0000;
    // A chain of record IDs that never ends stops where a list would.
    while (pasRecords->size() < SDR_LIST_SLOT_COUNT) {
        pasRecords->emplace_back();
        if (ReadOneRawRecord(u16RecordID, &u16NextRecordID, &pasRecords->back(), ePass) == CommandResult::CMD_FAILED) {
            pasRecords->pop_back();
            return CommandResult::CMD_FAILED;
        }
        if (u16NextRecordID == 0xFFFF) {
            break;
        }
        DebugMessage("\n\n*** Get Next SDR Record ***\n");
        u16RecordID = u16NextRecordID;
    }
    DebugMessage("\n\n### No More SDR Records Available ###\n\n");
    return CountsAgree(static_cast<unsigned int>(pasRecords->size()), pu16Count) ? CommandResult::SDR_RECORD_READ
                                                                                 : CommandResult::CMD_FAILED;
}

RepositoryRead DoSDRGetFromBMC(SDRRecordList* pList)
{
    SDRRepositoryInfo info = {};
    if (GetSDRRepositoryInfoCommand(&info, RepositoryMode::FOR_UPLOAD) != CommandResult::SDR_INFO_READ) {
        return RepositoryRead::FAILED;
    }
    if (info.u16RecordCount == 0) {
        std::fputs("The SDR repository is empty.\n", stderr);
        return RepositoryRead::EMPTY;
    }
    unsigned short u16Count = info.u16RecordCount;
    return UploadSDRHandler(&u16Count, pList, RepositoryPass::UPLOAD) == CommandResult::SDR_RECORD_READ
               ? RepositoryRead::READ
               : RepositoryRead::FAILED;
}

namespace {

CommandResult ClearSDRRequest(unsigned short u16ReservationID, unsigned char u8Action, eCancelHandling eCancel)
{
    DebugMessage("\n=> CMD_CLEAR_SDR_REPOSITORY\n");
    IPMICommandRecord record = NewCommandRecord();
    PutWord(record, u16ReservationID);
    for (unsigned char u8Signature : {'C', 'L', 'R'}) {
        record.au8RequestData[record.u8RequestLength++] = u8Signature;
    }
    record.au8RequestData[record.u8RequestLength++] = u8Action;
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_CLEAR_SDR_REPOSITORY, &record)) {
        return Cancelled(record, eCancel) ? CommandResult::SDR_RESERVATION_CANCELLED : CommandResult::CMD_FAILED;
    }
    return (record.au8ResponseData[0] & 0x07) == 1 ? CommandResult::SDR_ERASE_COMPLETED
                                                   : CommandResult::SDR_ERASE_IN_PROGRESS;
}

// The erase started under a reservation of its own, taken anew when
// another agent cancels it before the erase begins.
CommandResult InitiateErase(unsigned short* pu16Reservation)
{
    return UnderFreshReservation([&](unsigned short u16Reservation, eCancelHandling eCancel, int) {
        *pu16Reservation = u16Reservation;
        return ClearSDRRequest(u16Reservation, ERASE_INITIATE, eCancel);
    });
}

}  // namespace

CommandResult ClearSDRCommand(unsigned short u16ReservationID, unsigned char u8Action)
{
    return ClearSDRRequest(u16ReservationID, u8Action, CANCEL_FAILS);
}

void SetSDREraseTimeLimit(long lMilliseconds)
{
    S_lEraseTimeLimitMs = lMilliseconds > 0 ? lMilliseconds : 0;
}

CommandResult ToClearSDR()
{
    unsigned short u16Reservation = 0;
    const CommandResult eResult = InitiateErase(&u16Reservation);
    if (eResult == CommandResult::CMD_FAILED) {
        ReportClearFailure();
        return CommandResult::CMD_FAILED;
    }
    if (eResult == CommandResult::SDR_ERASE_COMPLETED) {
        return CommandResult::SDR_ERASE_COMPLETED;
    }
    // Polled until done or out of time; a failed poll counts as "not yet".
    const long lDeadline =
        MonotonicMilliseconds() + (S_lEraseTimeLimitMs > 0 ? S_lEraseTimeLimitMs : WaitLimitMilliseconds(ERASE_WAIT));
    for (;;) {
        if (ClearSDRCommand(u16Reservation, ERASE_STATUS) == CommandResult::SDR_ERASE_COMPLETED) {
            return CommandResult::SDR_ERASE_COMPLETED;
        }
        if (MonotonicMilliseconds() >= lDeadline) {
            break;
        }
        usleep(ERASE_POLL_PAUSE_MS * 1000);
    }
    ReportClearFailure();
    return CommandResult::CMD_FAILED;
}

namespace {

// One Partial Add at uOffset of the record that the BMC has named
// *pu16RecordID so far (0: a new record): uWindow bytes from pu8Window go
// into the request's data field, uSend of them are sent.
CommandResult PartialAddBytes(unsigned short u16ReservationID, unsigned short* pu16RecordID, unsigned int uOffset,
                              const unsigned char* pu8Window, unsigned int uWindow, unsigned int uSend, bool bLast,
                              eCancelHandling eCancel)
{
    DebugMessage("   PartialAddCommand ReserveID=%X, RecordSDRID=%X, DataOffset = %X\n", u16ReservationID,
                 *pu16RecordID, uOffset);
    IPMICommandRecord record = NewCommandRecord();
    PutWord(record, u16ReservationID);
    PutWord(record, *pu16RecordID);
    record.au8RequestData[4] = static_cast<unsigned char>(uOffset);
    record.au8RequestData[5] = bLast ? 1 : 0;
    std::memcpy(record.au8RequestData + PARTIAL_ADD_HEADER, pu8Window, uWindow);
    record.u8RequestLength = static_cast<unsigned char>(uSend + PARTIAL_ADD_HEADER);
    DebugMessage("   RecordData\n");
    DebugPrintArray(record.au8RequestData,
                    (uSend > STORAGE_CHUNK_SIZE ? uSend : STORAGE_CHUNK_SIZE) + PARTIAL_ADD_HEADER);
    DebugMessage("\n=> CMD_PARTIAL_ADD_SDR\n");
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_PARTIAL_ADD_SDR, &record)) {
        if (Cancelled(record, eCancel)) {
            return CommandResult::SDR_RESERVATION_CANCELLED;
        }
        ReportCommandFailure("Failure to add data to SDR repository.", record);
        return CommandResult::CMD_FAILED;
    }
    // Later chunks of the record name the ID the BMC gave it.
    *pu16RecordID = ParseByIndex(record.au8ResponseData, 0, 2);
    DebugMessage("   SDRRecordID=%d\n", *pu16RecordID);
    return bLast ? CommandResult::SDR_PARTIAL_ADD_LAST : CommandResult::SDR_PARTIAL_ADD_MORE;
}

CommandResult PartialAddChunk(unsigned short u16ReservationID, SDREntry* psEntry, eCancelHandling eCancel)
{
    const unsigned int uOffset = psEntry->u8Cursor;
    const bool bLast = uOffset + STORAGE_CHUNK_SIZE >= psEntry->u8RecordLength;
    // Always 16 bytes in the request; its length decides how many are sent.
    const unsigned int uCopy = uOffset < SDR_RECORD_DATA_SIZE ? (SDR_RECORD_DATA_SIZE - uOffset < STORAGE_CHUNK_SIZE
                                                                     ? SDR_RECORD_DATA_SIZE - uOffset
                                                                     : STORAGE_CHUNK_SIZE)
                                                              : 0;
    return PartialAddBytes(u16ReservationID, &psEntry->u16RecordID, uOffset, psEntry->au8RecordData + uOffset, uCopy,
                           bLast ? psEntry->u8RecordLength - uOffset : STORAGE_CHUNK_SIZE, bLast, eCancel);
}

// Every chunk of one record under the reservation: CommandResult::SDR_PARTIAL_ADD_LAST
// of the last chunk, CommandResult::CMD_FAILED, or CommandResult::SDR_RESERVATION_CANCELLED.
CommandResult AddRecordChunks(unsigned short u16Reservation, SDREntry* psEntry, eCancelHandling eCancel)
{
    CommandResult eResult = CommandResult::CMD_FAILED;
    psEntry->u16RecordID = 0;  // a new record
    // An 8-bit offset like u8Cursor: records are far below 240 bytes.
    for (unsigned char u8Offset = 0; u8Offset < psEntry->u8RecordLength;
         u8Offset = static_cast<unsigned char>(u8Offset + STORAGE_CHUNK_SIZE)) {
        psEntry->u8Cursor = u8Offset;
        eResult = PartialAddChunk(u16Reservation, psEntry, eCancel);
        if (eResult == CommandResult::CMD_FAILED || eResult == CommandResult::SDR_RESERVATION_CANCELLED) {
            return eResult;
        }
    }
    return eResult;
}

// A record as the BMC held it, any length, in 16-byte chunks; an offset
// is one byte, so a chunk that would start past 255 goes with the last
// one (up to 20 bytes: the data field holds 26).
CommandResult AddRawRecordChunks(unsigned short u16Reservation, const SDRRecordBytes& sRecord, eCancelHandling eCancel)
{
    const auto* pu8Bytes = reinterpret_cast<const unsigned char*>(sRecord.data());
    const auto uLength = static_cast<unsigned int>(sRecord.size());
    unsigned short u16RecordID = 0;  // a new record
    CommandResult eResult = CommandResult::CMD_FAILED;
    for (unsigned int uOffset = 0; uOffset < uLength; uOffset += STORAGE_CHUNK_SIZE) {
        const unsigned int uLeft = uLength - uOffset;
        const bool bLast = uLeft <= STORAGE_CHUNK_SIZE || uOffset + STORAGE_CHUNK_SIZE > 0xFF;
        eResult = PartialAddBytes(u16Reservation, &u16RecordID, uOffset, pu8Bytes + uOffset,
                                  uLeft < PARTIAL_ADD_DATA_ROOM ? uLeft : PARTIAL_ADD_DATA_ROOM,
                                  bLast ? uLeft : STORAGE_CHUNK_SIZE, bLast, eCancel);
        if (eResult == CommandResult::CMD_FAILED || eResult == CommandResult::SDR_RESERVATION_CANCELLED || bLast) {
            return eResult;
        }
    }
    return eResult;
}

// One record under a reservation of its own; added again from its first
// byte under a new one when another agent cancels it (the BMC drops a
// record whose partial add did not end). addChunks(reservation, handling)
// adds it.
template <class AddChunks>
CommandResult AddOneRecord(unsigned int uSlot, RepositoryPass ePass, AddChunks addChunks)
{
    return UnderFreshReservation([&](unsigned short u16Reservation, eCancelHandling eCancel, int iTry) {
        if (iTry == 0) {
            std::printf("    Start to %s #%2Xh SDR record  ... \n", PassVerb(ePass), uSlot);
        }
        const CommandResult eResult = addChunks(u16Reservation, eCancel);
        if (eResult == CommandResult::SDR_RESERVATION_CANCELLED) {
            ++S_uCancelledWhileAdding;
        }
        return eResult;
    });
}

// Erases the repository, then adds records 0 to uCount - 1 with
// addOne(slot); a signal stops a download between records, a restore
// runs to its end.
template <class AddOne>
CommandResult EraseThenAdd(unsigned int uCount, RepositoryPass ePass, AddOne addOne)
{
    const bool bMayStop = ePass == RepositoryPass::DOWNLOAD;
    if ((bMayStop && StopForInterruption(PassVerb(ePass))) || ToClearSDR() == CommandResult::CMD_FAILED) {
        return CommandResult::CMD_FAILED;
    }
    S_uCancelledWhileAdding = 0;
    CommandResult eResult = CommandResult::CMD_FAILED;
    for (unsigned int uSlot = 0; uSlot < uCount; ++uSlot) {
        if (bMayStop && StopForInterruption(PassVerb(ePass))) {
            return CommandResult::CMD_FAILED;
        }
        eResult = addOne(uSlot);
        if (eResult == CommandResult::CMD_FAILED) {
            return CommandResult::CMD_FAILED;
        }
    }
    return eResult;
}

}  // namespace

unsigned int ReservationsCancelledWhileAdding()
{
    return S_uCancelledWhileAdding;
}

CommandResult PartialAddCommand(unsigned short u16ReservationID, SDREntry* psEntry)
{
    return PartialAddChunk(u16ReservationID, psEntry, CANCEL_FAILS);
}

CommandResult DownloadSDRHandler(SDRRecordList* pList, RepositoryPass ePass)
{
    return EraseThenAdd(static_cast<unsigned int>(pList->size()), ePass, [&](unsigned int uSlot) {
        return AddOneRecord(uSlot, ePass, [&](unsigned short u16Reservation, eCancelHandling eCancel) {
            return AddRecordChunks(u16Reservation, &(*pList)[uSlot], eCancel);
        });
    });
}

CommandResult AddRepositoryRecords(const std::vector<SDRRecordBytes>& asRecords, RepositoryPass ePass)
{
    return EraseThenAdd(static_cast<unsigned int>(asRecords.size()), ePass, [&](unsigned int uSlot) {
        return AddOneRecord(uSlot, ePass, [&](unsigned short u16Reservation, eCancelHandling eCancel) {
            return AddRawRecordChunks(u16Reservation, asRecords[uSlot], eCancel);
        });
    });
}

CommandResult RunInitializationAgentCommand()
{
    DebugMessage("\n=> CMD_RUN_INITIALIZATION_AGENT\n");
    IPMICommandRecord record = NewCommandRecord();
    record.au8RequestData[0] = 1;  // run
    record.u8RequestLength = 1;
    bool bSent = DoIPMICommand(NETFN_LUN_STORAGE, CMD_RUN_INITIALIZATION_AGENT, &record);
    // Polled with short pauses until the agent answers, the wait is over or
    // a signal asks the run to end: a BMC that never finishes must not hold
    // the run for ever.
    const long lDeadline = MonotonicMilliseconds() + WaitLimitMilliseconds(INIT_AGENT_WAIT);
    for (unsigned int uPolls = 0; bSent && record.au8ResponseData[0] == 0;) {
        if (MonotonicMilliseconds() >= lDeadline || InterruptionSignal() != 0) {
            bSent = false;
            break;
        }
        usleep(INIT_AGENT_POLL_PAUSE_MS * 1000);
        if (++uPolls == PLEASE_WAIT_POLL) {
            std::printf("(please wait)... ");
            std::fflush(stdout);
        }
        DebugMessage("   CMD_RUN_INITIALIZATION_AGENT --- status = %X \n\n", record.au8ResponseData[0]);
        record = NewCommandRecord();
        record.au8RequestData[0] = 0;  // get status
        record.u8RequestLength = 1;
        bSent = DoIPMICommand(NETFN_LUN_STORAGE, CMD_RUN_INITIALIZATION_AGENT, &record);
    }
    DebugMessage("   CMD_RUN_INITIALIZATION_AGENT --- status = %X \n\n", record.au8ResponseData[0]);
    if (bSent && record.au8ResponseData[0] == 1) {
        return CommandResult::SDR_INIT_AGENT_COMPLETED;
    }
    std::fputs("<ERROR> Error in executing IPMI command: Failure to Run Initialization Agent Command.\n", stderr);
    ReportCompletionCode(record);
    return CommandResult::CMD_FAILED;
}
