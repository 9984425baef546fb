#include "cli/option_values.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(IPv4Format, ValidAddresses)
{
    for (const char* pchText : {"10.0.0.1", "192.168.0.255", "0.0.0.0", "255.255.255.255", "010.1.1.1", "1.2.3.004"}) {
        EXPECT_TRUE(IsValidIPv4Format(pchText)) << pchText;
        EXPECT_TRUE(IsValidHostIPFormat(pchText)) << pchText;
    }
}

TEST(IPv4Format, InvalidAddresses)
{
    for (const char* pchText : {"192.168.0.300", "10.0.0", "10.0.0.1.", "1..2.3", ".1.2.3", "1.2.3.4.5", "", "a.b.c.d",
                                "1.2.3.4 ", " 1.2.3.4", "1.2.3.-4", "99999999999999999999.1.1.1", "1.2.3.256"}) {
        EXPECT_FALSE(IsValidIPv4Format(pchText)) << pchText;
    }
    EXPECT_FALSE(IsValidIPv4Format(nullptr));
}

TEST(HostIPFormat, NoIPv6NoNames)
{
    EXPECT_FALSE(IsValidHostIPFormat("fe80::1"));
    EXPECT_FALSE(IsValidHostIPFormat("::ffff:10.0.0.1"));
    EXPECT_FALSE(IsValidHostIPFormat("bmc.example"));
    EXPECT_FALSE(IsValidHostIPFormat(nullptr));
}

TEST(CipherSuite, Ranges)
{
    for (const char* pchText : {"3", "0x80", "191", "0", "19", "128", "0xBF", "0X11", "17"}) {
        EXPECT_TRUE(IsValidCipherSuite(pchText)) << pchText;
    }
    for (const char* pchText : {"20", "0x7F", "192", "-1", "0x", "127", "", "3a", "+3", " 3", "4294967299"}) {
        EXPECT_FALSE(IsValidCipherSuite(pchText)) << pchText;
    }
    EXPECT_FALSE(IsValidCipherSuite(nullptr));
}

TEST(StringToIntegerTest, DecimalAndHex)
{
    int iValue = -7;
    EXPECT_TRUE(StringToInteger("0", &iValue));
    EXPECT_EQ(iValue, 0);
    EXPECT_TRUE(StringToInteger("0x1f", &iValue));
    EXPECT_EQ(iValue, 31);
    EXPECT_TRUE(StringToInteger("0XFF", &iValue));
    EXPECT_EQ(iValue, 255);
    EXPECT_TRUE(StringToInteger("2147483647", &iValue));
    EXPECT_EQ(iValue, 2147483647);
    EXPECT_TRUE(StringToInteger("007", &iValue));
    EXPECT_EQ(iValue, 7);
}

TEST(StringToIntegerTest, RefusalsLeaveTheValue)
{
    int iValue = 42;
    for (const char* pchText : {"", "0x", "0xg", "12a", "-1", "1.5", "2147483648", "0x80000000", "1 "}) {
        EXPECT_FALSE(StringToInteger(pchText, &iValue)) << pchText;
        EXPECT_EQ(iValue, 42);
    }
    EXPECT_FALSE(StringToInteger(nullptr, &iValue));
    EXPECT_FALSE(StringToInteger("1", nullptr));
}

TEST(GetCharCountTest, Counts)
{
    EXPECT_EQ(GetCharCount("10.0.0.1", '.'), 3);
    EXPECT_EQ(GetCharCount("", '.'), 0);
    EXPECT_EQ(GetCharCount(nullptr, '.'), 0);
    EXPECT_EQ(GetCharCount("fe80::1", ':'), 2);
}

TEST(HexToDecimalTest, DigitsAndOthers)
{
    const std::string sDigits = "0123456789abcdefABCDEF";
    const int aiValues[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 10, 11, 12, 13, 14, 15};
    for (size_t i = 0; i < sDigits.size(); ++i) {
        EXPECT_EQ(HexToDecimal(&sDigits[i]), aiValues[i]) << sDigits[i];
    }
    const char achOthers[] = {'g', 'G', 'x', ' ', '\x01', '\x10'};
    for (char c : achOthers) {
        EXPECT_EQ(HexToDecimal(&c), static_cast<unsigned char>(c));
    }
}

}  // namespace
