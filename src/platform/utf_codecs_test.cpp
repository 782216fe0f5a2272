#include "platform/utf_codecs.h"

#include <gtest/gtest.h>

namespace q9 {
namespace {

// Bytes that are no UTF-8 become U+FFFD, in UTF-8 and in UTF-16LE alike.
TEST(UtfCodecsTest, InvalidUtf8BecomesTheReplacementCharacter) {
  const std::u32string decoded = DecodeUtf8("M\xFC" "ler");
  EXPECT_EQ(EncodeUtf8(decoded), "M\uFFFDler");
  const std::vector<uint8_t> expected = {'M', 0, 0xFD, 0xFF, 'l', 0, 'e', 0, 'r', 0};
  EXPECT_EQ(EncodeUtf16Le(decoded), expected);
}

}  // namespace
}  // namespace q9
