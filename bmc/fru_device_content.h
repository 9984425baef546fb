// What a FRU device holds before VALDRN writes to it: read first, saved to
// disk, and written back when a write fails or does not stick.
#pragma once

#include <string>
#include <vector>

#include "bmc/saved_copy.h"

struct FRUDeviceContent {
    unsigned char u8FruID = 0;
    std::vector<unsigned char> au8Bytes;  // the device's bytes from offset 0
    bool bIsImage = false;                // the first uImageSize bytes are a valid FRU image
    unsigned int uImageSize = 0;
    std::string sCopyPath;  // the saved copy, "" when none could be written
};

// Reads what the device holds: the image its common header describes (at
// least uMinBytes of it, for the range a write will cover), or, when the
// bytes are no valid image, the whole area of uAreaSize bytes; then saves
// the copy: the image, or, when the write reaches past it or there is
// none, every byte read, raw. False, after the failed read's message, when the device cannot
// be read; the trace of a run does not show these reads.
bool ReadFRUDeviceContent(unsigned char u8FruID, unsigned int uAreaSize, unsigned int uMinBytes,
                          FRUDeviceContent* psContent, const WayBack& wayBack);

// True when the device's bytes [uOffset, uOffset + uCount) equal pu8Expected
// (read back, silently).
bool FRURangeHolds(unsigned char u8FruID, unsigned int uOffset, unsigned int uCount, const unsigned char* pu8Expected);
// The same, after writing pu8Expected there; when false, one <ERROR> line
// says whether the device holds other bytes or could not be read back.
bool WrittenFRURangeHolds(unsigned char u8FruID, unsigned int uOffset, unsigned int uCount,
                          const unsigned char* pu8Expected);

// Writes the saved bytes of [uFrom, uTo) back and reads them back; prints
// one line saying whether the device was put back. When it was not, the
// saved copy becomes the run's way back.
bool PutBackFRUDevice(const FRUDeviceContent& content, unsigned int uFrom, unsigned int uTo, WayBack* psWayBack);
