// The three encodings of SDR and FRU text files, and reading such a file
// line by line as 8-bit text whatever its encoding.
#pragma once

#include <iconv.h>
#include <cstddef>
#include <cstdio>

enum eFileEncoding : unsigned int {
    FILE_ENCODING_ASCII = 0,  // 8-bit text, ISO-8859-1 ("ascii")
    FILE_ENCODING_UTF8 = 1,   // UTF-8 with the mark EF BB BF ("utf8")
    FILE_ENCODING_UTF16 = 2,  // UTF-16LE with the mark FF FE ("utf16")
};

// Size of the line buffers that the conversions work on.
constexpr std::size_t ENCODING_LINE_BUFFER_SIZE = 258;
// A file path kept by a reader: at most 255 characters and the NUL.
constexpr std::size_t READER_PATH_BUFFER_SIZE = 256;
// The largest line buffer a reader may pass to ReadTextLine.
constexpr std::size_t MAX_TEXT_LINE_BUFFER_SIZE = 1024;

// Sets the encoding from the byte-order mark alone; 1, or 0 after a message.
int GetFileEncoding(const char* pchPath, unsigned int* pu32Encoding);

// GetFileEncoding for a reader: a failure adds "<ERROR> Failure to get
// encoding info from file <path>." and a line end.
int GetReaderFileEncoding(const char* pchPath, unsigned int* pu32Encoding);

// Converts ENCODING_LINE_BUFFER_SIZE bytes of a zero-filled line buffer into
// an output buffer of the same size; a character the target cannot hold
// ends the text there.
void ConvertEncodingType(iconv_t pConverter, char* pchInput, char* pchOutput);

// The same with explicit sizes: converts uInputBytes bytes and always
// leaves the output NUL-terminated within uOutputBytes.
void ConvertEncodingBuffer(iconv_t pConverter, const char* pchInput, std::size_t uInputBytes, char* pchOutput,
                           std::size_t uOutputBytes);

// One text file being read.
struct TextReaderContext {
    char achFilePath[READER_PATH_BUFFER_SIZE];
    FILE* pFile;
    unsigned short u16LineNumber;  // lines read so far; messages print it
    unsigned int u32Encoding;
    iconv_t pToLatin1;  // UTF-16LE to ISO-8859-1, open only for UTF-16 files
    bool bLineEndSeen;  // the last line read ended with its line end, not with the file
};

// Fills a context for an open stream; 1, or 0 after a message when the path
// is too long or the converter cannot be opened. The stream stays the
// caller's until ReleaseTextReader.
int InitTextReader(TextReaderContext* psContext, const char* pchPath, FILE* pFile, unsigned int u32Encoding);
// Closes the converter and the stream.
void ReleaseTextReader(TextReaderContext* psContext);
// Positions the stream just after the byte-order mark of its encoding.
int SkipByteOrderMark(TextReaderContext* psContext);

enum eTextLineResult {
    TEXT_LINE_READ = 0,         // a line, in the buffer
    TEXT_LINE_END_OF_FILE = 1,  // nothing more to read
    TEXT_LINE_TOO_LONG = 2,     // the line did not fit; its start is in the buffer
    TEXT_LINE_NUL = 3,          // the line holds a NUL character; the text before it is in the buffer
};

// Reads the next line as 8-bit text into a buffer of uBufferSize bytes
// (at most MAX_TEXT_LINE_BUFFER_SIZE), counting it. A line may hold
// uBufferSize - 1 bytes (in UTF-16 files, characters) besides its line
// feed, which is kept when there is room. UTF-8 lines stay UTF-8; UTF-16LE lines are converted to
// ISO-8859-1, cut at the first character it cannot hold. A longer line is
// consumed to its end and reported, so the next call reads the next line.
eTextLineResult ReadTextLine(TextReaderContext* psContext, char* pchLine, std::size_t uBufferSize);

// Reads the next line's raw bytes, up to and including its line end
// (0x0A; in UTF-16 files the code unit 0A 00 at an even offset), counting
// it. *puLength receives the number of bytes stored. A line of more than
// uBufferSize bytes (its line end aside) is consumed to its end, and
// TEXT_LINE_TOO_LONG returned with its start stored.
eTextLineResult ReadRawTextLine(TextReaderContext* psContext, unsigned char* pu8Line, std::size_t uBufferSize,
                                std::size_t* puLength);

// The message for a line that could not be read whole: "Line %d is longer
// than %d characters. \n" or "Line %d holds a NUL character. \n".
void PrintTextLineProblem(FILE* pStream, const TextReaderContext* psContext, eTextLineResult eResult,
                          std::size_t uBufferSize);
