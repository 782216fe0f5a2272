#include "platform/posix/reg_file_parser.h"

#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace q9 {
namespace {

using ::testing::ElementsAre;
using namespace std::string_literals;

constexpr char kHeader[] = "Windows Registry Editor Version 5.00\r\n\r\n";
constexpr char kKestrel[] = "SOFTWARE\\Kestrel";

RegistryHive Parse(const std::string& body) { return ParseRegFile(kHeader + body); }

// The value `name` of `key`, or a value of type kNone when either is missing.
RegistryValue Value(const RegistryHive& hive, std::string_view key, std::string_view name) {
  const RegistryValues* values = hive.FindKey(key);
  if (values == nullptr) return {};
  const auto it = values->find(FoldRegistryName(name));
  return it == values->end() ? RegistryValue{} : it->second;
}

std::string Text(const RegistryHive& hive, std::string_view key, std::string_view name) {
  const RegistryValue value = Value(hive, key, name);
  return value.type == RegistryType::kNone ? "<none>" : value.text;
}

std::vector<uint8_t> Utf16(std::u16string_view text) {
  std::vector<uint8_t> bytes;
  for (char16_t c : text) {
    bytes.push_back(static_cast<uint8_t>(c & 0xFF));
    bytes.push_back(static_cast<uint8_t>(c >> 8));
  }
  return bytes;
}

std::string Utf16File(std::u16string_view text) {
  const std::vector<uint8_t> bytes = Utf16(text);
  return "\xFF\xFE" + std::string(bytes.begin(), bytes.end());
}

// Valid UTF-8 without overlong forms or surrogates.
bool IsValidUtf8(const std::string& text) {
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<uint8_t>(text[i]);
    const size_t length = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (size_t k = 1; k < length; ++k) {
      if ((static_cast<uint8_t>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    if (length == 3 && b == 0xED && static_cast<uint8_t>(text[i + 1]) >= 0xA0) return false;
    i += length;
  }
  return true;
}

TEST(RegFileParserTest, ReadsKeysAndValuesIgnoringCase) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64]\r\n"
      "\"Corvane_Oam\"=\"/opt/Kestrel/Automation/Corvane OAM\"\r\n"
      "[HKEY_CURRENT_USER\\SOFTWARE\\Kestrel]\r\n"
      "\"Other\"=\"hive\"\r\n");
  const RegistryValue value = Value(hive, "software\\KESTREL\\shared tools\\q9net64", "CORVANE_oam");
  EXPECT_EQ(value.type, RegistryType::kString);
  EXPECT_EQ(value.text, "/opt/Kestrel/Automation/Corvane OAM");
  std::vector<uint8_t> expected = Utf16(u"/opt/Kestrel/Automation/Corvane OAM");
  expected.insert(expected.end(), {0, 0});
  EXPECT_EQ(value.data, expected);
  // Parents exist as keys; the other hive's key does not leak into this one.
  EXPECT_NE(hive.FindKey("Software\\Kestrel\\Shared Tools"), nullptr);
  EXPECT_NE(hive.FindKey(""), nullptr);
  EXPECT_TRUE(hive.FindKey(kKestrel)->empty());
  EXPECT_EQ(hive.FindKey("Software\\Kestrel\\Shared"), nullptr);
}

TEST(RegFileParserTest, RepeatedSectionsMergeAndTheLastValueWins) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel]\n"
      "\"A\"=\"first\"\n\"B\"=\"kept\"\n"
      "[hkey_local_machine\\software\\kestrel]\n"
      "\"a\"=\"second\"\n\"C\"=dword:1\n\"B\"=-\n");
  EXPECT_EQ(Text(hive, kKestrel, "A"), "second");
  EXPECT_EQ(Text(hive, kKestrel, "B"), "<none>");
  EXPECT_EQ(Value(hive, kKestrel, "c").type, RegistryType::kDword);
  EXPECT_EQ(hive.FindKey(kKestrel)->size(), 2u);
}

TEST(RegFileParserTest, DeletingAKeyRemovesItsSubtreeOnly) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\S\\A]\n\"w\"=\"0\"\n"
      "[HKEY_LOCAL_MACHINE\\S\\A\\B]\n\"x\"=\"1\"\n"
      "[HKEY_LOCAL_MACHINE\\S\\AB]\n\"y\"=\"2\"\n"
      "[-HKEY_LOCAL_MACHINE\\s\\a]\n"
      "\"z\"=\"after a deletion\"\n");
  EXPECT_EQ(hive.FindKey("S\\A"), nullptr);
  EXPECT_EQ(hive.FindKey("S\\A\\B"), nullptr);
  EXPECT_EQ(Text(hive, "S\\AB", "y"), "2");
  EXPECT_EQ(hive.FindKey("S\\AB")->size(), 1u);
  EXPECT_EQ(hive.FindKey("S")->size(), 0u);

  const RegistryHive emptied = Parse(
      "[HKEY_LOCAL_MACHINE\\K]\n[-HKEY_LOCAL_MACHINE]\n[HKEY_LOCAL_MACHINE\\L]\n");
  EXPECT_EQ(emptied.FindKey("K"), nullptr);
  EXPECT_NE(emptied.FindKey("L"), nullptr);
}

TEST(RegFileParserTest, KeyLinesThatNameNoLocalMachineKeyDropTheValuesAfterThem) {
  const RegistryHive hive = Parse(
      "\"early\"=\"before any key\"\n"
      "[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n"
      "[ HKEY_LOCAL_MACHINE\\Ignored]\n\"b\"=\"still K\"\n"
      "[HKLM\\K]\n\"c\"=\"short root\"\n"
      "[HKEY_LOCAL_MACHINE\\K\n\"d\"=\"no bracket\"\n"
      "[HKEY_LOCAL_MACHINE\\K\\\\L]\n\"e\"=\"empty component\"\n"
      "[HKEY_LOCAL_MACHINEX\\K]\n\"f\"=\"unknown root\"\n"
      "[HKEY_LOCAL_MACHINE\\K]x]junk\n\"g\"=\"last bracket\"\n");
  EXPECT_EQ(hive.FindKey("K")->size(), 2u);
  EXPECT_EQ(Text(hive, "K", "b"), "still K");
  EXPECT_EQ(Text(hive, "K]x", "g"), "last bracket");
  EXPECT_EQ(hive.FindKey("Ignored"), nullptr);
  EXPECT_EQ(hive.keys.size(), 2u);  // K and K]x
}

TEST(RegFileParserTest, NamesAndStringsFollowTheEditorsQuoting) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\K]\n"
      "@=\"default\"\n"
      "\"\"=\"empty name is the default\"\n"
      "\"q\\\"uote\" \t=  \"a \\\\ b \\\" c \\n\"  ; comment\n"
      "\"plain\"=\"C:\\Temp\"\n"
      "\"unterminated\"=\"text\n"
      "\"junk\"=\"text\" junk\n"
      "\"noquote=\"text\"\n"
      "\"empty\"=\"\"\n");
  EXPECT_EQ(Text(hive, "K", ""), "empty name is the default");
  EXPECT_EQ(Text(hive, "K", "Q\"UOTE"), "a \\ b \" c \\n");
  EXPECT_EQ(Text(hive, "K", "plain"), "C:\\Temp");
  EXPECT_EQ(Value(hive, "K", "empty").data, (std::vector<uint8_t>{0, 0}));
  EXPECT_EQ(hive.FindKey("K")->size(), 4u);
}

TEST(RegFileParserTest, DwordsTakeOneToEightHexDigitsAndLowerCaseTags) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\K]\n"
      "\"level\"=dword:000000C8\n"
      "\"one\"=dword:1 ; one digit\n"
      "\"nine\"=dword:000000001\n"
      "\"upper\"=DWORD:00000001\n"
      "\"empty\"=dword:\n"
      "\"sign\"=dword:-1\n");
  const RegistryValue level = Value(hive, "K", "level");
  EXPECT_EQ(level.type, RegistryType::kDword);
  EXPECT_EQ(level.data, (std::vector<uint8_t>{0xC8, 0, 0, 0}));
  EXPECT_EQ(level.text, "");  // no text for a dword read as a string
  EXPECT_EQ(Value(hive, "K", "one").data, (std::vector<uint8_t>{1, 0, 0, 0}));
  EXPECT_EQ(hive.FindKey("K")->size(), 2u);
}

TEST(RegFileParserTest, ByteListsContinueOverLinesAndKeepTheirType) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\K]\n"
      "\"bin\"=hex:01,ff,\\\n"
      "; a comment inside the list\n"
      "  A,0b\n"
      "\"expand\"=hex(2):25,00,54,00,4d,00,50,00,25,00,00,00\n"
      "\"multi\"=hex(7):61,00,00,00,62,00,63,00,00,00,00,00,64,00,00,00\n"
      "\"qword\"=hex(b):01,00,00,00,00,00,00,00\n"
      "\"odd\"=hex(2):41,00,42\n"
      "\"none\"=hex:\n"
      "\"HEX\"=HEX:01\n"
      "\"bad\"=hex:01 02\n"
      "\"wide\"=hex:100\n"
      "\"broken\"=hex:01,\\\n"
      "\"after\"=\"line after a broken continuation\"\n");
  const RegistryValue bin = Value(hive, "K", "bin");
  EXPECT_EQ(bin.type, RegistryType::kBinary);
  EXPECT_THAT(bin.data, ElementsAre(0x01, 0xFF, 0x0A, 0x0B));
  const RegistryValue expand = Value(hive, "K", "expand");
  EXPECT_EQ(expand.type, RegistryType::kExpandString);
  EXPECT_EQ(expand.text, "%TMP%");
  EXPECT_EQ(expand.data.size(), 12u);
  const RegistryValue multi = Value(hive, "K", "multi");
  EXPECT_EQ(multi.type, RegistryType::kMultiString);
  EXPECT_EQ(multi.text, std::string("a\0bc", 4));  // "d" is past the empty entry
  EXPECT_EQ(Value(hive, "K", "qword").type, RegistryType::kQword);
  EXPECT_EQ(Value(hive, "K", "qword").data.size(), 8u);
  EXPECT_EQ(Text(hive, "K", "odd"), "A");  // the odd byte is no character
  EXPECT_THAT(Value(hive, "K", "odd").data, ElementsAre(0x41, 0, 0x42));
  EXPECT_TRUE(Value(hive, "K", "none").data.empty());
  EXPECT_EQ(Value(hive, "K", "none").type, RegistryType::kBinary);
  EXPECT_EQ(Text(hive, "K", "broken"), "<none>");
  EXPECT_EQ(Text(hive, "K", "after"), "line after a broken continuation");
  EXPECT_EQ(hive.FindKey("K")->size(), 7u);
}

TEST(RegFileParserTest, AContinuationCutOffByTheEndOfTheFileIsDropped) {
  const RegistryHive hive = Parse("[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n\"bin\"=hex:01,02,\\\n  03,\\");
  EXPECT_EQ(Text(hive, "K", "a"), "1");
  EXPECT_EQ(Text(hive, "K", "bin"), "<none>");
}

TEST(RegFileParserTest, Regedit4WritesStringsInByteListsAsEightBitText) {
  const RegistryHive hive = ParseRegFile(
      "  REGEDIT4  \n[HKEY_LOCAL_MACHINE\\K]\n\"p\"=hex(2):25,54,25,00\n"
      "\"m\"=hex(7):61,00,62,00,00\n");
  EXPECT_EQ(Text(hive, "K", "p"), "%T%");
  EXPECT_EQ(Value(hive, "K", "p").data, Utf16(std::u16string(u"%T%\0", 4)));
  EXPECT_EQ(Text(hive, "K", "m"), std::string("a\0b", 3));
}

TEST(RegFileParserTest, OnlyAHeaderOnTheFirstLineMakesARegistryFile) {
  const std::string body = "[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n";
  EXPECT_EQ(Text(ParseRegFile(" \tWindows Registry Editor Version 5.00\n" + body), "K", "a"), "1");
  EXPECT_EQ(Text(ParseRegFile("\xEF\xBB\xBFREGEDIT4\n" + body), "K", "a"), "1");
  EXPECT_TRUE(ParseRegFile(body).keys.empty());
  EXPECT_TRUE(ParseRegFile("\nREGEDIT4\n" + body).keys.empty());
  EXPECT_TRUE(ParseRegFile("REGEDIT5\n" + body).keys.empty());
  EXPECT_TRUE(ParseRegFile("windows registry editor version 5.00\n" + body).keys.empty());
  EXPECT_TRUE(ParseRegFile("").keys.empty());
}

TEST(RegFileParserTest, AnyLineEndWorksAndTheLastLineNeedsNone) {
  const RegistryHive hive = ParseRegFile(
      "REGEDIT4\r[HKEY_LOCAL_MACHINE\\K]\r\n\"a\"=\"1\"\r\r\n\"b\"=hex:01,\\\r02\n\"c\"=\"3\"");
  EXPECT_EQ(Text(hive, "K", "a"), "1");
  EXPECT_THAT(Value(hive, "K", "b").data, ElementsAre(1, 2));
  EXPECT_EQ(Text(hive, "K", "c"), "3");
}

TEST(RegFileParserTest, ReadsUtf16FilesAndConvertsTextBothWays) {
  const RegistryHive wide = ParseRegFile(Utf16File(
      u"Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\K\u00C4]\r\n"
      u"\"Gr\u00FC\u00DF\"=\"\u00E4\U0001F600\"\r\n"));
  EXPECT_EQ(Text(wide, "K\u00C4", "Gr\u00FC\u00DF"), "\u00E4\U0001F600");
  EXPECT_EQ(Value(wide, "K\u00C4", "Gr\u00FC\u00DF").data,
            Utf16(std::u16string(u"\u00E4\U0001F600\0", 4)));

  // Bytes that are no UTF-8 become U+FFFD, in the text and in the data.
  const RegistryHive latin1 = Parse("[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"M\xFC" "ler\"\n");
  EXPECT_EQ(Text(latin1, "K", "a"), "M\uFFFDler");
  EXPECT_EQ(Value(latin1, "K", "a").data, Utf16(std::u16string(u"M\uFFFDler\0", 6)));
}

TEST(RegFileParserTest, ANulByteEndsItsLine) {
  const RegistryHive hive =
      Parse("[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"x\0y\"\n\"b\"=\"ok\"\0junk\n\"c\"=\"3\"\n"s);
  EXPECT_EQ(Text(hive, "K", "a"), "<none>");
  EXPECT_EQ(Text(hive, "K", "b"), "ok");
  EXPECT_EQ(Text(hive, "K", "c"), "3");
}

// Random and mutated files never crash the parser, and whatever it returns
// is well formed. Fixed seeds keep the run deterministic.
TEST(RegFileParserTest, SurvivesRandomAndMutatedInput) {
  const std::string sample = std::string(kHeader) +
                             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel]\r\n"
                             "\"s\"=\"text \\\" \\\\ \u00FC\"\r\n@=dword:0000ffff\r\n"
                             "\"m\"=hex(7):61,00,00,00,\\\r\n  62,00,00,00,00,00\r\n"
                             "\"x\"=hex(2):41,00,42\r\n[-HKEY_LOCAL_MACHINE\\SOFTWARE\\K]\r\n";
  const std::string wide_sample = Utf16File(u"REGEDIT4\r\n[HKEY_LOCAL_MACHINE\\K]\r\n\"a\"=\"b\"\r\n");
  std::mt19937 random(20240917);
  const auto byte = [&random] { return static_cast<char>(random() & 0xFF); };
  size_t values_seen = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string input;
    if (round % 3 == 0) {
      input = std::string(kHeader);
      const size_t length = random() % 200;
      for (size_t i = 0; i < length; ++i) input += byte();
    } else {
      input = round % 3 == 1 ? sample : wide_sample;
      const int edits = 1 + static_cast<int>(random() % 8);
      for (int e = 0; e < edits && !input.empty(); ++e) {
        const size_t at = random() % input.size();
        switch (random() % 3) {
          case 0: input[at] = byte(); break;
          case 1: input.erase(at, 1 + random() % 4); break;
          default: input = input.substr(0, at); break;
        }
      }
    }
    const RegistryHive hive = ParseRegFile(input);
    for (const auto& [path, values] : hive.keys) {
      ASSERT_EQ(path, FoldRegistryName(path));
      for (const auto& [name, value] : values) {
        ++values_seen;
        ASSERT_TRUE(IsValidUtf8(value.text)) << "round " << round;
        if (value.type == RegistryType::kDword) {
          ASSERT_EQ(value.data.size(), 4u);
        }
        if (value.type == RegistryType::kString) {
          ASSERT_GE(value.data.size(), 2u);
          ASSERT_EQ(value.data[value.data.size() - 2] | value.data.back(), 0);
        }
      }
    }
  }
  EXPECT_GT(values_seen, 300u);  // the mutations left most files readable
}

}  // namespace
}  // namespace q9
