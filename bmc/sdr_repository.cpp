#include "bmc/sdr_repository.h"

#include <cstdio>
#include <cstring>

#include "base/trace.h"
#include "base/working_storage.h"

namespace {

constexpr unsigned int CHUNK_SIZE = 16;
constexpr unsigned char ERASE_INITIATE = 0xAA;
constexpr unsigned char ERASE_STATUS = 0x00;
constexpr int ERASE_STATUS_POLLS = 3;
constexpr unsigned int PLEASE_WAIT_POLL = 3000;

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

int GetSDRRepOperationSupport(const SDRRepositoryInfo* psInfo, int iMode)
{
    if (iMode == REPOSITORY_FOR_DOWNLOAD) {
        if (psInfo->u8OverflowFlag == 1) {
            std::printf("SDR could not be written due to lack of space in SDR Repository. \n");
        }
        if (!psInfo->bPartialAddSupported) {
            std::fputs("Partial Add SDR command is not supported. \n", stderr);
            return SDR_OPERATION_NOT_SUPPORTED;
        }
    }
    if (!psInfo->bReserveSupported) {
        std::fputs("Reserve SDR command is not supported. \n", stderr);
        return SDR_OPERATION_NOT_SUPPORTED;
    }
    return 0;
}

int GetSDRRepositoryInfoCommand(SDRRepositoryInfo* psInfo, int iMode)
{
    DebugMessage("\n=> CMD_GET_SDR_REPOSITORY_INFO\n");
    IPMICommandRecord record = NewCommandRecord();
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_GET_SDR_REPOSITORY_INFO, &record)) {
        ReportCommandFailure("Failure to check SDR repository info.\n", record);
        return SDR_INFO_FAILED;
    }
    SetRepositoryInfo(record.au8ResponseData, psInfo);
    DebugMessage("   Record Count = %04X \n", psInfo->u16RecordCount);
    DebugMessage("   Support Partial Add = %s\n", psInfo->bPartialAddSupported ? "Yes" : "No");
    return GetSDRRepOperationSupport(psInfo, iMode);
}

int ReserveSDRCommand(unsigned short* pu16ReservationID)
{
    DebugMessage("\n=> CMD_RESERVE_SDR\n");
    IPMICommandRecord record = NewCommandRecord();
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_RESERVE_SDR_REPOSITORY, &record)) {
        ReportCommandFailure("Failure to reserve SDR repository.", record);
        return CMD_FAILED;
    }
    *pu16ReservationID = ParseByIndex(record.au8ResponseData, 0, 2);
    DebugMessage("   Reserve ID = %X \n", *pu16ReservationID);
    return SDR_RESERVATION_OBTAINED;
}

int GetSDRCommand(unsigned short u16ReservationID, unsigned short u16RecordID, unsigned short* pu16NextRecordID,
                  SDREntry* psEntry, const char* pchVerb)
{
    const unsigned int uOffset = psEntry->u8Cursor;
    const unsigned int uReadSize =
        uOffset + CHUNK_SIZE >= psEntry->u8RecordLength ? psEntry->u8RecordLength - uOffset : CHUNK_SIZE;
    DebugMessage("\n=> CMD_GET_SDR --- ReserveID=%04X, RequestRecordID=%04X, Offset=%02X, ReadSize=%02X ",
                 u16ReservationID, u16RecordID, uOffset, uReadSize);
    IPMICommandRecord record = NewCommandRecord();
    PutWord(record, u16ReservationID);
    PutWord(record, u16RecordID);
    record.au8RequestData[record.u8RequestLength++] = static_cast<unsigned char>(uOffset);
    record.au8RequestData[record.u8RequestLength++] = static_cast<unsigned char>(uReadSize);
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_GET_SDR, &record)) {
        // A failed backup is only a warning: a milder line.
        if (std::strcmp(pchVerb, "backup") == 0) {
            std::fputs("Executing IPMI command failed because of: Failure to get data from SDR repository.\n", stderr);
        } else {
            std::fputs("<ERROR> Error in executing IPMI command because of: Failure to get data from SDR repository.\n",
                       stderr);
        }
        ReportCompletionCode(record);
        return CMD_FAILED;
    }
    *pu16NextRecordID = ParseByIndex(record.au8ResponseData, 0, 2);
    std::memcpy(psEntry->au8RecordData + uOffset, record.au8ResponseData + 2, uReadSize);
    if (uOffset == 0) {
        psEntry->u16RecordID = ParseByIndex(psEntry->au8RecordData, 0, 2);
        psEntry->u8RecordType = psEntry->au8RecordData[SDR_HEADER_TYPE];
        psEntry->u8RecordLength =
            static_cast<unsigned char>(psEntry->au8RecordData[SDR_HEADER_BODY_LENGTH] + SDR_HEADER_LENGTH);
        DebugMessage("   Response Record ID=%04X, Type=%02Xh, Length=0x%2X\n", psEntry->u16RecordID,
                     psEntry->u8RecordType, psEntry->u8RecordLength);
        std::printf("    Start to %s SDR record ID %04Xh, type %Xh ... \n", pchVerb, psEntry->u16RecordID,
                    psEntry->u8RecordType);
        // No SDR is longer than 64 bytes; a list slot holds 101.
        if (psEntry->u8RecordLength > SDR_RECORD_DATA_SIZE) {
            std::fprintf(stderr, "<ERROR> SDR record %04Xh is %u bytes long; the most a record can be is %u.\n",
                         psEntry->u16RecordID, psEntry->u8RecordLength, SDR_RECORD_DATA_SIZE);
            return CMD_FAILED;
        }
    }
    psEntry->u8Cursor = static_cast<unsigned char>(psEntry->u8Cursor + uReadSize);
    return psEntry->u8Cursor < psEntry->u8RecordLength ? SDR_RECORD_READ_IN_PART : SDR_RECORD_READ;
}

int UploadSDRHandler(unsigned short* pu16Count, SDREntry* psList, const char* pchVerb)
{
    unsigned int uSlot = 0;
    unsigned short u16RecordID = 0x0000;
    unsigned short u16NextRecordID = 0x0000;
    int iResult = CMD_FAILED;
    psList[0].u16RecordID = 0;
    for (;;) {
        unsigned short u16Reservation = 0;
        if (ReserveSDRCommand(&u16Reservation) == CMD_FAILED) {
            return CMD_FAILED;
        }
        SDREntry& entry = psList[uSlot];
        entry.u8Cursor = 0;
        entry.u8RecordLength = SDR_HEADER_LENGTH;  // the first read is the header
        do {
            iResult = GetSDRCommand(u16Reservation, u16RecordID, &u16NextRecordID, &entry, pchVerb);
            if (iResult == CMD_FAILED) {
                return CMD_FAILED;
            }
        } while (iResult != SDR_RECORD_READ);
        DebugPrintGetSDR(u16RecordID, u16NextRecordID, static_cast<unsigned short>(uSlot), *pu16Count);
        // The list's last slot ends the reading as the last record does.
        if (uSlot + 1 >= SDR_LIST_SLOT_COUNT || u16NextRecordID == 0xFFFF) {
            break;
        }
        DebugMessage("\n\n*** Get Next SDR Record ***\n");
        ++uSlot;
        u16RecordID = u16NextRecordID;
    }
    DebugMessage("\n\n### No More SDR Records Available ###\n\n");
    const unsigned int uRead = uSlot + 1;
    if (uRead > SDR_MAX_RECORD_COUNT) {
        std::fprintf(stderr, "The SDR record count exceeds %Xh records. \n", 0xFFFF);
        return CMD_FAILED;
    }
    if (uRead != *pu16Count) {
        std::fprintf(stderr, "SDR Record: needs %Xh, Got %Xh. \n", *pu16Count, uRead);
        return CMD_FAILED;
    }
    *pu16Count = static_cast<unsigned short>(uRead);
    return iResult;
}

bool DoSDRGetFromBMC(unsigned short* pu16Count)
{
    SDRRepositoryInfo info = {};
    if (GetSDRRepositoryInfoCommand(&info, REPOSITORY_FOR_UPLOAD) != 0) {
        return false;
    }
    if (info.u16RecordCount == 0) {
        std::fputs("The SDR repository is empty.\n", stderr);
        return false;
    }
    *pu16Count = info.u16RecordCount;
    return UploadSDRHandler(pu16Count, G_psRepositorySDREntryList, "upload") == SDR_RECORD_READ;
}

int ClearSDRCommand(unsigned short u16ReservationID, unsigned char u8Action)
{
    DebugMessage("\n=> CMD_CLEAR_SDR_REPOSITORY\n");
    IPMICommandRecord record = NewCommandRecord();
    PutWord(record, u16ReservationID);
    for (unsigned char u8Signature : {'C', 'L', 'R'}) {
        record.au8RequestData[record.u8RequestLength++] = u8Signature;
    }
    record.au8RequestData[record.u8RequestLength++] = u8Action;
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_CLEAR_SDR_REPOSITORY, &record)) {
        return CMD_FAILED;
    }
    return (record.au8ResponseData[0] & 0x07) == 1 ? SDR_ERASE_COMPLETED : SDR_ERASE_IN_PROGRESS;
}

int ToClearSDR()
{
    unsigned short u16Reservation = 0;
    if (ReserveSDRCommand(&u16Reservation) == CMD_FAILED) {
        return CMD_FAILED;
    }
    const int iResult = ClearSDRCommand(u16Reservation, ERASE_INITIATE);
    if (iResult == CMD_FAILED) {
        ReportClearFailure();
        return CMD_FAILED;
    }
    if (iResult == SDR_ERASE_COMPLETED) {
        return SDR_ERASE_COMPLETED;
    }
    // Three status polls, back to back; a failed poll counts as one.
    for (int iPoll = 0; iPoll < ERASE_STATUS_POLLS; ++iPoll) {
        if (ClearSDRCommand(u16Reservation, ERASE_STATUS) == SDR_ERASE_COMPLETED) {
            return SDR_ERASE_COMPLETED;
        }
    }
    ReportClearFailure();
    return CMD_FAILED;
}

int PartialAddCommand(unsigned short u16ReservationID, SDREntry* psEntry)
{
    DebugMessage("   PartialAddCommand ReserveID=%X, RecordSDRID=%X, DataOffset = %X\n", u16ReservationID,
                 psEntry->u16RecordID, psEntry->u8Cursor);
    const unsigned int uOffset = psEntry->u8Cursor;
    const bool bLast = uOffset + CHUNK_SIZE >= psEntry->u8RecordLength;
    IPMICommandRecord record = NewCommandRecord();
    PutWord(record, u16ReservationID);
    PutWord(record, psEntry->u16RecordID);
    record.au8RequestData[4] = static_cast<unsigned char>(uOffset);
    record.au8RequestData[5] = bLast ? 1 : 0;
    // Always 16 bytes in the request; its length decides how many are sent.
    const unsigned int uCopy =
        uOffset < SDR_RECORD_DATA_SIZE
            ? (SDR_RECORD_DATA_SIZE - uOffset < CHUNK_SIZE ? SDR_RECORD_DATA_SIZE - uOffset : CHUNK_SIZE)
            : 0;
    std::memcpy(record.au8RequestData + 6, psEntry->au8RecordData + uOffset, uCopy);
    record.u8RequestLength = static_cast<unsigned char>(bLast ? psEntry->u8RecordLength - uOffset + 6 : CHUNK_SIZE + 6);
    DebugMessage("   RecordData\n");
    DebugPrintArray(record.au8RequestData, CHUNK_SIZE + 6);
    DebugMessage("\n=> CMD_PARTIAL_ADD_SDR\n");
    if (!DoIPMICommand(NETFN_LUN_STORAGE, CMD_PARTIAL_ADD_SDR, &record)) {
        ReportCommandFailure("Failure to add data to SDR repository.", record);
        return CMD_FAILED;
    }
    // Later chunks of the record name the ID the BMC gave it.
    psEntry->u16RecordID = ParseByIndex(record.au8ResponseData, 0, 2);
    DebugMessage("   SDRRecordID=%d\n", psEntry->u16RecordID);
    return bLast ? SDR_PARTIAL_ADD_LAST : SDR_PARTIAL_ADD_MORE;
}

int DownloadSDRHandler(unsigned short u16Count, SDREntry* psList, const char* pchVerb)
{
    if (ToClearSDR() == CMD_FAILED) {
        return CMD_FAILED;
    }
    int iResult = CMD_FAILED;
    for (unsigned int uSlot = 0; uSlot < u16Count; ++uSlot) {
        unsigned short u16Reservation = 0;
        if (ReserveSDRCommand(&u16Reservation) == CMD_FAILED) {
            return CMD_FAILED;
        }
        std::printf("    Start to %s #%2Xh SDR record  ... \n", pchVerb, uSlot);
        SDREntry& entry = psList[uSlot];
        entry.u16RecordID = 0;  // a new record
        // An 8-bit offset like u8Cursor: records are far below 240 bytes.
        for (unsigned char u8Offset = 0; u8Offset < entry.u8RecordLength;
             u8Offset = static_cast<unsigned char>(u8Offset + CHUNK_SIZE)) {
            entry.u8Cursor = u8Offset;
            iResult = PartialAddCommand(u16Reservation, &entry);
            if (iResult == CMD_FAILED) {
                return CMD_FAILED;
            }
        }
    }
    return iResult;
}

int RunInitializationAgentCommand()
{
    DebugMessage("\n=> CMD_RUN_INITIALIZATION_AGENT\n");
    IPMICommandRecord record = NewCommandRecord();
    record.au8RequestData[0] = 1;  // run
    record.u8RequestLength = 1;
    bool bSent = DoIPMICommand(NETFN_LUN_STORAGE, CMD_RUN_INITIALIZATION_AGENT, &record);
    // Polled without pause and without bound until the agent answers.
    for (unsigned int uPolls = 0; bSent && record.au8ResponseData[0] == 0;) {
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
        return SDR_INIT_AGENT_COMPLETED;
    }
    std::fputs("<ERROR> Error in executing IPMI command: Failure to Run Initialization Agent Command.\n", stderr);
    ReportCompletionCode(record);
    return CMD_FAILED;
}
