#include "encoding/text_output.h"

#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "encoding/text_encoding.h"
#include "support/test_support.h"

using valdrn_test::CapturedOutput;
using valdrn_test::FileExists;
using valdrn_test::ReadFile;
using valdrn_test::ScriptedStdin;
using valdrn_test::TempDir;

using namespace std::string_literals;

namespace {

// Writes the text with WriteStringToFile into a new file; returns the file.
std::string WriteInEncoding(const TempDir& dir, const std::string& sText, unsigned int u32Encoding)
{
    const std::string sPath = dir.File("out.txt");
    FILE* pFile = std::fopen(sPath.c_str(), "wb");
    EXPECT_NE(pFile, nullptr);
    EXPECT_EQ(WriteStringToFile(pFile, sPath.c_str(), sText.c_str(), u32Encoding), 1);
    std::fclose(pFile);
    return ReadFile(sPath);
}

TEST(WriteStringToFileTest, EightBitAsItIs)
{
    TempDir dir;
    EXPECT_EQ(WriteInEncoding(dir, "_SDR (\n'caf\xE9'\n", FILE_ENCODING_ASCII), "_SDR (\n'caf\xE9'\n");
}

TEST(WriteStringToFileTest, Utf8ConvertsLatin1)
{
    TempDir dir;
    EXPECT_EQ(WriteInEncoding(dir, "'caf\xE9'\n", FILE_ENCODING_UTF8), "'caf\xC3\xA9'\n");
}

TEST(WriteStringToFileTest, Utf8LongTextLosesNothing)
{
    TempDir dir;
    const std::string sLatin1 = std::string(300, '\xE9') + "end";
    std::string sExpected;
    for (int i = 0; i < 300; ++i) {
        sExpected += "\xC3\xA9";
    }
    EXPECT_EQ(WriteInEncoding(dir, sLatin1, FILE_ENCODING_UTF8), sExpected + "end");
}

TEST(WriteStringToFileTest, Utf16WritesTwoBytesACharacter)
{
    TempDir dir;
    EXPECT_EQ(WriteInEncoding(dir, "\xE9", FILE_ENCODING_UTF16), "\xE9\0"s);
    EXPECT_EQ(WriteInEncoding(dir, "_SDR (\n", FILE_ENCODING_UTF16), "_\0S\0D\0R\0 \0(\0\n\0"s);
}

TEST(WriteStringToFileTest, Utf16LongTextLosesNothing)
{
    TempDir dir;
    const std::string sText(400, 'Z');
    const std::string sWritten = WriteInEncoding(dir, sText, FILE_ENCODING_UTF16);
    ASSERT_EQ(sWritten.size(), 800u);
    EXPECT_EQ(sWritten.substr(796), "Z\0Z\0"s);
}

TEST(WriteStringToFileTest, EmptyText)
{
    TempDir dir;
    for (unsigned int u32Encoding : {0u, 1u, 2u}) {
        EXPECT_EQ(WriteInEncoding(dir, "", u32Encoding), "");
    }
}

TEST(WriteStringToFileTest, BadArguments)
{
    TempDir dir;
    FILE* pFile = std::fopen(dir.File("x").c_str(), "wb");
    CapturedOutput output;
    EXPECT_EQ(WriteStringToFile(nullptr, "x", "t", 0), 0);
    EXPECT_EQ(WriteStringToFile(pFile, nullptr, "t", 0), 0);
    EXPECT_EQ(WriteStringToFile(pFile, "x", nullptr, 0), 0);
    EXPECT_EQ(WriteStringToFile(pFile, "x", "t", 3), 0);
    output.Finish();
    EXPECT_EQ(output.Err(),
              "<ERROR> Internal Error!\n<ERROR> Internal Error!\n<ERROR> Internal Error!\n"
              "<ERROR> Internal Error!\n");
    std::fclose(pFile);
    EXPECT_EQ(ReadFile(dir.File("x")), "");
}

TEST(WriteToFileTest, WritesAndReportsBadArguments)
{
    TempDir dir;
    const std::string sPath = dir.File("w");
    FILE* pFile = std::fopen(sPath.c_str(), "wb");
    EXPECT_EQ(WriteToFile(pFile, sPath.c_str(), "01\n"), WriteResult::WRITE_OK);
    // Every write reaches the file at once.
    EXPECT_EQ(ReadFile(sPath), "01\n");
    CapturedOutput output;
    EXPECT_EQ(WriteToFile(nullptr, "w", "t"), WriteResult::WRITE_INTERNAL_ERROR);
    EXPECT_EQ(WriteToFile(pFile, nullptr, "t"), WriteResult::WRITE_INTERNAL_ERROR);
    EXPECT_EQ(WriteToFile(pFile, "w", nullptr), WriteResult::WRITE_INTERNAL_ERROR);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!\n<ERROR> Internal Error!\n<ERROR> Internal Error!\n");
    std::fclose(pFile);
}

TEST(WriteWideCharToFileTest, BadArgumentsHaveNoLineEnd)
{
    iconv_t pToUtf16 = iconv_open("UTF-16LE", "ISO-8859-1");
    CapturedOutput output;
    EXPECT_EQ(WriteWideCharToFile(nullptr, "w", "t", pToUtf16), WriteResult::WRITE_INTERNAL_ERROR);
    EXPECT_EQ(WriteWideCharToFile(stdout, "w", "t", reinterpret_cast<iconv_t>(-1)), WriteResult::WRITE_INTERNAL_ERROR);
    output.Finish();
    EXPECT_EQ(output.Err(), "<ERROR> Internal Error!<ERROR> Internal Error!");
    EXPECT_EQ(output.Out(), "");
    iconv_close(pToUtf16);
}

// A full disk for real: a link to /dev/full, whose writes fail with ENOSPC.
// Deleting the file removes only the link.
class DiskFullTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(symlink("/dev/full", m_sPath.c_str()), 0);
        m_pFile = std::fopen(m_sPath.c_str(), "wb");
        ASSERT_NE(m_pFile, nullptr);
    }

    // Runs the write with the answer on standard input and checks the
    // whole dialogue and its outcome.
    template <typename Write, typename Result>
    void ExpectDialogue(const std::string& sAnswer, Write write, Result expectedResult, bool bDeleted)
    {
        ScriptedStdin answer(sAnswer);
        CapturedOutput output;
        EXPECT_EQ(write(), expectedResult);
        output.Finish();
        EXPECT_EQ(output.Err(), "<ERROR> Disk Full! " + m_sPath + " may be corrupt or incomplete.\n");
        EXPECT_EQ(output.Out(), "Would you like to delete " + m_sPath + "? (y='YES')" + m_sPath +
                                    (bDeleted ? " has been deleted.\n" : " was not deleted.\n"));
        EXPECT_EQ(FileExists(m_sPath), !bDeleted);
    }

    TempDir m_dir;
    const std::string m_sPath = m_dir.File("full.sdr");
    FILE* m_pFile = nullptr;
};

TEST_F(DiskFullTest, AnswerYesDeletesTheFile)
{
    ExpectDialogue(
        "y\n", [&] { return WriteToFile(m_pFile, m_sPath.c_str(), "_SDR (\n"); }, WriteResult::WRITE_DISK_FULL, true);
}

TEST_F(DiskFullTest, UpperCaseYesDeletesTheFile)
{
    ExpectDialogue(
        "Y", [&] { return WriteStringToFile(m_pFile, m_sPath.c_str(), "_FRU (\n", FILE_ENCODING_UTF8); }, 0, true);
}

TEST_F(DiskFullTest, AnswerNoKeepsTheFile)
{
    ExpectDialogue(
        "n\n", [&] { return WriteToFile(m_pFile, m_sPath.c_str(), "_SDR (\n"); }, WriteResult::WRITE_DISK_FULL, false);
}

TEST_F(DiskFullTest, NoAnswerKeepsTheFile)
{
    ExpectDialogue(
        "", [&] { return WriteStringToFile(m_pFile, m_sPath.c_str(), "_SDR (\n", FILE_ENCODING_UTF16); }, 0, false);
}

TEST_F(DiskFullTest, OnlyTheFirstCharacterCounts)
{
    ExpectDialogue(
        " y\n", [&] { return WriteToFile(m_pFile, m_sPath.c_str(), "x"); }, WriteResult::WRITE_DISK_FULL, false);
}

TEST_F(DiskFullTest, WideWriterHoldsTheSameDialogue)
{
    iconv_t pToUtf16 = iconv_open("UTF-16LE", "ISO-8859-1");
    ExpectDialogue(
        "y", [&] { return WriteWideCharToFile(m_pFile, m_sPath.c_str(), "01\n", pToUtf16); },
        WriteResult::WRITE_DISK_FULL, true);
    iconv_close(pToUtf16);
}

}  // namespace

// Two prompts in a row (replace the file? then delete it after a full
// disk?) each take their own line, as at a terminal.
TEST(PromptAnswer, EachPromptTakesItsOwnLine)
{
    ScriptedStdin answers("y\n  n please\n\n\n Y\nyes\n");
    EXPECT_EQ(ReadPromptAnswer(true), 'y');
    EXPECT_EQ(ReadPromptAnswer(true), 'n');
    EXPECT_EQ(ReadPromptAnswer(false), '\n');  // an empty line is an answer here
    EXPECT_EQ(ReadPromptAnswer(true), 'Y');    // blank lines and blanks skipped
    EXPECT_EQ(ReadPromptAnswer(false), 'y');
    EXPECT_EQ(ReadPromptAnswer(true), EOF);
}
