// Writing text lines in the output encoding chosen for a file, with the
// "disk full" dialogue on a short write.
#pragma once

#include <iconv.h>
#include <cstddef>
#include <cstdio>

// Results of the write routines; their own value set (the numbers are the
// ones they have always been).
enum class WriteResult : int {
    WRITE_OK = 0,
    WRITE_INTERNAL_ERROR = 1,
    WRITE_DISK_FULL = 14,  // the dialogue was held and the stream is closed
};

// Writes the bytes and pushes them to the file at once, so that a full
// disk is noticed at the line that hits it; a short write holds the
// dialogue. 0 written, 14 disk full.
WriteResult WriteBytesToFile(FILE* pStream, const char* pchPath, const void* pData, std::size_t uCount);

// One answer at an interactive prompt: its first character (the first
// non-blank one with bSkipBlanks), the rest of its line read and dropped;
// EOF when there is none.
int ReadPromptAnswer(bool bSkipBlanks);
// Tells the user the file may be corrupt, asks whether to delete it, closes
// the stream and deletes the file on "y" or "Y". Returns 14.
WriteResult HoldDiskFullDialogue(FILE* pStream, const char* pchPath);

// The text's bytes as they are. 0, 14, or 1 for a null argument.
WriteResult WriteToFile(FILE* pStream, const char* pchPath, const char* pchText);
// The 8-bit text converted to UTF-16LE through the converter, 2 bytes a
// character. 0, 14, or 1 for a null argument.
WriteResult WriteWideCharToFile(FILE* pStream, const char* pchPath, const char* pchText, iconv_t pToUtf16);
// Bytes of 8-bit text, NUL bytes included, in the file's encoding (0 as
// they are, 1 UTF-8, 2 UTF-16LE). 0 written, 14 disk full, 1 bad argument.
WriteResult WriteLatin1BytesToFile(FILE* pStream, const char* pchPath, const void* pData, std::size_t uCount,
                                   unsigned int u32Encoding);
// The 8-bit text in the file's encoding (0 as it is, 1 UTF-8, 2 UTF-16LE);
// 1 written, 0 on any failure.
int WriteStringToFile(FILE* pStream, const char* pchPath, const char* pchText, unsigned int u32Encoding);
