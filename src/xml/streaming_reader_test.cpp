#include "xml/streaming_reader.h"

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "xml/xml_test_support.h"

namespace q9 {
namespace {

using testing::TempDir;

class StreamingReaderTest : public ::testing::Test {
 protected:
  // ReadParameterValue on a file holding `xml`; "<code>" on failure.
  std::string Lookup(const std::string& xml, const std::string& section, const std::string& name) {
    const std::string path = dir_.WriteFile("t.xml", xml);
    std::string value = "stale";
    const ResultCode result = ReadParameterValue(env_, path, section, name, &value);
    if (result != PGSP_OK) {
      EXPECT_EQ(value, "") << "output not cleared";
      return "<" + std::to_string(result) + ">";
    }
    return value;
  }
  std::string Root(const std::string& xml, const std::string& attribute) {
    const std::string path = dir_.WriteFile("t.xml", xml);
    std::string value = "stale";
    const ResultCode result = ReadRootAttribute(env_, path, attribute, &value);
    if (result != PGSP_OK) {
      EXPECT_EQ(value, "") << "output not cleared";
      return "<" + std::to_string(result) + ">";
    }
    return value;
  }
  Env& env_ = Env::Default();
  TempDir dir_;
};

TEST_F(StreamingReaderTest, RootAttributeOfTheFirstElement) {
  EXPECT_EQ(Root("<?xml version=\"1.0\"?>\n<!-- c --><?pi x?>\n<Dev DeviceID=\"7\" CP_TYPE=\"H1\">"
                 "<Inner DeviceID=\"8\"/></Dev>",
                 "CP_TYPE"),
            "H1");
  EXPECT_EQ(Root("<Dev DeviceID=\"7\"><Inner CP_TYPE=\"H1\"/></Dev>", "CP_TYPE"), "<8513>");
  EXPECT_EQ(Root("<Dev DeviceID=\"7\"/>", "deviceid"), "<8513>");  // exact case
  EXPECT_EQ(Root("", "DeviceID"), "<8513>");
  EXPECT_EQ(Root("<!-- only a comment -->", "DeviceID"), "<8513>");
  EXPECT_EQ(Root("<<Dev DeviceID=\"7\"/>", "DeviceID"), "<8513>");
  EXPECT_EQ(Root("<!DOCTYPE Dev><Dev DeviceID=\"7\"/>", "DeviceID"), "<8513>");
  // The walk stops at the root: what follows it is never parsed.
  EXPECT_EQ(Root("<Dev DeviceID=\"7\">" + std::string(2000, ' ') + "<<<", "DeviceID"), "7");

  std::string value;
  dir_.WriteFile("named.xml", "<Dev Name=\"S7\"/>");
  EXPECT_EQ(ReadRootAttribute(env_, dir_.Path("named"), "Name", &value), PGSP_OK);
  EXPECT_EQ(value, "S7");
  EXPECT_EQ(ReadRootAttribute(env_, dir_.Path("missing.xml"), "Name", &value),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(ReadRootAttribute(env_, dir_.MakeDir("dir.xml"), "Name", &value),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(ReadRootAttribute(env_, "", "Name", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadRootAttribute(env_, dir_.Path("named"), "", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadRootAttribute(env_, dir_.Path("named"), "Name", nullptr),
            PGSP_ERR_INVALID_PARAMETERS);
}

TEST_F(StreamingReaderTest, ParameterBySectionAndName) {
  const std::string xml =
      "<Dev xmlns=\"urn:x\">\n"
      "  <Ndi><ParameterBool><Name>hidden</Name><Value>true</Value></ParameterBool></Ndi>\n"
      "  <DeviceHeader>\n"
      "    <Parameter><Name>Other</Name><Value>1</Value></Parameter>"
      "<ParameterInt><Name>DeviceName</Name><Value>CP 1623</Value></ParameterInt>\n"
      "  </DeviceHeader>\n"
      "</Dev>\n";
  EXPECT_EQ(Lookup(xml, "DeviceHeader", "DeviceName"), "CP 1623");
  EXPECT_EQ(Lookup(xml, "DeviceHeader", "DEVICENAME"), "CP 1623");
  EXPECT_EQ(Lookup(xml, "deviceheader", "DeviceName"), "<8513>");
  EXPECT_EQ(Lookup(xml, "Ndi", "hidden"), "true");
  EXPECT_EQ(Lookup(xml, "Ndi", "DeviceName"), "<8513>");
}

TEST_F(StreamingReaderTest, EmptySectionNameMeansSpareSection) {
  const std::string xml =
      "<Dev><LocalSettings><Parameter><Name>A</Name><Value>local</Value></Parameter></LocalSettings>"
      "<SpareSection><Parameter><Name>B</Name><Value>spare</Value></Parameter></SpareSection></Dev>";
  EXPECT_EQ(Lookup(xml, "", "B"), "spare");
  EXPECT_EQ(Lookup(xml, "", "A"), "<8513>");
}

TEST_F(StreamingReaderTest, DocumentShapesThatTripAPullReader) {
  // Empty elements, a later section of the same name, Value before Name,
  // split text, prefixed names, a nested Name that does not count.
  const std::string xml =
      "<d:Dev xmlns:d=\"urn:d\"><d:SpareSection/>"
      "<d:SpareSection><d:Parameter/><d:Parameter><d:Group><d:Name>X</d:Name></d:Group>"
      "<d:Value>nested</d:Value></d:Parameter>"
      "<d:ParameterString><d:Name>X</d:Name><d:Value>kind</d:Value></d:ParameterString></d:SpareSection>"
      "<d:SpareSection><d:Parameter><d:Value>a<!-- c -->b<![CDATA[<c>]]></d:Value><d:Name>x</d:Name>"
      "</d:Parameter><d:Parameter><d:Name>Empty</d:Name><d:Value/></d:Parameter></d:SpareSection>"
      "</d:Dev>";
  EXPECT_EQ(Lookup(xml, "SpareSection", "X"), "ab<c>");
  EXPECT_EQ(Lookup(xml, "SpareSection", "Empty"), "");
}

TEST_F(StreamingReaderTest, StopsAtTheFirstMatch) {
  const std::string head =
      "<Dev><SpareSection><Parameter><Name>A</Name><Value>first</Value></Parameter></SpareSection>"
      "<SpareSection><Parameter><Name>A</Name><Value>second</Value></Parameter></SpareSection>";
  EXPECT_EQ(Lookup(head + "</Dev>", "", "A"), "first");
  // Text after the hit is never parsed; a miss runs into it and fails.
  const std::string tail = std::string(2000, ' ') + "<<< not xml";
  EXPECT_EQ(Lookup(head + tail, "", "A"), "first");
  EXPECT_EQ(Lookup(head + tail, "", "B"), "<8513>");
}

TEST_F(StreamingReaderTest, RefusesDocumentTypesAndBadArguments) {
  const std::string secret = dir_.WriteFile("secret.txt", "TOP-SECRET-CONTENT");
  EXPECT_EQ(Lookup("<!DOCTYPE Dev [<!ENTITY x SYSTEM \"file://" + secret + "\">]>"
                   "<Dev><SpareSection><Parameter><Name>A</Name><Value>&x;</Value></Parameter>"
                   "</SpareSection></Dev>",
                   "", "A"),
            "<8513>");
  std::string value;
  EXPECT_EQ(ReadParameterValue(env_, "", "", "A", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadParameterValue(env_, secret, "", "", &value), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadParameterValue(env_, secret, "", "A", nullptr), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ReadParameterValue(env_, dir_.Path("missing"), "", "A", &value),
            PGSP_ERR_CANT_LOAD_XML_FILE);
}

}  // namespace
}  // namespace q9
