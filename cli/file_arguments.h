// The arguments of the file operations: a file name, "fruID=" for FRU data
// and, for the upload, "encoding=". Their number decides SDR or FRU.
#pragma once

#include "encoding/text_tokens.h"

// A file name argument holds at most 255 characters.
constexpr unsigned int FILE_NAME_BUFFER_SIZE = TEXT_TOKEN_BUFFER_SIZE;

bool IsStringNullOrEmpty(const char* pchText);

// -d, -v, -t: one argument means SDR, two (the second "fruID=") FRU.
bool ValidateAnalyzeParameters(unsigned short u16ArgCount, char* apchArgs[], int* piIsSDR, char* pchFileName,
                               unsigned short* pu16FruID);
bool CheckArgument(char* apchArgs[], unsigned short* pu16Cursor, char* pchFileName, unsigned short* pu16FruID);

// -u: file name, "encoding=" and, for FRU, "fruID=".
bool ValidateAnalyzeUploadParameters(unsigned short u16ArgCount, char* apchArgs[], int* piIsSDR, char* pchFileName,
                                     unsigned int* pu32Encoding, unsigned short* pu16FruID);
bool CheckUploadArgument(char* apchArgs[], unsigned short* pu16Cursor, char* pchFileName, unsigned int* pu32Encoding,
                         unsigned short* pu16FruID);
