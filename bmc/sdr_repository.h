// The Storage requests that read and write the BMC's SDR repository, and
// the loops that move a whole record list.
#pragma once

#include <vector>
#include "bmc/command_results.h"
#include "bmc/ipmi_command.h"

#include "sdr/sdr_exact_copy.h"
#include "sdr/sdr_record.h"

// What the repository info is asked for: reading needs Reserve, writing
// Partial Add as well.
enum class RepositoryMode { FOR_DOWNLOAD, FOR_UPLOAD };

// What a pass over the repository is for: it decides whether a pass may
// stop for a signal and how a cancelled reservation is met, and its verb
// is the one the progress lines print ("Start to upload SDR record ...").
enum class RepositoryPass { UPLOAD, DOWNLOAD, BACKUP, RESTORE };
const char* PassVerb(RepositoryPass ePass);

CommandResult GetSDRRepositoryInfoCommand(SDRRepositoryInfo* psInfo, RepositoryMode eMode);
CommandResult GetSDRRepOperationSupport(const SDRRepositoryInfo* psInfo, RepositoryMode eMode);
CommandResult ReserveSDRCommand(unsigned short* pu16ReservationID);
CommandResult GetSDRCommand(unsigned short u16ReservationID, unsigned short u16RecordID,
                            unsigned short* pu16NextRecordID, SDREntry* psEntry, RepositoryPass ePass);
CommandResult PartialAddCommand(unsigned short u16ReservationID, SDREntry* psEntry);
CommandResult ClearSDRCommand(unsigned short u16ReservationID, unsigned char u8Action);
CommandResult ToClearSDR();
// How long ToClearSDR polls an erase in progress (ERASE_WAIT unless a test
// sets less); 0 or less restores the default.
void SetSDREraseTimeLimit(long lMilliseconds);
CommandResult RunInitializationAgentCommand();

// The repository, from its first record, into the list (emptied first); 9
// when as many records were read as *pu16Count says (then set to the
// number read).
CommandResult UploadSDRHandler(unsigned short* pu16Count, SDRRecordList* pList, RepositoryPass ePass);
// Erases the repository, then adds the list's records; each entry takes
// the ID the BMC gave it.
CommandResult DownloadSDRHandler(SDRRecordList* pList, RepositoryPass ePass);
// The repository's records as the BMC holds them, whatever their type,
// version or length (a backup that must restore exactly); 9 when as many
// records were read as *pu16Count says.
CommandResult ReadRepositoryRecords(unsigned short* pu16Count, std::vector<SDRRecordBytes>* pasRecords,
                                    RepositoryPass ePass);
// Erases the repository, then adds the records byte for byte (a restore);
// SDR_PARTIAL_ADD_LAST, or CMD_FAILED.
CommandResult AddRepositoryRecords(const std::vector<SDRRecordBytes>& asRecords, RepositoryPass ePass);
// How often the last DownloadSDRHandler met a reservation cancelled by
// another agent, who may have written into the repository meanwhile.
unsigned int ReservationsCancelledWhileAdding();
// What reading the whole repository came to: its records, a repository that
// holds none (said on standard error), or a failure (said by the request).
enum class RepositoryRead { READ, EMPTY, FAILED };
RepositoryRead DoSDRGetFromBMC(SDRRecordList* pList);
