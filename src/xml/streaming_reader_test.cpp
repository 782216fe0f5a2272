#include "xml/streaming_reader.h"

#include <gtest/gtest.h>

#include "temp_dir.h"

namespace q9 {
namespace {

class StreamingReaderTest : public ::testing::Test {
 protected:
  // ReadParameterValue / ReadRootAttribute on a file holding `xml`; the
  // value, or "<code>" on failure (checking that the output was cleared).
  std::string Lookup(const std::string& xml, const std::string& section, const std::string& name) {
    std::string value = "stale";
    return Outcome(ReadParameterValue(xml_, dir_.WriteFile("t.xml", xml), section, name, &value),
                   value);
  }
  std::string Root(const std::string& xml, const std::string& attribute) {
    std::string value = "stale";
    return Outcome(ReadRootAttribute(xml_, dir_.WriteFile("t.xml", xml), attribute, &value), value);
  }
  static std::string Outcome(ResultCode result, const std::string& value) {
    if (result == PGSP_OK) return value;
    return "<" + std::to_string(result) + (value.empty() ? ">" : " not cleared>");
  }
  XmlContext xml_{Env::Default()};
  testing::TempDir dir_;
};

TEST_F(StreamingReaderTest, RootAttributeOfTheFirstElement) {
  EXPECT_EQ(Root("<?xml version=\"1.0\"?>\n<!-- c --><?pi x?>\n<Dev DeviceID=\"7\" CP_TYPE=\"H1\">"
                 "<Inner DeviceID=\"8\"/></Dev>",
                 "CP_TYPE"),
            "H1");
  EXPECT_EQ(Root("<Dev DeviceID=\"7\"><Inner CP_TYPE=\"H1\"/></Dev>", "CP_TYPE"), "<8513>");
  EXPECT_EQ(Root("<Dev DeviceID=\"7\"/>", "deviceid"), "<8513>");  // exact case
  for (const char* no_element : {"", "<!-- only a comment -->", "<<Dev DeviceID=\"7\"/>",
                                 "<!DOCTYPE Dev><Dev DeviceID=\"7\"/>"}) {
    EXPECT_EQ(Root(no_element, "DeviceID"), "<8513>") << no_element;
  }
  // The walk stops at the root: what follows it is never parsed.
  EXPECT_EQ(Root("<Dev DeviceID=\"7\">" + std::string(9000, ' ') + "<<<", "DeviceID"), "7");

  std::string value;
  dir_.WriteFile("named.xml", "<Dev Name=\"S7\"/>");
  EXPECT_EQ(ReadRootAttribute(xml_, dir_.Path("named"), "Name", &value), PGSP_OK);  // named.xml
  EXPECT_EQ(value, "S7");
  EXPECT_EQ(ReadRootAttribute(xml_, dir_.Path("missing.xml"), "Name", &value),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(ReadRootAttribute(xml_, dir_.MakeDir("dir.xml"), "Name", &value),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(ReadRootAttribute(xml_, "", "Name", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadRootAttribute(xml_, dir_.Path("named"), "", &value), kStreamValueNotFound);
  EXPECT_EQ(ReadRootAttribute(xml_, dir_.Path("named"), "Name", nullptr),
            PGSP_ERR_INVALID_PARAMETERS);
}

TEST_F(StreamingReaderTest, ParameterBySectionAndNameInAnyDocumentShape) {
  const std::string xml =
      "<Dev xmlns=\"urn:x\">\n"
      "  <Ndi><ParameterBool><Name>hidden</Name><Value>true</Value></ParameterBool></Ndi>\n"
      "  <DeviceHeader>\n    <Parameter><Name>Other</Name><Value>1</Value></Parameter>"
      "<ParameterInt><Name>DeviceName</Name><Value>CP 1623</Value></ParameterInt>\n"
      "  </DeviceHeader>\n"
      "  <SpareSection><Parameter><Name>B</Name><Value>spare</Value></Parameter></SpareSection>\n"
      "</Dev>\n";
  EXPECT_EQ(Lookup(xml, "DeviceHeader", "DEVICENAME"), "CP 1623");
  EXPECT_EQ(Lookup(xml, "deviceheader", "DeviceName"), "<8513>");
  EXPECT_EQ(Lookup(xml, "Ndi", "hidden"), "true");
  EXPECT_EQ(Lookup(xml, "Ndi", "DeviceName"), "<8513>");
  EXPECT_EQ(Lookup(xml, "", "B"), "spare");  // "" is SpareSection
  EXPECT_EQ(Lookup(xml, "", "hidden"), "<8513>");
  // A parameter without a value is passed over; the first Value child counts.
  const std::string valueless =
      "<Dev><Ndi><Parameter><Name>A</Name></Parameter>"
      "<Parameter><Name>A</Name><Value>second</Value><Value>third</Value></Parameter></Ndi></Dev>";
  EXPECT_EQ(Lookup(valueless, "Ndi", "A"), "second");
  EXPECT_EQ(Lookup("<Dev><Ndi><Parameter><Name>A</Name></Parameter></Ndi></Dev>", "Ndi", "A"),
            "<8513>");

  // Document shapes that trip a pull reader: empty elements, a later section
  // of the same name, Value before Name, split text, prefixed names, a nested
  // Name, a foreign parameter kind.
  const std::string shapes =
      "<d:Dev xmlns:d=\"urn:d\"><d:SpareSection/>"
      "<d:SpareSection><d:Parameter/><d:Parameter><d:Group><d:Name>X</d:Name></d:Group>"
      "<d:Value>nested</d:Value></d:Parameter>"
      "<d:ParameterString><d:Name>X</d:Name><d:Value>kind</d:Value></d:ParameterString>"
      "</d:SpareSection><d:SpareSection>"
      "<d:Parameter><d:Value>a<!-- c -->b<![CDATA[<c>]]></d:Value><d:Name>x</d:Name></d:Parameter>"
      "<d:Parameter><d:Name>Empty</d:Name><d:Value/></d:Parameter></d:SpareSection>"
      "</d:Dev>";
  EXPECT_EQ(Lookup(shapes, "SpareSection", "X"), "ab<c>");
  EXPECT_EQ(Lookup(shapes, "SpareSection", "Empty"), "");
}

TEST_F(StreamingReaderTest, StopsAtTheFirstMatchAndDamageAfterItLosesNothing) {
  const std::string head =
      "<Dev><SpareSection><Parameter><Name>A</Name><Value>first</Value></Parameter></SpareSection>"
      "<SpareSection><Parameter><Name>A</Name><Value>second</Value></Parameter></SpareSection>";
  EXPECT_EQ(Lookup(head + "</Dev>", "", "A"), "first");
  // Text after the hit is never parsed; a miss runs into it and fails.
  const std::string tail = std::string(9000, ' ') + "<<< not xml";
  EXPECT_EQ(Lookup(head + tail, "", "A"), "first");
  EXPECT_EQ(Lookup(head + tail, "", "B"), "<8513>");
  // Damage after the value loses nothing wherever the pieces end: the reader
  // parses 512-byte pieces whole; the padding moves the damage across them.
  const std::string hit = "<Dev><Ndi><Parameter><Name>hidden</Name><Value>v</Value></Parameter>";
  for (size_t padding = 0; padding <= 600; ++padding) {
    const std::string blanks(padding, ' ');
    EXPECT_EQ(Root("<Dev DeviceID=\"7\">" + blanks + "</x>", "DeviceID"), "7") << padding;
    EXPECT_EQ(Lookup(hit + blanks + "</x>", "Ndi", "hidden"), "v") << padding;
  }
}

TEST_F(StreamingReaderTest, HostileFilesAndBadArguments) {
  const auto section = [](const char* value) {
    return "<SpareSection><Parameter><Name>A</Name><Value>" + std::string(value) +
           "</Value></Parameter></SpareSection>";
  };
  const std::string spare = section("v");
  const std::string secret = dir_.WriteFile("secret.txt", "TOP-SECRET-CONTENT");
  const std::string entity = "<!DOCTYPE Dev [<!ENTITY x SYSTEM \"file://" + secret + "\">]>";
  EXPECT_EQ(Lookup(entity + "<Dev>" + section("&x;") + "</Dev>", "", "A"), "<8513>");
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<e>";
  EXPECT_EQ(Lookup("<Dev>" + deep + spare, "", "A"), "<8513>");
  EXPECT_EQ(Lookup("<Dev>\xE4\xF6" + spare + "</Dev>", "", "A"), "<8513>");
  EXPECT_EQ(Lookup("\xEF\xBB\xBF<Dev>" + spare + "</Dev>", "", "A"), "v");
  EXPECT_EQ(Lookup("", "", "A"), "<8513>");

  std::string value;
  EXPECT_EQ(ReadParameterValue(xml_, "", "", "A", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadParameterValue(xml_, secret, "", "", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadParameterValue(xml_, secret, "", "A", nullptr), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadParameterValue(xml_, dir_.Path("missing"), "", "A", &value),
            PGSP_ERR_CANT_LOAD_XML_FILE);
}

}  // namespace
}  // namespace q9
