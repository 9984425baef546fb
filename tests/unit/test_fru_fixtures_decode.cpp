// The FRU fixtures are real FRU images: FreeIPMI's ipmi-fru decodes each
// without checksum or format errors, and finds the fields they hold.
#include <string>

#include <gtest/gtest.h>

#include "support/fru_fixtures.h"

using namespace valdrn_test;

namespace {

// Error lines, less those for what ipmi-fru cannot decode at all: BCD plus
// fields and text under a language other than English.
std::string ErrorsIn(const std::string& sOutput)
{
    std::string sErrors;
    size_t uStart = 0;
    while (uStart < sOutput.size()) {
        size_t uEnd = sOutput.find('\n', uStart);
        if (uEnd == std::string::npos) {
            uEnd = sOutput.size();
        }
        const std::string sLine = sOutput.substr(uStart, uEnd - uStart);
        if (sLine.find("rror") != std::string::npos && sLine.find("FRU invalid BCD encoding") == std::string::npos &&
            sLine.find("FRU language code not supported") == std::string::npos) {
            sErrors += sLine + "\n";
        }
        uStart = uEnd + 1;
    }
    return sErrors;
}

TEST(FruFixturesDecode, TypicalServer)
{
    const std::string sOutput = DecodeWithIpmiFru(TypicalServerFru());
    EXPECT_EQ(ErrorsIn(sOutput), "");
    for (const char* pchExpected : {"FRU Chassis Type: Rack Mount Chassis", "FRU Chassis Serial Number: CSN20261121A",
                                    "FRU Board Manufacturer: Valdrin Systems", "FRU Board Serial Number: BSN0001234",
                                    "FRU Product Name: Valdrin R200", "FRU Product Asset Tag: ASSET-42",
                                    "FRU Power Supply Overall Capacity: 750 Watts"}) {
        EXPECT_NE(sOutput.find(pchExpected), std::string::npos) << pchExpected << "\n" << sOutput;
    }
}

TEST(FruFixturesDecode, EveryEncoding)
{
    const std::string sOutput = DecodeWithIpmiFru(EveryEncodingFru());
    EXPECT_EQ(ErrorsIn(sOutput), "");
    for (const char* pchExpected :
         {"FRU Chassis Part Number: CHS-0042", "FRU Product Manufacturer Name: VALDRIN",
          "FRU Product Serial Number: SN'42'", "FRU Management Access System Management URL: https://bmc.example/sys",
          "FRU OEM Manufacturer ID: 563412h"}) {
        EXPECT_NE(sOutput.find(pchExpected), std::string::npos) << pchExpected << "\n" << sOutput;
    }
}

TEST(FruFixturesDecode, ABrokenChecksumIsSeen)
{
    // The check itself can fail: a changed byte is an error to ipmi-fru.
    std::string sImage = TypicalServerFru();
    sImage[20] = static_cast<char>(sImage[20] ^ 0x01);
    EXPECT_NE(ErrorsIn(DecodeWithIpmiFru(sImage)), "");
}

}  // namespace
