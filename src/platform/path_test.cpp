#include "platform/path.h"

#include <gtest/gtest.h>

namespace q9 {
namespace {

TEST(PathTest, JoinAndSplitUseOneSeparatorAndCaseFoldingIsAsciiOnly) {
  EXPECT_EQ(JoinPath("a", "b"), std::string("a") + kPathSeparator + "b");
  EXPECT_EQ(JoinPath("", "b"), "b");
  EXPECT_EQ(JoinPath("a", ""), "a");
  // A folder that already ends in a separator still gets one more.
  EXPECT_EQ(JoinPath(std::string("a") + kPathSeparator, "b"),
            std::string("a") + kPathSeparator + kPathSeparator + "b");
  // Base and parent split at the last separator.
  const std::string path = std::string("x") + kPathSeparator + "y" + kPathSeparator + "z.xml";
  EXPECT_EQ(BaseName(path), "z.xml");
  EXPECT_EQ(ParentPath(path), std::string("x") + kPathSeparator + "y");
  EXPECT_EQ(BaseName("plain"), "plain");
  EXPECT_EQ(ParentPath("plain"), "");

  EXPECT_TRUE(EqualsIgnoreCase("DefaultLogdevices", "DEFAULTLOGDEVICES"));
  EXPECT_FALSE(EqualsIgnoreCase("abc", "abcd"));
  EXPECT_FALSE(EqualsIgnoreCase("\xC3\xA4", "\xC3\x84"));  // ä and Ä stay different
  EXPECT_TRUE(ContainsIgnoreCase("x-automation-onlineaccess-ldt-y", "Automation-OnlineAccess-LDT-"));
  EXPECT_FALSE(ContainsIgnoreCase("short", "longer text"));
}

}  // namespace
}  // namespace q9
