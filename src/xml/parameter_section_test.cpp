#include "xml/parameter_section.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "temp_dir.h"
#include "xml/template_namespace.h"
#include "xml/template_version.h"
#include "trace_capture.h"

namespace q9 {
namespace {

using testing::ReadText;

constexpr char kXml[] = "q9xmlHelper";
constexpr int32_t kBindings = static_cast<int32_t>(ParameterSection::kBindings);
constexpr int32_t kNdi = static_cast<int32_t>(ParameterSection::kNdi);
constexpr int32_t kSpare = static_cast<int32_t>(ParameterSection::kSpareSection);

class ParameterSectionTest : public ::testing::Test {
 protected:
  // Every entry of a section as "kind:name=value", enumerated until a
  // non-zero result, which is appended as "#code".
  std::string Enumerate(const std::string& path, int32_t section) {
    std::string listed;
    for (int32_t index = 0;; ++index) {
      std::string name, value, kind;
      const ResultCode result =
          GetSectionParameter(xml_, path, section, index, &name, &value, &kind);
      if (result != PGSP_OK) return listed + "#" + std::to_string(result);
      listed += kind + ":" + name + "=" + value + " ";
    }
  }
  XmlContext xml_{Env::Default()};
  testing::TempDir dir_;
  testing::TraceCapture trace_;
};

TEST_F(ParameterSectionTest, EnumeratesEverySectionElementOfTheNameOrFails) {
  const std::string path = dir_.WriteFile(
      "t.xml",
      "<Dev>\n"
      "  <Bindings><Parameter><Name>A</Name><Value>1</Value></Parameter>\n"
      "    <Subdevices/><NDI><Parameter><Name>E</Name><Value>5</Value></Parameter></NDI>\n"
      "    <ParameterInt><Name>B</Name><Value>x</Value><Value>2</Value></ParameterInt>"
      "<parameter><Name>skipped</Name></parameter></Bindings>\n"
      "  <Group><bindings><ParameterBool><Name>C</Name></ParameterBool>"
      "<Parameter><Value>4</Value><Name>D</Name></Parameter></bindings></Group>\n"
      "</Dev>\n");
  EXPECT_EQ(Enumerate(dir_.Path("t"), kBindings),
            "Parameter:A=1 ParameterInt:B=2 ParameterBool:C= Parameter:D=4 #259");
  TemplateDocument held;
  ASSERT_EQ(TemplateDocument::Load(xml_, path, &held), PGSP_OK);
  const auto listed = [](const std::vector<ParameterEntry>& entries) {
    std::string text;
    for (const ParameterEntry& e : entries) text += e.kind + ":" + e.name + "=" + e.value + " ";
    return text;
  };
  EXPECT_EQ(listed(SectionParameters(held, kBindings)),
            "Parameter:A=1 ParameterInt:B=2 ParameterBool:C= Parameter:D=4 ");
  EXPECT_TRUE(SectionParameters(held, 8).empty());
  // One walk over all sections, a section inside another included, gives
  // what each section's own walk gives.
  const AllSections all = AllSectionParameters(held);
  EXPECT_EQ(listed(all[kNdi]), "Parameter:E=5 ");
  for (int32_t section = 0; section < 8; ++section) {
    EXPECT_EQ(listed(all[section]), listed(SectionParameters(held, section))) << section;
  }
  EXPECT_EQ(Enumerate(path, kSpare), "#259");
  EXPECT_EQ(Enumerate(path, 8), "#259");

  std::string value, kind;
  EXPECT_EQ(Enumerate("", kSpare), "#87");
  EXPECT_EQ(GetSectionParameter(xml_, dir_.WriteFile("t.xml", "<Dev/>"), kSpare, 0, nullptr, &value,
                                &kind),
            PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(Enumerate(dir_.Path("missing.xml"), kSpare), "#8503");
  EXPECT_EQ(Enumerate(dir_.WriteFile("bad.xml", "<Dev>"), kSpare), "#8508");
  const std::string big = dir_.WriteFile("big.xml", "<Dev/>");
  std::filesystem::resize_file(big, 10'000'001);
  EXPECT_EQ(Enumerate(big, kSpare), "#8508");
}

TEST_F(ParameterSectionTest, TypeRulesAndForbiddenNameCharactersRejectBeforeTheFileIsRead) {
  const std::string original = "<Dev><SpareSection/></Dev>";
  const std::string path = dir_.WriteFile("t.xml", original);
  std::vector<std::tuple<std::string, std::string, std::string>> rejected = {
      {"Flag", "yes", "bool"},   {"N", "12a", "int"},          {"N", "", "int"},
      {"N", "7 ", "int"},        {"two words", "v", "string"}, {"N", "a<b", "string"},
      {"N", "a>b", ""},          {"N", "v", "no element"},     {"N", "v", "xmlns:Custom"},
      {"a\x01b", "v", "string"}, {"N", "\v42", "int"},          {"N", "\xC0\xBC", ""},
      {"N", "a\xE2\x82", ""},    {"N", "\xED\xA0\x80", ""},    {"N", "\xEF\xBF\xBE", "x"},
  };
  // Every forbidden character, anywhere in the name.
  for (const std::string c : {" ", "[", "]", "^", "!", "\"", "\xC2\xA7", "$", "%", "&", "(", ")",
                              "=", "?", "\xC2\xB4", "'", "#", "+", ">", "<", "*", "|", ";", ","}) {
    for (const std::string& name : {c + "ab", "a" + c + "b", "ab" + c}) {
      rejected.emplace_back(name, "v", "");
    }
  }
  for (const auto& [name, value, type] : rejected) {
    // Checked before any file is touched: a missing file changes nothing.
    const std::vector<ResultCode> results = {
        Q9XMLSetValue(xml_, path, "", name, value, type),
        SetSectionParameter(xml_, path, kSpare, name, value, type),
        Q9XMLSetValue(xml_, dir_.Path("missing.xml"), "", name, value, type)};
    EXPECT_EQ(results, std::vector<ResultCode>(3, PGSP_ERR_INVALID_PARAMETERS))
        << name << " " << value << " " << type;
  }
  EXPECT_EQ(ReadText(path), original);

  const std::tuple<const char*, const char*, const char*, const char*> accepted[] = {
      {"any name (int)", " -42", "int", "ParameterInt= -42"},
      {"N", "+7", "int", "ParameterInt=+7"},
      {"a_b-c.d/e:\xC3\xA4", "x & y", "", "Parameter=x & y"},
      {"n", "<x>", "Other", "Other=<x>"},
  };
  for (const auto& [name, value, type, expected] : accepted) {
    std::string element, stored;
    EXPECT_EQ(CheckParameterValue(name, type, value, &element, &stored), PGSP_OK) << name;
    EXPECT_EQ(element + "=" + stored, expected);
  }
}

TEST_F(ParameterSectionTest, SetValueUpdatesIgnoringNameCaseOrCreatesInTheSectionNamespace) {
  const std::string dev = NamespaceForPrefix("dev");
  const std::string path = dir_.WriteFile(
      "t.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Dev xmlns=\"" + dev +
                   "\">\n"
                   "  <Ndi>\n    <Parameter><Name>A</Name><Value>1</Value></Parameter>\n"
                   "    <ParameterBool><Name>Hidden</Name><Value>false</Value></ParameterBool>\n"
                   "    <ParameterBool><Name>Shown</Name><Value>true</Value></ParameterBool>\n"
                   "  </Ndi>\n  <Updates>\n  </Updates>\n</Dev>\n");
  EXPECT_EQ(Q9XMLSetValue(xml_, dir_.Path("t"), "Ndi", "hidden", "TRUE", "bool"), PGSP_OK);
  EXPECT_EQ(SetSectionParameter(xml_, path, kNdi, "SHOWN", "false", "bool"), PGSP_OK);
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "Ndi", "static_logdevice", "True", "bool"), PGSP_OK);
  EXPECT_TRUE(trace_.Has(kXml, "Q9XMLSetValue: ", 64, "Parameter was not found .. Create it!"));
  EXPECT_TRUE(trace_.Has(kXml, "Q9XMLSetValue: ", 128, "<< PGSP_OK"));
  // A parameter of another kind with the same name is a different parameter.
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "Ndi", "A", "x & y", ""), PGSP_OK);
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "Ndi", "A", "5", "int"), PGSP_OK);
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "Updates", "When", "now", "string"), PGSP_OK);
  // A prefixed type is matched again by prefix and local name.
  for (const char* value : {"1", "2"}) {
    EXPECT_EQ(SetSectionParameter(xml_, path, kNdi, "C", value, "a:Custom"), PGSP_OK);
  }
  EXPECT_EQ(
      ReadText(path),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Dev xmlns=\"" + dev +
          "\">\n"
          "  <Ndi>\n    <Parameter><Name>A</Name><Value>x &amp; y</Value></Parameter>\n"
          "    <ParameterBool><Name>Hidden</Name><Value>true</Value></ParameterBool>\n"
          "    <ParameterBool><Name>Shown</Name><Value>false</Value></ParameterBool>\n"
          "    <ParameterBool><Name>static_logdevice</Name><Value>true</Value></ParameterBool>\n"
          "    <ParameterInt><Name>A</Name><Value>5</Value></ParameterInt>\n"
          "    <a:Custom xmlns:a=\"" +
          dev + "\"><a:Name>C</a:Name><a:Value>2</a:Value></a:Custom>\n"
          "  </Ndi>\n"
          "  <Updates>\n  <Parameter xmlns=\"" +
          NamespaceForPrefix("pgsp") +
          "\">"
          "<Name>When</Name><Value>now</Value></Parameter></Updates>\n</Dev>\n");
  EXPECT_TRUE(testing::LeftoverTemporaryFiles(dir_.path()).empty());
}

TEST_F(ParameterSectionTest, SetValueFailuresLeaveTheFileAlone) {
  const std::string original =
      "<Dev><ndi><Parameter><Name>A</Name><Value>0</Value></Parameter></ndi><SpareSection/></Dev>";
  const std::string path = dir_.WriteFile("t.xml", original);
  // Unlike the readers, the writers match the section name with its case; no
  // section is created.
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "Ndi", "A", "1", ""), kEntryMissing);
  EXPECT_EQ(SetSectionParameter(xml_, path, kNdi, "A", "1", ""), kEntryMissing);
  EXPECT_EQ(SetSectionParameter(xml_, path, kBindings, "A", "1", ""), kEntryMissing);
  EXPECT_EQ(SetSectionParameter(xml_, path, 8, "A", "1", ""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(Q9XMLSetValue(xml_, "", "", "A", "1", ""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "", "", "1", ""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadText(path), original);
  EXPECT_EQ(Q9XMLSetValue(xml_, dir_.Path("missing"), "", "A", "1", ""), kFileAttributesUnreadable);
  const std::string bad = dir_.WriteFile("bad.xml", "<Dev><SpareSection></Dev>");
  EXPECT_EQ(Q9XMLSetValue(xml_, bad, "", "A", "1", ""), PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_TRUE(trace_.Has(kXml, "Q9XMLSetValue: ", 8, "<< Return PGSP_ERR_CANT_LOAD_XML_FILE"));
  EXPECT_EQ(SetSectionParameter(xml_, bad, kSpare, "A", "1", ""), PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(ReadText(bad), "<Dev><SpareSection></Dev>");

  // A failed save is not reported, and leaves the file as it was.
  std::filesystem::permissions(path, std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::remove);
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "", "A", "1", ""), PGSP_OK);  // "" is SpareSection
  EXPECT_EQ(ReadText(path), original);
  EXPECT_TRUE(testing::LeftoverTemporaryFiles(dir_.path()).empty());
}

TEST_F(ParameterSectionTest, DeleteRemovesTheFirstMatchWithItsLine) {
  const std::string head =
      "<Dev>\n  <ndi>\n    <Parameter><Name>Keep</Name><Value>1</Value></Parameter>\n";
  const std::string tail = "  </ndi>\n  <Ndi>\n    <Parameter><Name>hidden</Name><Value>2</Value>"
                           "</Parameter>\n  </Ndi>\n</Dev>\n";
  const std::string hidden =
      "    <parameterbool><Name>HIDDEN</Name><Value>true</Value></parameterbool>\n";
  const std::string path = dir_.WriteFile("t.xml", head + hidden + tail);
  EXPECT_EQ(DeleteSectionParameter(xml_, dir_.Path("t"), kNdi, "Hidden"), PGSP_OK);
  EXPECT_EQ(ReadText(path), head + tail);
  EXPECT_EQ(DeleteSectionParameter(xml_, path, kNdi, "hidden"), PGSP_OK);
  const std::string remaining = ReadText(path);
  EXPECT_EQ(DeleteSectionParameter(xml_, path, kNdi, "hidden"), kEntryMissing);
  EXPECT_EQ(DeleteSectionParameter(xml_, path, kBindings, "Keep"), kEntryMissing);
  EXPECT_EQ(ReadText(path), remaining);
  EXPECT_EQ(DeleteSectionParameter(xml_, path, 8, "Keep"), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(DeleteSectionParameter(xml_, path, kNdi, ""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(DeleteSectionParameter(xml_, dir_.Path("missing.xml"), kNdi, "Keep"),
            PGSP_ERR_CANT_LOAD_XML_FILE);
}

TEST_F(ParameterSectionTest, HeldDocumentsAreMarkedModifiedOnlyByAChange) {
  const std::string path = dir_.WriteFile(
      "t.xml",
      "<Dev MajorVersion=\"1\" MinorVersion=\"2\"><Ndi><ParameterBool><Name>Hidden</Name>"
      "<Value>false</Value></ParameterBool><Empty></Empty></Ndi></Dev>");
  const std::string original = ReadText(path);
  using Change = std::function<ResultCode(TemplateDocument&)>;
  const std::tuple<const char*, Change, ResultCode, bool> cases[] = {
      {"same value", [](auto& d) { return Q9XMLSetValue(d, "Ndi", "hidden", "FALSE", "bool"); },
       PGSP_OK, false},
      {"new value", [](auto& d) { return Q9XMLSetValue(d, "Ndi", "hidden", "true", "bool"); },
       PGSP_OK, true},
      {"created", [](auto& d) { return SetSectionParameter(d, kNdi, "New", "1", "int"); }, PGSP_OK,
       true},
      {"no section", [](auto& d) { return SetSectionParameter(d, kBindings, "A", "1", ""); },
       kEntryMissing, false},
      {"bad value", [](auto& d) { return Q9XMLSetValue(d, "Ndi", "hidden", "yes", "bool"); },
       PGSP_ERR_INVALID_PARAMETERS, false},
      {"deleted", [](auto& d) { return DeleteSectionParameter(d, kNdi, "hidden"); }, PGSP_OK, true},
      {"none to delete", [](auto& d) { return DeleteSectionParameter(d, kNdi, "gone"); },
       kEntryMissing, false},
      {"same version", [](auto& d) { return SetTemplateVersion(d, "1", "2"); }, PGSP_OK, false},
      {"new version", [](auto& d) { return SetTemplateVersion(d, "1", "3"); }, PGSP_OK, true},
  };
  for (const auto& [what, change, result, modified] : cases) {
    TemplateDocument document;
    ASSERT_EQ(TemplateDocument::Load(xml_, path, &document), PGSP_OK);
    EXPECT_EQ(change(document), result) << what;
    EXPECT_EQ(document.modified(), modified) << what;
  }
  // The file operations save only a modified document: a save would have
  // written "<Empty/>".
  EXPECT_EQ(Q9XMLSetValue(xml_, path, "Ndi", "hidden", "false", "bool"), PGSP_OK);
  EXPECT_EQ(SetTemplateVersion(xml_, path, "1", "2"), PGSP_OK);
  EXPECT_EQ(ReadText(path), original);
}

}  // namespace
}  // namespace q9
