// Writes the seed corpus of every fuzz target into OUT/<target>/: the
// records and images of the test fixtures, the example files and the
// files and command lines of the command-line cases.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "sdr/sdr_exact_copy.h"
#include "support/fru_fixtures.h"
#include "support/sdr_fixtures.h"
#include "support/test_support.h"

using namespace valdrn_test;
namespace fs = std::filesystem;

namespace {

fs::path S_outDir;

void Seed(const char* pchTarget, const std::string& sBytes)
{
    static int iNumber = 0;
    const fs::path dir = S_outDir / pchTarget;
    fs::create_directories(dir);
    WriteFile((dir / ("seed-" + std::to_string(++iNumber))).string(), sBytes);
}

std::string Joined(const std::vector<std::string>& asParts, const std::string& sBetween = "")
{
    std::string sAll;
    for (const std::string& sPart : asParts) {
        sAll += (sAll.empty() ? "" : sBetween) + sPart;
    }
    return sAll;
}

// Files of the command-line cases with the given extension.
std::vector<std::string> CaseFiles(const std::string& sExtension)
{
    std::vector<std::string> asFiles;
    for (const auto& caseDir : fs::directory_iterator(CLI_CASES_DIR)) {
        const fs::path files = caseDir.path() / "files";
        if (!fs::is_directory(files)) {
            continue;
        }
        for (const auto& file : fs::directory_iterator(files)) {
            if (file.path().extension() == sExtension) {
                asFiles.push_back(ReadFile(file.path().string()));
            }
        }
    }
    return asFiles;
}

void SdrSeeds()
{
    const std::vector<std::string> asRecords = SdrRecordsOfEveryType();
    for (const std::string& sFile : {SdrBinaryFormat0(asRecords), SdrBinaryFormat1(asRecords),
                                     SdrBinaryFormat2(asRecords), ReadFile(EXAMPLES_DIR "/ToBMC.sdr.bin")}) {
        Seed("fuzz_sdr_binary_reader", sFile);
    }
    for (const std::string& sFile : CaseFiles(".bin")) {
        Seed("fuzz_sdr_binary_reader", sFile);
    }
    std::string sOdd = SdrFixedRecord(9, 0xC1, 0x30);
    sOdd[2] = '\x02';
    Seed("fuzz_sdr_exact_copy", ExactSDRCopyBytes(asRecords));
    Seed("fuzz_sdr_exact_copy", ExactSDRCopyBytes({sOdd, SdrRecord(10, 0xC0, std::string(255, '\x5A'))}));
    // The text reader's input starts with the encoding choice.
    const std::string sText = SdrTextFile(asRecords);
    for (char chEncoding : {'\0', '\1', '\2'}) {
        Seed("fuzz_sdr_text_reader", chEncoding + sText);
    }
    Seed("fuzz_sdr_text_reader", '\0' + ReadFile(EXAMPLES_DIR "/ToBMC.sdr"));
    for (const std::string& sFile : CaseFiles(".sdr")) {
        Seed("fuzz_sdr_text_reader", '\0' + sFile);
    }
    Seed("fuzz_sdr_text_writer", Joined(asRecords));
    for (const std::string& sRecord : asRecords) {
        Seed("fuzz_sdr_text_writer", sRecord);
    }
}

void FruSeeds()
{
    const std::vector<std::string> asImages = {TypicalServerFru(), EveryEncodingFru(),
                                               ReadFile(EXAMPLES_DIR "/ServerBoard.fru.bin")};
    for (const std::string& sImage : asImages) {
        Seed("fuzz_fru_validation", sImage);
        Seed("fuzz_fru_text_writer", sImage);
        Seed("fuzz_fru_text_reader", '\0' + sImage);
    }
    for (char chEncoding : {'\0', '\1', '\2'}) {
        Seed("fuzz_fru_text_reader", chEncoding + FruText(TypicalServerFru()));
    }
    Seed("fuzz_fru_text_reader", '\0' + ReadFile(EXAMPLES_DIR "/ServerBoard.fru"));
    for (const std::string& sFile : CaseFiles(".fru")) {
        Seed("fuzz_fru_text_reader", '\0' + sFile);
    }
}

void CommandLineSeeds()
{
    // The cases' command lines, one word to a line there, NUL-separated here.
    for (const auto& caseDir : fs::directory_iterator(CLI_CASES_DIR)) {
        const fs::path args = caseDir.path() / "args";
        if (!fs::exists(args)) {
            continue;
        }
        std::string sLine = ReadFile(args.string());
        if (!sLine.empty() && sLine.back() == '\n') {
            sLine.pop_back();
        }
        for (char& ch : sLine) {
            ch = ch == '\n' ? '\0' : ch;
        }
        Seed("fuzz_command_line", sLine);
    }
    // The scratch directory's files with each operation.
    const std::string S = std::string(1, '\0');
    for (const std::string& sLine :
         {"-t" + S + "a.sdr", "-t" + S + "b.bin", "-t" + S + "c.fru", "-t" + S + "d.bin" + S + "fruID=0",
          "-d" + S + "c.fru" + S + "fruID=3" + S + "-n" + S + "lanplus" + S + "-H" + S + "h" + S + "-U" + S + "u" + S +
              "-P" + S + "p" + S + "-C" + S + "3",
          "-u" + S + "new.sdr" + S + "encoding=utf16" + S + "-msgintf" + S + "kcsio",
          "-v" + S + "a.sdr" + S + "-debugmsg",
          "-updateFRU" + S + "fieldName=snBoard" + S + "fruID=0" + S + "offset=58" + S + "strType=3" + S +
              "strLength=A" + S + "strValue=BSN0001234" + S + "-n" + S + "lanplus" + S + "-H" + S + "h" + S + "-U" + S +
              "u" + S + "-P" + S + "p",
          "-updateFRU" + S + "fieldName=datetime" + S + "offset=33" + S + "fruID=1"}) {
        Seed("fuzz_command_line", sLine);
    }
}

void IpmitoolSeeds()
{
    // Command byte, then each attempt's output with its length before it.
    auto Attempts = [](char chCmd, const std::vector<std::string>& asOutputs) {
        std::string sSeed(1, chCmd);
        for (const std::string& sOutput : asOutputs) {
            sSeed += static_cast<char>(sOutput.size() >= 255 ? 255 : sOutput.size()) + sOutput;
        }
        return sSeed;
    };
    const std::string sBusy =
        "Unable to send RAW command (channel=0x0 netfn=0xa lun=0x0 cmd=0x22 rsp=0xc5): "
        "Reservation cancelled or invalid\n";
    Seed("fuzz_ipmitool_output", Attempts('\x23', {" 01 02 00 00 51 01 33 20 00\n"}));
    Seed("fuzz_ipmitool_output", Attempts('\x22', {sBusy, sBusy, " 4a 00\n"}));
    Seed("fuzz_ipmitool_output", Attempts('\x01', {"Error: Unable to establish IPMI v2 / RMCP+ session\n"}));
    Seed("fuzz_ipmitool_output", Attempts('\x01', {"no support for IPMI_AUTH\n"}));
    Seed("fuzz_ipmitool_output", Attempts('\x27', {"", " 01\n"}));
    Seed("fuzz_ipmitool_output", Attempts('\x11', {std::string(240, ' ') + "ff ee dd cc bb aa 99 88 77 66 55"}));
}

}  // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTDIR\n", argv[0]);
        return 2;
    }
    S_outDir = argv[1];
    SdrSeeds();
    FruSeeds();
    CommandLineSeeds();
    IpmitoolSeeds();
    return 0;
}
