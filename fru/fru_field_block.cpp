// The field block of the FRU text reader: the fields of the chassis, board
// and product areas, and the data of multi-record records.
#include <cstring>
#include <string>

#include "encoding/fru_field_encoding.h"
#include "encoding/text_tokens.h"
#include "fru/fru_text_common.h"
#include "fru/fru_text_reader.h"

namespace {

constexpr unsigned char ENGLISH = 0;
constexpr unsigned char ENGLISH_ALTERNATE = 25;

class FieldBlockReader {
public:
    FieldBlockReader(FRUReaderContext* psContext, const char* pchAreaName, unsigned short u16Count, char* pchLine,
                     unsigned char u8Language)
        : m_psContext(psContext), m_pchAreaName(pchAreaName), m_iCount(u16Count), m_pchLine(pchLine),
          m_u8Language(u8Language), m_bWide(psContext->u32Encoding == FILE_ENCODING_UTF16), m_uUnit(m_bWide ? 2 : 1),
          m_bInfoArea(std::strcmp(pchAreaName, "MULTIRECORD") != 0)
    {
    }

    int Read()
    {
        while (m_iAppended < m_iCount) {
            if (m_pchLine[0] == '\0') {
                if (!ReadNextLine()) {
                    return 0;
                }
                if (m_bQuotedLine) {
                    if (!ConsumeQuotedLine()) {
                        return 0;
                    }
                    continue;
                }
            }
            if (!ConsumeHexLine()) {
                return 0;
            }
        }
        return 1;
    }

private:
    // Quoted-string messages name the line before the counter's.
    int QuotedLineNumber() const { return m_psContext->u16LineNumber - 1; }

    bool IsUnit(std::size_t uOffset, char chCharacter) const
    {
        return uOffset + m_uUnit <= m_uRawLength && m_au8Raw[uOffset] == static_cast<unsigned char>(chCharacter) &&
               (!m_bWide || m_au8Raw[uOffset + 1] == 0);
    }

    bool HasApostrophe() const
    {
        for (std::size_t i = 0; i < m_uRawLength; i += m_uUnit) {
            if (IsUnit(i, '\'')) {
                return true;
            }
        }
        return false;
    }

    bool HasNulUnit() const
    {
        for (std::size_t i = 0; i + m_uUnit <= m_uRawLength; i += m_uUnit) {
            if (m_au8Raw[i] == 0 && (!m_bWide || m_au8Raw[i + 1] == 0)) {
                return true;
            }
        }
        return false;
    }

    // A raw line; lines with an apostrophe stay raw, others become the
    // 8-bit line buffer and are counted as data lines when not empty and
    // not comments.
    bool ReadNextLine()
    {
        const eTextLineResult eResult = ReadRawTextLine(m_psContext, m_au8Raw, sizeof m_au8Raw, &m_uRawLength);
        if (eResult == TEXT_LINE_END_OF_FILE || (eResult == TEXT_LINE_READ && !m_psContext->bLineEndSeen)) {
            ReportFRUFileError("%s Area is not complete. \n", m_pchAreaName);
            return false;
        }
        if (eResult == TEXT_LINE_TOO_LONG) {
            ReportFRUFileError("Line %d is longer than %u bytes. \n", m_psContext->u16LineNumber,
                               static_cast<unsigned int>(sizeof m_au8Raw));
            return false;
        }
        m_bQuotedLine = HasApostrophe();
        if (m_bQuotedLine) {
            return true;
        }
        if (HasNulUnit()) {
            ReportFRUFileError("Line %d holds a NUL character. \n", m_psContext->u16LineNumber);
            return false;
        }
        if (m_bWide) {
            ConvertEncodingBuffer(m_psContext->pToLatin1, reinterpret_cast<const char*>(m_au8Raw), m_uRawLength,
                                  m_pchLine, FRU_LINE_BUFFER_SIZE);
        } else {
            std::memcpy(m_pchLine, m_au8Raw, m_uRawLength);
            m_pchLine[m_uRawLength < FRU_LINE_BUFFER_SIZE ? m_uRawLength : FRU_LINE_BUFFER_SIZE - 1] = '\0';
        }
        TrimSideSpace(m_pchLine);
        if (m_pchLine[0] != '\0' && m_pchLine[0] != '/' && m_pchLine[1] != '/') {
            ++m_iDataLines;
        }
        return true;
    }

    bool Append(const unsigned char* pu8Bytes, unsigned int uCount)
    {
        if (!AppendImageBytes(m_psContext->psImage, pu8Bytes, uCount, m_pchAreaName)) {
            return false;
        }
        m_iAppended += static_cast<int>(uCount);
        return true;
    }

    // Every token of the line is taken, even beyond the block's size.
    bool ConsumeHexLine()
    {
        char achToken[TEXT_TOKEN_BUFFER_SIZE];
        for (;;) {
            ParseNonQuotedData(m_pchLine, achToken, 1);
            char* pchComment = std::strstr(achToken, "//");
            if (pchComment != nullptr) {
                *pchComment = '\0';  // a comment ends the line
            }
            if (achToken[0] == '\0') {
                m_pchLine[0] = '\0';
                return true;
            }
            unsigned char u8Byte = 0;
            if (!ParseHexByteToken(achToken, &u8Byte)) {
                ReportFRUFileError("'%s' is not a Hex byte data in %s Area. (line %d) \n", achToken, m_pchAreaName,
                                   m_psContext->u16LineNumber);
                return false;
            }
            if (!AppendHexByte(u8Byte)) {
                return false;
            }
            if (pchComment != nullptr) {
                m_pchLine[0] = '\0';
                return true;
            }
        }
    }

    // In an info area C1 ends the fields; the padding after it may be left
    // out, so a non-zero byte after C1 is the area checksum and lands as
    // the block's last byte. Multi-record data is taken as it stands: 0xC1
    // is an ordinary value there.
    bool AppendHexByte(unsigned char u8Byte)
    {
        static const unsigned char u8Zero = 0;
        if (m_bInfoArea && m_bC1Seen && u8Byte != 0) {
            while (m_iAppended < m_iCount - 1) {
                if (!Append(&u8Zero, 1)) {
                    return false;
                }
            }
        }
        if (!Append(&u8Byte, 1)) {
            return false;
        }
        if (m_bInfoArea && u8Byte == FRU_END_OF_FIELDS) {
            m_bC1Seen = true;
        }
        return true;
    }

    bool ConsumeQuotedLine()
    {
        std::size_t uStart = 0;
        while (IsUnit(uStart, ' ') || IsUnit(uStart, '\t')) {
            uStart += m_uUnit;
        }
        if (IsUnit(uStart, '/') && IsUnit(uStart + m_uUnit, '/')) {
            return true;  // a comment line
        }
        if (!IsUnit(uStart, '\'')) {
            ReportFRUFileError("Quoted string (line %d) in %s Area does not begin with a quotation mark. \n",
                               QuotedLineNumber(), m_pchAreaName);
            return false;
        }
        if (m_bInfoArea && m_bC1Seen) {
            ReportFRUFileError("In %s Area, C1 is followed by an one-byte length string. (line %d) \n", m_pchAreaName,
                               QuotedLineNumber());
            return false;
        }
        std::size_t uClose = m_uRawLength - m_uRawLength % m_uUnit;
        do {
            uClose -= m_uUnit;
        } while (uClose > uStart && !IsUnit(uClose, '\''));
        if (uClose == uStart) {
            ReportFRUFileError("Quoted string (line %d) in %s Area is not complete. \n", QuotedLineNumber(),
                               m_pchAreaName);
            return false;
        }
        const std::size_t uFirst = uStart + m_uUnit;
        return AppendQuotedString(m_au8Raw + uFirst, uClose - uFirst);
    }

    // The string as 8-bit text: UTF-16 through iconv, UTF-8 through
    // UTF8ToASCII when bFromUtf8, otherwise as it stands.
    bool To8Bit(const unsigned char* pu8Bytes, std::size_t uCount, bool bFromUtf8, std::string& sOut)
    {
        if (m_bWide) {
            char achOut[FRU_LINE_BUFFER_SIZE];
            ConvertEncodingBuffer(m_psContext->pToLatin1, reinterpret_cast<const char*>(pu8Bytes), uCount, achOut,
                                  sizeof achOut);
            sOut = achOut;
            return true;
        }
        if (bFromUtf8 && m_psContext->u32Encoding == FILE_ENCODING_UTF8) {
            unsigned char au8Out[FRU_LINE_BUFFER_SIZE];
            unsigned char u8OutCount = 0;
            if (!UTF8ToASCII(pu8Bytes, static_cast<unsigned char>(uCount), au8Out, &u8OutCount)) {
                ReportFRUFileError("Fail to convert quoted string (line %d) in %s Area from UTF-8 to 8-bit ASCII. \n",
                                   QuotedLineNumber(), m_pchAreaName);
                return false;
            }
            sOut.assign(reinterpret_cast<char*>(au8Out), u8OutCount);
            return true;
        }
        sOut.assign(reinterpret_cast<const char*>(pu8Bytes), uCount);
        return true;
    }

    bool IsUnicodeField() const
    {
        if (m_u8Language == ENGLISH || m_u8Language == ENGLISH_ALTERNATE ||
            std::strcmp(m_pchAreaName, "CHASSIS") == 0) {
            return false;
        }
        // Serial number and FRU file ID stay English: the string after the
        // 3rd or 5th data line of a board area, the 5th or 7th of a product area.
        if (std::strcmp(m_pchAreaName, "BOARD") == 0) {
            return m_iDataLines != 3 && m_iDataLines != 5;
        }
        if (std::strcmp(m_pchAreaName, "PRODUCT") == 0) {
            return m_iDataLines != 5 && m_iDataLines != 7;
        }
        return true;
    }

    bool ReportLengths(int iStringLength, int iFieldLength)
    {
        ReportFRUFileError("Length of the quoted string (line %d) in %s Area is %d. \n", QuotedLineNumber(),
                           m_pchAreaName, iStringLength);
        std::fprintf(stderr, "Length specified in the type/length byte is %d. \n", iFieldLength);
        return false;
    }

    // Six-bit ASCII (type 2) and BCD plus (type 1) are packed straight into
    // the image, which is zero beyond its size.
    bool AppendPacked(const unsigned char* pu8Bytes, std::size_t uCount, unsigned char u8Type)
    {
        std::string sText;
        To8Bit(pu8Bytes, uCount, false, sText);
        const std::size_t uCharacters = sText.size();
        const unsigned int uPacked =
            static_cast<unsigned int>(u8Type == 2 ? (3 * uCharacters + 3) / 4 : (uCharacters + 1) / 2);
        FRUImage* psImage = m_psContext->psImage;
        if (uPacked > FRUImageRoom(*psImage)) {
            return AppendImageBytes(psImage, nullptr, uPacked, m_pchAreaName);  // reports the overflow
        }
        unsigned char* pu8Out = psImage->au8Bytes.data() + psImage->u16Size;
        const bool bConverted = sText.find('\0') == std::string::npos &&
                                (u8Type == 2 ? ConvertASCIIStrToSixBitASCII(sText.c_str(), pu8Out)
                                             : ConvertASCIIStrToBCDPlus(sText.c_str(), pu8Out)) == 1;
        if (!bConverted) {
            ReportFRUFileError("Fail to convert quoted string \"%s\" in %s Area. (line %d) \n", sText.c_str(),
                               m_pchAreaName, QuotedLineNumber());
            return false;
        }
        psImage->u16Size = static_cast<unsigned short>(psImage->u16Size + uPacked);
        m_iAppended += static_cast<int>(uPacked);
        return true;
    }

    bool AppendUnicode(const unsigned char* pu8Bytes, std::size_t uCount, unsigned char u8Length)
    {
        if (m_bWide) {
            if (uCount != u8Length) {
                return ReportLengths(static_cast<int>(uCount), u8Length);
            }
            return Append(pu8Bytes, static_cast<unsigned int>(uCount));
        }
        if (m_psContext->u32Encoding == FILE_ENCODING_UTF8) {
            // Exactly the field's length of the converted text, as the
            // type/length byte says.
            char achWide[2 * FRU_LINE_BUFFER_SIZE];
            iconv_t pToUtf16 = iconv_open("UTF-16LE", "UTF-8");
            if (pToUtf16 == reinterpret_cast<iconv_t>(-1)) {
                ReportFRUFileError("Cannot convert text from UTF-8 to UTF-16LE. \n");
                return false;
            }
            ConvertEncodingBuffer(pToUtf16, reinterpret_cast<const char*>(pu8Bytes), uCount, achWide, sizeof achWide);
            iconv_close(pToUtf16);
            return Append(reinterpret_cast<unsigned char*>(achWide), u8Length);
        }
        ReportFRUFileError(
            "<ERROR> Invalid file encoding format!\n%s Info Area contains data in Unicode. The file must "
            "be Unicode encoded!\n",
            m_pchAreaName);
        return false;
    }

    bool AppendQuotedString(const unsigned char* pu8Bytes, std::size_t uCount)
    {
        std::string sText;
        if (!m_bInfoArea) {
            return To8Bit(pu8Bytes, uCount, true, sText) && Append(reinterpret_cast<const unsigned char*>(sText.data()),
                                                                   static_cast<unsigned int>(sText.size()));
        }
        const FRUImage& image = *m_psContext->psImage;
        const unsigned char u8TypeLength = image.u16Size > 0 ? image.au8Bytes[image.u16Size - 1] : 0;
        const unsigned char u8Type = u8TypeLength >> 6;
        const unsigned char u8Length = u8TypeLength & 0x3F;
        switch (u8Type) {
        case 1:
        case 2:
            return AppendPacked(pu8Bytes, uCount, u8Type);
        case 3:
            if (IsUnicodeField()) {
                return AppendUnicode(pu8Bytes, uCount, u8Length);
            }
            if (!To8Bit(pu8Bytes, uCount, true, sText)) {
                return false;
            }
            if (sText.size() % 256 != u8Length) {
                return ReportLengths(static_cast<int>(sText.size() % 256), u8Length);
            }
            return Append(reinterpret_cast<const unsigned char*>(sText.data()),
                          static_cast<unsigned int>(sText.size()));
        default:
            ReportFRUFileError("Incorrect String Type in %s Area. (line %d) \n", m_pchAreaName, QuotedLineNumber());
            return false;
        }
    }

    FRUReaderContext* m_psContext;
    const char* m_pchAreaName;
    int m_iCount;
    char* m_pchLine;
    unsigned char m_u8Language;
    bool m_bWide;
    std::size_t m_uUnit;
    bool m_bInfoArea;
    int m_iAppended = 0;
    int m_iDataLines = 0;
    bool m_bC1Seen = false;
    bool m_bQuotedLine = false;
    unsigned char m_au8Raw[FRU_LINE_BUFFER_SIZE] = {};
    std::size_t m_uRawLength = 0;
};

}  // namespace

int FRUReadHexDataQuotedStringMixBlockWithLanguageCode(FRUReaderContext* psContext, const char* pchAreaName,
                                                       unsigned short u16Count, char* pchLine,
                                                       unsigned char u8LanguageCode)
{
    if (psContext == nullptr || psContext->psImage == nullptr || pchAreaName == nullptr || pchLine == nullptr) {
        std::fputs("<ERROR> Internal Error!\n", stderr);
        return 0;
    }
    FieldBlockReader reader(psContext, pchAreaName, u16Count, pchLine, u8LanguageCode);
    return reader.Read();
}
