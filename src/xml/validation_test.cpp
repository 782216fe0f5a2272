#include "xml/validation.h"

#include <gtest/gtest.h>

#include "temp_dir.h"
#include "xml/template_namespace.h"
#include "xml/xml_test_support.h"

namespace q9 {
namespace {

using testing::HasTrace;
using testing::TempDir;

constexpr const char* kLabel = "ValidateFile: ";

// A schema for <Template MajorVersion=".."><Name>..</Name></Template>.
std::string Schema(const std::string& target_namespace, const std::string& extra = "") {
  const std::string ns_attributes =
      target_namespace.empty()
          ? ""
          : " targetNamespace=\"" + target_namespace + "\" xmlns=\"" + target_namespace +
                "\" elementFormDefault=\"qualified\"";
  return "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"" + ns_attributes + ">\n" + extra +
         "  <xs:element name=\"Template\">\n"
         "    <xs:complexType>\n"
         "      <xs:sequence><xs:element name=\"Name\" type=\"xs:string\"/></xs:sequence>\n"
         "      <xs:attribute name=\"MajorVersion\" type=\"xs:int\"/>\n"
         "    </xs:complexType>\n"
         "  </xs:element>\n"
         "</xs:schema>\n";
}

std::string Template(const std::string& ns, const std::string& body = "<Name>TCP</Name>") {
  const std::string xmlns = ns.empty() ? "" : " xmlns=\"" + ns + "\"";
  return "<?xml version=\"1.0\"?>\n<Template" + xmlns + " MajorVersion=\"1\">\n  " + body +
         "\n</Template>\n";
}

class ValidateFileTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::ClearTraces(); }
  std::string Schemes() const { return dir_.Path("Schemes"); }
  void WriteSchema(const std::string& name, const std::string& text) {
    dir_.WriteFile("Schemes/" + name + ".xsd", text);
  }
  Env& env_ = Env::Default();
  TempDir dir_;
};

TEST_F(ValidateFileTest, EverySchemaNameSelectsItsNamespace) {
  const std::pair<const char*, const char*> table[] = {
      {"Corvane.Device.Driver.Logdevice", "dev"}, {"DefaultLogDevices.Schema", "dev"},
      {"Corvane.Device.Driver.Logname", "nam"},   {"Protocols.Schema", "pro"},
      {"Boards.Schema", "brd"},                   {"DriverInfo.Schema", "driv"},
  };
  for (const auto& [schema_name, prefix] : table) {
    const std::string ns = NamespaceForPrefix(prefix);
    WriteSchema(schema_name, Schema(ns));
    const std::string file = dir_.WriteFile("t.xml", Template(ns));
    EXPECT_EQ(ValidateFile(env_, file, Schemes(), schema_name), PGSP_OK) << schema_name;
  }
  EXPECT_TRUE(HasTrace(kLabel, 8, ">> Start"));
  EXPECT_TRUE(HasTrace(kLabel, 64, "Validating XML file: " + dir_.Path("t.xml")));
  EXPECT_TRUE(HasTrace(kLabel, 128, "<< return PGSP_OK"));
}

TEST_F(ValidateFileTest, InvalidFileIsReportedWithReasonAndLine) {
  const std::string ns = NamespaceForPrefix("pro");
  WriteSchema("Protocols.Schema", Schema(ns));
  // File-name rule: "proto" is read as "proto.xml".
  dir_.WriteFile("proto.xml", Template(ns, "<Name>TCP</Name>\n  <Extra/>"));
  EXPECT_EQ(ValidateFile(env_, dir_.Path("proto"), Schemes(), "Protocols.Schema"),
            kInvalidAgainstSchema);
  bool traced = false;
  for (const testing::TraceLine& line : testing::CapturedTraces()) {
    if (line.function == kLabel && line.level == 64 &&
        line.text.rfind("INVALID FILE, reason: ", 0) == 0) {
      traced = line.text.find("Extra") != std::string::npos &&
               line.text.find("(line 4)") != std::string::npos;
    }
  }
  EXPECT_TRUE(traced);

  // A value of the wrong type is invalid as well.
  dir_.WriteFile("proto.xml", "<Template xmlns=\"" + ns + "\" MajorVersion=\"x\"><Name/></Template>");
  EXPECT_EQ(ValidateFile(env_, dir_.Path("proto.xml"), Schemes(), "Protocols.Schema"),
            kInvalidAgainstSchema);
}

TEST_F(ValidateFileTest, SchemaWithAnotherTargetNamespaceRejectsTheFile) {
  // A boards schema filed under the protocols name; the file matches the schema.
  WriteSchema("Protocols.Schema", Schema(NamespaceForPrefix("brd")));
  const std::string file = dir_.WriteFile("t.xml", Template(NamespaceForPrefix("brd")));
  EXPECT_EQ(ValidateFile(env_, file, Schemes(), "Protocols.Schema"), kInvalidAgainstSchema);
  // Names are case-sensitive: an unmapped name selects no namespace.
  WriteSchema("protocols.schema", Schema(NamespaceForPrefix("pro")));
  dir_.WriteFile("t.xml", Template(NamespaceForPrefix("pro")));
  EXPECT_EQ(ValidateFile(env_, file, Schemes(), "protocols.schema"), kInvalidAgainstSchema);
}

TEST_F(ValidateFileTest, UnknownSchemaNameValidatesWithoutNamespace) {
  WriteSchema("Custom", Schema(""));
  const std::string file = dir_.WriteFile("t.xml", Template(""));
  EXPECT_EQ(ValidateFile(env_, file, Schemes(), "Custom"), PGSP_OK);
}

TEST_F(ValidateFileTest, ResultsComeInTheOrderOfTheChecks) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string file = dir_.WriteFile("t.xml", Template(ns));
  EXPECT_EQ(ValidateFile(env_, "", Schemes(), "Protocols.Schema"), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ValidateFile(env_, file, "", "Protocols.Schema"), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ValidateFile(env_, file, Schemes(), ""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_TRUE(HasTrace(kLabel, 128, "<< return PGSP_ERR_INVALID_PARAMETERS, path is NULL"));

  // No schema: 8509, even when the file is missing as well.
  EXPECT_EQ(ValidateFile(env_, dir_.Path("none.xml"), Schemes(), "Protocols.Schema"),
            ERR_CANT_LOAD_SCHEME);
  EXPECT_TRUE(HasTrace(kLabel, 64, "Schema file: Protocols.Schema, not found"));
  EXPECT_TRUE(HasTrace(kLabel, 128, "<< return ERR_CANT_LOAD_SCHEME"));

  // Schema there, file missing, malformed or a folder: 8508 without a reason trace.
  WriteSchema("Protocols.Schema", Schema(ns));
  testing::ClearTraces();
  EXPECT_EQ(ValidateFile(env_, dir_.Path("none.xml"), Schemes(), "Protocols.Schema"),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  const std::string broken = dir_.WriteFile("broken.xml", "<Template xmlns=\"" + ns + "\">");
  EXPECT_EQ(ValidateFile(env_, broken, Schemes(), "Protocols.Schema"), PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(ValidateFile(env_, dir_.MakeDir("dir.xml"), Schemes(), "Protocols.Schema"),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(testing::CapturedTraces().size(), 6u);  // entry and file name of each call only
}

TEST_F(ValidateFileTest, SchemasThatDoNotCompileAreNotLoaded) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string file = dir_.WriteFile("t.xml", Template(ns));
  const std::string broken[] = {
      "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"><xs:element/></xs:schema>",
      "<notASchema/>",
      "<!DOCTYPE xs:schema [<!ENTITY e \"x\">]>" + Schema(ns),
      "<xs:schema",
  };
  for (const std::string& text : broken) {
    WriteSchema("Protocols.Schema", text);
    EXPECT_EQ(ValidateFile(env_, file, Schemes(), "Protocols.Schema"), ERR_CANT_LOAD_SCHEME) << text;
  }
}

TEST_F(ValidateFileTest, IncludesAreReadFromTheSchemaFolderOnly) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string types =
      "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" targetNamespace=\"" + ns +
      "\"><xs:simpleType name=\"Short\"><xs:restriction base=\"xs:string\">"
      "<xs:maxLength value=\"3\"/></xs:restriction></xs:simpleType></xs:schema>";
  dir_.WriteFile("Schemes/Types.xsd", types);
  dir_.WriteFile("Outside.xsd", types);
  const std::string file = dir_.WriteFile("t.xml", Template(ns));

  testing::RecordingFileSystem files(env_.files());
  testing::EnvWithFiles env(files);
  WriteSchema("Protocols.Schema", Schema(ns, "  <xs:include schemaLocation=\"Types.xsd\"/>\n"));
  EXPECT_EQ(ValidateFile(env.env(), file, Schemes(), "Protocols.Schema"), PGSP_OK);
  // The include came through the Env, not through libxml2's own file access.
  EXPECT_EQ(files.reads().back(), dir_.Path("Schemes/Types.xsd"));

  WriteSchema("Protocols.Schema", Schema(ns, "  <xs:include schemaLocation=\"../Outside.xsd\"/>\n"));
  EXPECT_EQ(ValidateFile(env.env(), file, Schemes(), "Protocols.Schema"), ERR_CANT_LOAD_SCHEME);
  for (const std::string& read : files.reads()) {
    EXPECT_EQ(read.find("Outside"), std::string::npos) << read;
  }
}

}  // namespace
}  // namespace q9
