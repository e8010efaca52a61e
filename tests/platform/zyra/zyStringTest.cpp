#include <zyUtils/zyString.h>

#include <gtest/gtest.h>

TEST(ZyString, lowersAsciiLettersOnly)
{
    EXPECT_EQ("kb", zyString::toLower("KB"));
    EXPECT_EQ("ka", zyString::toLower("kA"));
    EXPECT_EQ("@[`{ az09", zyString::toLower("@[`{ AZ09"));
    EXPECT_EQ("\xc3\x84pfel \xc4\xb0", zyString::toLower("\xc3\x84PFEL \xc4\xb0"));
    EXPECT_EQ("", zyString::toLower(""));
}
