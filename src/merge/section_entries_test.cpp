#include "merge/section_entries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temp_dir.h"

namespace q9 {
namespace {

using ::testing::HasSubstr;
using testing::ReadText;

constexpr char kDevNs[] = "http://www.kestrel.example/Automation/Corvane.Device.Driver/LogDevice";

class SectionEntriesTest : public ::testing::Test {
 protected:
  // A log-device template in a folder whose name selects the log-device namespace.
  std::string Write(const std::string& body) {
    return dir_.WriteFile("LogDevices/t.xml",
                          std::string("<LogDevice xmlns=\"") + kDevNs + "\">" + body + "</LogDevice>");
  }
  std::string Body(const std::string& path) {
    const std::string text = ReadText(path);
    const size_t start = text.find('>', text.find("<LogDevice")) + 1;
    return text.substr(start, text.rfind("</LogDevice>") - start);
  }
  std::string UserInterfaceNames(const std::string& path, int32_t section) {
    std::string listed;
    UserInterfaceEntry entry;
    for (int32_t index = 0;; ++index) {
      const ResultCode result = ReadUserInterfaceEntry(xml_, path, section, index, &entry);
      if (result != PGSP_OK) return listed + "#" + std::to_string(result);
      listed += entry.name + "=" + entry.value + " ";
    }
  }

  XmlContext xml_{Env::Default()};
  testing::TempDir dir_;
};

TEST_F(SectionEntriesTest, ReadersCountEveryChildBeforeTheWantedIndex) {
  const std::string path = Write(
      "<UserInterface><Note/>"
      "<Resource><Name>DescText</Name><Assembly>a</Assembly><Path>p</Path>"
      "<ResourceId>12</ResourceId></Resource>\n"
      "<ParameterAssemblyLink><Name>PropSheet</Name><Function>Show</Function>"
      "</ParameterAssemblyLink></UserInterface>"
      "<UserInterface64/>"
      "<Bindings><Subdevices>"
      "<Subdevice SubdevName=\"A\"><Parameter><Name>x</Name><Value>1</Value></Parameter></Subdevice>"
      "<Subdevice SubdevName=\"B\"><Comment/><ParameterBool><Name>y</Name><Value>true</Value>"
      "</ParameterBool></Subdevice></Subdevices></Bindings>"
      "<Load><RelevantSection>Ndi</RelevantSection></Load><Load><Other>Bindings</Other></Load>");
  // The foreign first child makes index 1 yield the entry of index 0 again.
  EXPECT_EQ(UserInterfaceNames(path, kUserInterfaceSection),
            "DescText=12 DescText=12 PropSheet=Show #259");
  EXPECT_EQ(UserInterfaceNames(path, kUserInterface64Section), "#259");
  EXPECT_EQ(UserInterfaceNames(path, 2), "#259");

  // The counter runs on across subdevices and Load elements.
  std::string listed;
  SubdeviceParameter parameter;
  for (int32_t index = 0; ReadSubdeviceParameter(xml_, path, index, &parameter) == PGSP_OK; ++index) {
    listed += parameter.subdev_name + "/" + parameter.kind + ":" + parameter.name + "=" +
              parameter.value + " ";
  }
  EXPECT_EQ(listed, "A/Parameter:x=1 B/ParameterBool:y=true B/ParameterBool:y=true ");
  std::string text;
  EXPECT_EQ(ReadLoadEntry(xml_, path, 1, &text), PGSP_OK);
  EXPECT_EQ(text, "Bindings");
  EXPECT_EQ(ReadLoadEntry(xml_, path, 2, &text), PGSP_ERR_NO_MORE_ITEMS);
}

TEST_F(SectionEntriesTest, FailuresLeaveTheFileAsItWas) {
  const std::string path = Write("<Bindings/>");
  const std::string before = ReadText(path);
  const std::string bad = "x\x01y";
  UserInterfaceEntry entry;
  std::string text;
  const std::tuple<const char*, ResultCode, ResultCode> cases[] = {
      {"empty path", ReadLoadEntry(xml_, "", 0, &text), PGSP_ERR_INVALID_PARAMETERS},
      {"null output", ReadUserInterfaceEntry(xml_, path, 0, 0, nullptr), PGSP_ERR_INVALID_PARAMETERS},
      {"missing file", ReadUserInterfaceEntry(xml_, dir_.Path("none.xml"), 0, 0, &entry),
       kFileAttributesUnreadable},
      {"malformed file", AddLoadEntry(xml_, dir_.WriteFile("bad.xml", "<Load>"), "x"),
       PGSP_ERR_CANT_LOAD_XML_FILE},
      {"no Load", AddLoadEntry(xml_, path, "Ndi"), kEntryMissing},
      {"no UserInterface", WriteUserInterfaceEntry(xml_, path, 0, "N", "a", "p", {}, "1"),
       kElementNotCreated},
      {"control character", WriteSubdeviceParameter(xml_, path, "S", bad, "v", "Parameter", 1),
       PGSP_ERR_INVALID_PARAMETERS},
      {"kind no element can have", WriteSubdeviceParameter(xml_, path, "S", "n", "v", "a b", 1),
       kElementNotCreated},
  };
  for (const auto& [what, result, expected] : cases) EXPECT_EQ(result, expected) << what;
  EXPECT_EQ(ReadText(path), before);
}

// "<Kind><Name>n</Name><Assembly>a</Assembly><Path>p</Path>[<Last>v</Last>]</Kind>"
std::string Entry(const std::string& kind, const std::string& name, const std::string& assembly,
                  const std::string& path, const std::string& last = "",
                  const std::string& value = "") {
  std::string xml = "<" + kind + "><Name>" + name + "</Name><Assembly>" + assembly +
                    "</Assembly><Path>" + path + "</Path>";
  if (!last.empty()) xml += value.empty() ? "<" + last + "/>" : "<" + last + ">" + value + "</" + last + ">";
  return xml + "</" + kind + ">";
}

TEST_F(SectionEntriesTest, UserInterfaceWriterUpdatesByKindAndNameOrAdds) {
  const std::string link = Entry("ParameterAssemblyLink", "PropSheet", "a", "p", "Function", "F");
  const std::string resource = Entry("Resource", "DescText", "r", "q", "ResourceId", "1");
  struct Case {
    const char* name;
    const char* assembly;
    std::optional<std::string> function;
    std::optional<std::string> resource_id;
    std::string expected;  // the section afterwards
  } cases[] = {
      {"PropSheet", "a2", "G", {},
       Entry("ParameterAssemblyLink", "PropSheet", "a2", "p", "Function", "G") + resource},
      // A Resource keeps the Assembly it has where the new text is empty.
      {"DescText", "", {}, "9", link + Entry("Resource", "DescText", "r", "p", "ResourceId", "9")},
      // Same name, other kind: a new entry, with the Function its name asks for.
      {"PropSheet", "b", {}, "5", link + resource + Entry("Resource", "PropSheet", "b", "p", "Function")},
      {"Diagnosis", "d", "Run", {},
       link + resource + Entry("ParameterAssemblyLink", "Diagnosis", "d", "p", "Function", "Run")},
      {"BaudrateResource", "d", {}, "77",
       link + resource + Entry("Resource", "BaudrateResource", "d", "p", "ResourceId", "77")},
      {"HelpFile", "d", {}, "77", link + resource + Entry("Resource", "HelpFile", "d", "p")},
  };
  for (const Case& c : cases) {
    const std::string path = Write("<UserInterface>" + link + resource + "</UserInterface>");
    EXPECT_EQ(WriteUserInterfaceEntry(xml_, path, kUserInterfaceSection, c.name, c.assembly, "p",
                                      c.function, c.resource_id),
              PGSP_OK);
    EXPECT_EQ(Body(path), "<UserInterface>" + c.expected + "</UserInterface>") << c.name;
  }
  // Nothing to change: the file is not written, so even its layout stays.
  const std::string path = Write("<UserInterface>\n" + link + "</UserInterface>");
  const std::string before = ReadText(path);
  EXPECT_EQ(WriteUserInterfaceEntry(xml_, path, 0, "PropSheet", "a", "p", "F", {}), PGSP_OK);
  EXPECT_EQ(ReadText(path), before);
}

TEST_F(SectionEntriesTest, SubdeviceWriterAndLoadAdderAppendAndCreateWhatIsMissing) {
  const std::string path = Write("<Bindings><Parameter><Name>b</Name><Value>1</Value></Parameter></Bindings>");
  // Missing Subdevices and Subdevice are created whatever the flag.
  EXPECT_EQ(WriteSubdeviceParameter(xml_, dir_.Path("LogDevices/t"), "PNIO", "L4DRIVER",
                                    "q9opnio64x.dll", "Parameter", 0),
            PGSP_OK);
  const std::string created =
      "<Bindings><Parameter><Name>b</Name><Value>1</Value></Parameter><Subdevices>"
      "<Subdevice SubdevName=\"PNIO\"><Parameter><Name>L4DRIVER</Name>"
      "<Value>q9opnio64x.dll</Value></Parameter></Subdevice></Subdevices></Bindings>";
  EXPECT_EQ(Body(path), created);
  // Flag 0 and the subdevice there: nothing is written, and that is success.
  EXPECT_EQ(WriteSubdeviceParameter(xml_, path, "PNIO", "X", "1", "Parameter", 0), PGSP_OK);
  EXPECT_EQ(Body(path), created);
  // Every write with flag 1 appends, even under a name that is there.
  EXPECT_EQ(WriteSubdeviceParameter(xml_, path, "PNIO", "L4DRIVER", "new.dll", "ParameterInt", 1),
            PGSP_OK);
  EXPECT_THAT(Body(path), HasSubstr("<Value>q9opnio64x.dll</Value></Parameter><ParameterInt>"
                                    "<Name>L4DRIVER</Name><Value>new.dll</Value></ParameterInt>"));

  // The Load adder appends even what is there.
  const std::string load = Write("<Load>\n  <RelevantSection>Ndi</RelevantSection>\n</Load>");
  EXPECT_EQ(AddLoadEntry(xml_, load, "Ndi"), PGSP_OK);
  EXPECT_EQ(AddLoadEntry(xml_, load, "a & b"), PGSP_OK);
  EXPECT_EQ(Body(load),
            "<Load>\n  <RelevantSection>Ndi</RelevantSection>\n  <RelevantSection>Ndi"
            "</RelevantSection>\n  <RelevantSection>a &amp; b</RelevantSection>\n</Load>");
}

TEST_F(SectionEntriesTest, NewElementsTakeTheNamespaceThePathNames) {
  // "Boards" is tested before "LogDevices", and that before "Protocols"; a
  // path naming none keeps the section's namespace.
  const std::pair<const char*, std::string> cases[] = {
      {"Protocols/LogDevices/t.xml", "<RelevantSection>"},
      {"Boards/LogDevices/t.xml",
       "<RelevantSection xmlns=\"http://www.kestrel.example/Automation/Corvane.Device.Driver/Boards\">"},
      {"t.xml", "<RelevantSection>"},
  };
  for (const auto& [file, expected] : cases) {
    const std::string path = dir_.WriteFile(
        file, std::string("<LogDevice xmlns=\"") + kDevNs + "\"><Load/></LogDevice>");
    EXPECT_EQ(AddLoadEntry(xml_, path, "Ndi"), PGSP_OK);
    EXPECT_THAT(ReadText(path), HasSubstr("<Load>" + expected + "Ndi</RelevantSection></Load>"));
  }
}

}  // namespace
}  // namespace q9
