#include "platform/posix/reg_file_parser.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/path.h"

namespace q9 {
namespace {

using namespace std::string_literals;

constexpr char kHeader[] = "Windows Registry Editor Version 5.00\r\n\r\n";
constexpr char kKestrel[] = "SOFTWARE\\Kestrel";

std::string Header(const std::string& body) { return kHeader + body; }
RegistryHive Parse(const std::string& body) { return ParseRegFile(Header(body)); }

// The value `name` of `key`, or a value of type kNone when either is missing.
RegistryValue Value(const RegistryHive& hive, std::string_view key, std::string_view name) {
  const RegistryValues* values = hive.FindKey(key);
  if (values == nullptr) return {};
  const auto it = values->find(FoldedAscii(name));
  return it == values->end() ? RegistryValue{} : it->second;
}

// Every value of `key` as "NAME=type:text/data hex;", in name order; string
// values without their data, NULs in texts as '|'.
std::string Dump(const RegistryHive& hive, std::string_view key) {
  const RegistryValues* values = hive.FindKey(key);
  if (values == nullptr) return "<no key>";
  std::string dump;
  for (const auto& [name, value] : *values) {
    std::string text = value.text;
    std::replace(text.begin(), text.end(), '\0', '|');
    dump += name + "=" + std::to_string(static_cast<int>(value.type)) + ":" + text;
    if (value.type != RegistryType::kString) {
      dump += "/";
      for (const uint8_t byte : value.data) {
        dump += "0123456789abcdef"[byte >> 4];
        dump += "0123456789abcdef"[byte & 15];
      }
    }
    dump += ";";
  }
  return dump;
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

TEST(RegFileParserTest, DeletingAKeyRemovesItsSubtreeOnlyAndKeyLinesOfNoLocalMachineKeyDropValues) {
  const RegistryHive hive = Parse(
      "[HKEY_LOCAL_MACHINE\\S\\A]\n\"w\"=\"0\"\n"
      "[HKEY_LOCAL_MACHINE\\S\\A\\B]\n\"x\"=\"1\"\n"
      "[HKEY_LOCAL_MACHINE\\S\\AB]\n\"y\"=\"2\"\n"
      "[-HKEY_LOCAL_MACHINE\\s\\a]\n"
      "\"z\"=\"after a deletion\"\n");
  EXPECT_EQ(hive.FindKey("S\\A"), nullptr);
  EXPECT_EQ(hive.FindKey("S\\A\\B"), nullptr);
  EXPECT_EQ(Dump(hive, "S\\AB"), "Y=1:2;");
  EXPECT_EQ(Dump(hive, "S"), "");

  const RegistryHive emptied = Parse(
      "[HKEY_LOCAL_MACHINE\\K]\n[-HKEY_LOCAL_MACHINE]\n[HKEY_LOCAL_MACHINE\\L]\n");
  EXPECT_EQ(emptied.FindKey("K"), nullptr);
  EXPECT_NE(emptied.FindKey("L"), nullptr);

  // Key lines that name no local-machine key drop the values after them.
  const RegistryHive dropped = Parse(
      "\"early\"=\"before any key\"\n"
      "[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n"
      "[ HKEY_LOCAL_MACHINE\\Ignored]\n\"b\"=\"still K\"\n"
      "[HKLM\\K]\n\"c\"=\"short root\"\n"
      "[HKEY_LOCAL_MACHINE\\K\n\"d\"=\"no bracket\"\n"
      "[HKEY_LOCAL_MACHINE\\K\\\\L]\n\"e\"=\"empty component\"\n"
      "[HKEY_LOCAL_MACHINEX\\K]\n\"f\"=\"unknown root\"\n"
      "[HKEY_LOCAL_MACHINE\\K]x]junk\n\"g\"=\"last bracket\"\n");
  EXPECT_EQ(Dump(dropped, "K"), "A=1:1;B=1:still K;");
  EXPECT_EQ(Dump(dropped, "K]x"), "G=1:last bracket;");
  EXPECT_EQ(dropped.keys.size(), 2u);  // K and K]x
}

// Each file's values of key K, as Dump() shows them.
TEST(RegFileParserTest, ValueLinesFollowTheEditorsSyntax) {
  const std::pair<std::string, std::string> cases[] = {
      // Repeated sections merge; the last value wins; "-" deletes.
      {Header("[HKEY_LOCAL_MACHINE\\K]\n\"A\"=\"first\"\n\"B\"=\"kept\"\n"
              "[hkey_local_machine\\k]\n\"a\"=\"second\"\n\"C\"=dword:1\n\"B\"=-\n"),
       "A=1:second;C=4:/01000000;"},
      // Quoting, escapes only for \\ and \", comments and junk after a value.
      {Header("[HKEY_LOCAL_MACHINE\\K]\n@=\"default\"\n\"\"=\"empty name is the default\"\n"
              "\"q\\\"uote\" \t=  \"a \\\\ b \\\" c \\n\"  ; comment\n\"plain\"=\"C:\\Temp\"\n"
              "\"unterminated\"=\"text\n\"junk\"=\"text\" junk\n\"noquote=\"text\"\n"
              "\"empty\"=\"\"\n"),
       "=1:empty name is the default;EMPTY=1:;PLAIN=1:C:\\Temp;Q\"UOTE=1:a \\ b \" c \\n;"},
      // Dwords: one to eight hex digits, lower-case tag, no sign.
      {Header("[HKEY_LOCAL_MACHINE\\K]\n\"level\"=dword:000000C8\n\"one\"=dword:1 ; one digit\n"
              "\"nine\"=dword:000000001\n\"upper\"=DWORD:00000001\n\"empty\"=dword:\n"
              "\"sign\"=dword:-1\n"),
       "LEVEL=4:/c8000000;ONE=4:/01000000;"},
      // Byte lists continue over lines and comments and keep their type; the
      // multi-string ends at its empty entry, an odd byte is no character.
      {Header("[HKEY_LOCAL_MACHINE\\K]\n\"bin\"=hex:01,ff,\\\n; a comment inside the list\n"
              "  A,0b\n\"expand\"=hex(2):25,00,54,00,4d,00,50,00,25,00,00,00\n"
              "\"multi\"=hex(7):61,00,00,00,62,00,63,00,00,00,00,00,64,00,00,00\n"
              "\"qword\"=hex(b):01,00,00,00,00,00,00,00\n\"odd\"=hex(2):41,00,42\n"
              "\"none\"=hex:\n\"HEX\"=HEX:01\n\"bad\"=hex:01 02\n\"wide\"=hex:100\n"
              "\"broken\"=hex:01,\\\n\"after\"=\"line after a broken continuation\"\n"),
       "AFTER=1:line after a broken continuation;BIN=3:/01ff0a0b;"
       "EXPAND=2:%TMP%/250054004d00500025000000;MULTI=7:a|bc/"
       "61000000620063000000000064000000;NONE=3:/;ODD=2:A/410042;QWORD=11:/0100000000000000;"},
      // A continuation cut off by the end of the file is dropped.
      {Header("[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n\"bin\"=hex:01,02,\\\n  03,\\"), "A=1:1;"},
      // REGEDIT4 writes the strings in byte lists as 8-bit text.
      {"  REGEDIT4  \n[HKEY_LOCAL_MACHINE\\K]\n\"p\"=hex(2):25,54,25,00\n"
       "\"m\"=hex(7):61,00,62,00,00\n",
       "M=7:a|b/61000000620000000000;P=2:%T%/2500540025000000;"},
      // Any line end; the last line needs none.
      {"REGEDIT4\r[HKEY_LOCAL_MACHINE\\K]\r\n\"a\"=\"1\"\r\r\n\"b\"=hex:01,\\\r02\n\"c\"=\"3\"",
       "A=1:1;B=3:/0102;C=1:3;"},
      // A NUL byte ends its line.
      {Header("[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"x\0y\"\n\"b\"=\"ok\"\0junk\n\"c\"=\"3\"\n"s),
       "B=1:ok;C=1:3;"},
      // Only a header on the first line makes a registry file.
      {" \tWindows Registry Editor Version 5.00\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n", "A=1:1;"},
      {"\xEF\xBB\xBFREGEDIT4\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n", "A=1:1;"},
      {"[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n", "<no file>"},
      {"\nREGEDIT4\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n", "<no file>"},
      {"REGEDIT5\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n", "<no file>"},
      {"windows registry editor version 5.00\n[HKEY_LOCAL_MACHINE\\K]\n", "<no file>"},
      {"", "<no file>"},
  };
  for (const auto& [file, expected] : cases) {
    const RegistryHive hive = ParseRegFile(file);
    EXPECT_EQ(hive.keys.empty() ? "<no file>" : Dump(hive, "K"), expected) << file;
  }
}

TEST(RegFileParserTest, ReadsUtf16FilesAndKeepsTextBothWaysWithReplacementsForWhatIsNoText) {
  const RegistryHive wide = ParseRegFile(Utf16File(
      u"Windows Registry Editor Version 5.00\r\n[HKEY_LOCAL_MACHINE\\K\u00C4]\r\n"
      u"\"Gr\u00FC\u00DF\"=\"\u00E4\U0001F600\"\r\n\"lone\"=\"a\xDC00\xD800\"\r\n"));
  EXPECT_EQ(Value(wide, "K\u00C4", "Gr\u00FC\u00DF").text, "\u00E4\U0001F600");
  EXPECT_EQ(Value(wide, "K\u00C4", "Gr\u00FC\u00DF").data,
            Utf16(std::u16string(u"\u00E4\U0001F600\0", 4)));
  // Unpaired surrogates are no text: each becomes U+FFFD.
  EXPECT_EQ(Value(wide, "K\u00C4", "lone").text, "a\uFFFD\uFFFD");
  // So does a byte that is no UTF-8 in an 8-bit file, in the text and the data alike.
  const RegistryValue latin =
      Value(Parse("[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"M\xFC" "ler\"\n"), "K", "a");
  EXPECT_EQ(latin.text, "M\uFFFDler");
  EXPECT_EQ(latin.data, Utf16(std::u16string(u"M\uFFFDler\0", 6)));
}

}  // namespace
}  // namespace q9
