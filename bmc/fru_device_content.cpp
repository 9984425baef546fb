#include "bmc/fru_device_content.h"

#include <cstdio>
#include <cstring>

#include "base/quiet_output.h"
#include "bmc/fru_inventory.h"
#include "bmc/saved_copy.h"
#include "fru/fru_image.h"

namespace {


unsigned int RoundUpToChunks(unsigned int uCount)
{
    return (uCount + STORAGE_CHUNK_SIZE - 1) / STORAGE_CHUNK_SIZE * STORAGE_CHUNK_SIZE;
}

// The device's bytes up to uCount (at most the area), appended to what is
// read already.
bool ReadUpTo(FRUDeviceContent* psContent, unsigned int uCount, unsigned int uAreaSize)
{
    uCount = uCount < uAreaSize ? uCount : uAreaSize;
    const auto uHave = static_cast<unsigned int>(psContent->au8Bytes.size());
    if (uCount <= uHave) {
        return true;
    }
    psContent->au8Bytes.resize(uCount);
    SuppressedTrace quiet;
    return ReadFRUBytes(psContent->u8FruID, static_cast<unsigned short>(uHave), uCount - uHave,
                        psContent->au8Bytes.data() + uHave);
}

// The image's extent, reading as much as it takes to know it; 0 when the
// bytes hold no image that fits the area.
bool MeasureImage(FRUDeviceContent* psContent, unsigned int uAreaSize, unsigned int* puExtent)
{
    bool bKnown = false;
    unsigned int uExtent = 0;
    while (!bKnown) {
        uExtent =
            FRUImageExtent(psContent->au8Bytes.data(), static_cast<unsigned int>(psContent->au8Bytes.size()), &bKnown);
        if (!bKnown && uExtent > uAreaSize) {
            uExtent = 0;  // an image larger than its device is no image
            break;
        }
        if (!bKnown && !ReadUpTo(psContent, RoundUpToChunks(uExtent), uAreaSize)) {
            return false;
        }
    }
    *puExtent = uExtent <= uAreaSize ? uExtent : 0;
    return true;
}

bool IsValidImage(const unsigned char* pu8Bytes, unsigned int uSize)
{
    SilencedOutput silenced;
    return uSize > 0 && FRUValidateRawData(pu8Bytes, static_cast<unsigned short>(uSize), FRU_CHECK_BINARY_FILE) == 1;
}

}  // namespace

bool ReadFRUDeviceContent(unsigned char u8FruID, unsigned int uAreaSize, unsigned int uMinBytes,
                          FRUDeviceContent* psContent, const WayBack& wayBack)
{
    psContent->u8FruID = u8FruID;
    psContent->au8Bytes.clear();
    unsigned int uExtent = 0;
    if (!MeasureImage(psContent, uAreaSize, &uExtent)) {
        return false;
    }
    if (uExtent > 0 && ReadUpTo(psContent, uExtent, uAreaSize) && IsValidImage(psContent->au8Bytes.data(), uExtent)) {
        psContent->bIsImage = true;
        psContent->uImageSize = uExtent;
    } else if (!ReadUpTo(psContent, uAreaSize, uAreaSize)) {  // a blank or damaged device: all of it
        return false;
    }
    if (!ReadUpTo(psContent, uMinBytes, uAreaSize)) {
        return false;
    }
    // The copy holds every byte the run may change: the image, when the
    // write stays within it; else all that was read (the write's range,
    // the maker's bytes behind a shorter image, or a blank device whole),
    // as raw bytes that ipmitool's "fru write" puts back.
    const bool bImageCopy = psContent->bIsImage && uMinBytes <= psContent->uImageSize;
    psContent->sCopyPath =
        SaveFRUDeviceCopy(u8FruID, psContent->au8Bytes.data(),
                          bImageCopy ? psContent->uImageSize : static_cast<unsigned int>(psContent->au8Bytes.size()),
                          bImageCopy, wayBack);
    return true;
}

namespace {

enum class RangeState { HOLDS, DIFFERS, UNREADABLE };

RangeState CheckFRURange(unsigned char u8FruID, unsigned int uOffset, unsigned int uCount,
                         const unsigned char* pu8Expected)
{
    std::vector<unsigned char> au8Read(uCount);
    SilencedOutput silenced;
    SuppressedTrace quiet;
    if (!ReadFRUBytes(u8FruID, static_cast<unsigned short>(uOffset), uCount, au8Read.data())) {
        return RangeState::UNREADABLE;
    }
    return std::memcmp(au8Read.data(), pu8Expected, uCount) == 0 ? RangeState::HOLDS : RangeState::DIFFERS;
}

}  // namespace

bool FRURangeHolds(unsigned char u8FruID, unsigned int uOffset, unsigned int uCount, const unsigned char* pu8Expected)
{
    return CheckFRURange(u8FruID, uOffset, uCount, pu8Expected) == RangeState::HOLDS;
}

bool WrittenFRURangeHolds(unsigned char u8FruID, unsigned int uOffset, unsigned int uCount,
                          const unsigned char* pu8Expected)
{
    switch (CheckFRURange(u8FruID, uOffset, uCount, pu8Expected)) {
    case RangeState::HOLDS:
        return true;
    case RangeState::DIFFERS:
        std::fputs("<ERROR> The FRU device does not hold the bytes written to it.\n", stderr);
        return false;
    case RangeState::UNREADABLE:
        break;
    }
    std::fputs("<ERROR> The bytes written to the FRU device could not be read back.\n", stderr);
    return false;
}

bool PutBackFRUDevice(const FRUDeviceContent& content, unsigned int uFrom, unsigned int uTo, WayBack* psWayBack)
{
    const auto uHave = static_cast<unsigned int>(content.au8Bytes.size());
    uTo = uTo < uHave ? uTo : uHave;
    bool bPutBack = uFrom < uTo;
    if (bPutBack) {
        const unsigned char* pu8Saved = content.au8Bytes.data() + uFrom;
        {
            SilencedOutput silenced;
            SuppressedTrace quiet;
            bPutBack = WriteFRUBytes(content.u8FruID, static_cast<unsigned short>(uFrom), uTo - uFrom, pu8Saved);
        }
        bPutBack = bPutBack && FRURangeHolds(content.u8FruID, uFrom, uTo - uFrom, pu8Saved);
    }
    if (bPutBack) {
        std::fprintf(stderr, "FRU device 0x%02X was put back as it was before this run.\n", content.u8FruID);
    } else {
        std::fprintf(stderr, "FRU device 0x%02X could not be put back as it was before this run.\n", content.u8FruID);
        AdviseSavedCopy(psWayBack, content.sCopyPath);
    }
    return bPutBack;
}
