#include "xml/validation.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "fault_injection_file_system.h"
#include "temp_dir.h"
#include "trace_capture.h"
#include "xml/streaming_reader.h"
#include "xml/template_namespace.h"

namespace q9 {
namespace {

constexpr char kXml[] = "q9xmlHelper";
constexpr char kLabel[] = "ValidateFile: ";
const std::string kXs = "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"";

// A schema for <Template MajorVersion="int"><Name/></Template>, in `ns`.
std::string Schema(const std::string& ns, const std::string& include = "") {
  const std::string target = ns.empty() ? ""
                                        : " targetNamespace=\"" + ns + "\" xmlns=\"" + ns +
                                              "\" elementFormDefault=\"qualified\"";
  return kXs + target + ">\n" + include +
         "<xs:element name=\"Template\"><xs:complexType>\n"
         "<xs:sequence><xs:element name=\"Name\" type=\"xs:string\"/></xs:sequence>\n"
         "<xs:attribute name=\"MajorVersion\" type=\"xs:int\"/></xs:complexType></xs:element>\n"
         "</xs:schema>\n";
}

std::string Template(const std::string& ns, const std::string& body = "<Name>TCP</Name>") {
  const std::string xmlns = ns.empty() ? "" : " xmlns=\"" + ns + "\"";
  return "<?xml version=\"1.0\"?>\n<Template" + xmlns + " MajorVersion=\"1\">\n  " + body +
         "\n</Template>\n";
}

class ValidateFileTest : public ::testing::Test {
 protected:
  ResultCode Validate(const std::string& schema_name, const std::string& schema,
                      const std::string& xml) {
    dir_.WriteFile("Corvane OAM/Schemes/" + schema_name + ".xsd", schema);
    XmlContext run(env_);  // a run of its own: the schema it keeps is this one
    return ValidateFile(run, dir_.WriteFile("t.xml", xml), Schemes(), schema_name);
  }
  std::string Schemes() const { return dir_.Path("Corvane OAM/Schemes"); }
  Env& env_ = Env::Default();
  XmlContext xml_{env_};
  testing::TempDir dir_;
  testing::TraceCapture trace_;
};

TEST_F(ValidateFileTest, SchemaNamesSelectTheirNamespacesAndInvalidFilesAreTracedWithTheReason) {
  // The names the shipped schemas carry are held to them by the sample store test.
  const std::pair<const char*, const char*> table[] = {
      {"DefaultLogDevices.Schema", "dev"}, {"Protocols.Schema", "pro"}, {"Unknown.Schema", "none"}};
  for (const auto& [schema_name, prefix] : table) {
    const std::string ns = NamespaceForPrefix(prefix);
    EXPECT_EQ(Validate(schema_name, Schema(ns), Template(ns)), PGSP_OK) << schema_name;
  }
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 8, ">> Start"));
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 64, "Validating XML file: " + dir_.Path("t.xml")));
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 128, "<< return PGSP_OK"));

  // A schema whose targetNamespace is not the one its name selects rejects
  // even a file that matches it; names are case-sensitive.
  const std::string boards = NamespaceForPrefix("brd");
  EXPECT_EQ(Validate("Protocols.Schema", Schema(boards), Template(boards)), kInvalidAgainstSchema);
  const std::string protocols = NamespaceForPrefix("pro");
  EXPECT_EQ(Validate("protocols.schema", Schema(protocols), Template(protocols)),
            kInvalidAgainstSchema);

  // An invalid file is traced with the reason and its line. File-name rule:
  // "proto" is read as "proto.xml".
  dir_.WriteFile("Corvane OAM/Schemes/Protocols.Schema.xsd", Schema(protocols));
  dir_.WriteFile("proto.xml", Template(protocols, "<Name>TCP</Name>\n  <Extra/>"));
  trace_.Clear();
  EXPECT_EQ(ValidateFile(xml_, dir_.Path("proto"), Schemes(), "Protocols.Schema"),
            kInvalidAgainstSchema);
  const auto traces = trace_.Lines();
  const auto reason =
      std::find_if(traces.begin(), traces.end(), [](const testing::TraceLine& line) {
        return line.level == 64 && line.text.starts_with("INVALID FILE, reason: ");
      });
  ASSERT_NE(reason, traces.end());
  EXPECT_NE(reason->text.find("Extra"), std::string::npos) << reason->text;
  EXPECT_NE(reason->text.find("(line 4)"), std::string::npos) << reason->text;
}

TEST_F(ValidateFileTest, ResultsComeInTheOrderOfTheChecks) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string file = dir_.WriteFile("t.xml", Template(ns));
  EXPECT_EQ(ValidateFile(xml_, "", Schemes(), "Protocols.Schema"), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ValidateFile(xml_, file, "", "Protocols.Schema"), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(ValidateFile(xml_, file, Schemes(), ""), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 128, "<< return PGSP_ERR_INVALID_PARAMETERS, path is NULL"));

  // No schema: 8509, even when the file is missing as well.
  EXPECT_EQ(ValidateFile(xml_, dir_.Path("none.xml"), Schemes(), "Protocols.Schema"),
            ERR_CANT_LOAD_SCHEME);
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 64, "Schema file: Protocols.Schema, not found"));
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 128, "<< return ERR_CANT_LOAD_SCHEME"));

  // Schema there; file missing, malformed or a folder: 8508 and no trace of its own.
  dir_.WriteFile("Corvane OAM/Schemes/Protocols.Schema.xsd", Schema(ns));
  trace_.Clear();
  const std::string broken = dir_.WriteFile("broken.xml", "<Template xmlns=\"" + ns + "\">");
  std::vector<std::string> expected;
  for (const std::string& path : {dir_.Path("none.xml"), broken, dir_.MakeDir("dir.xml")}) {
    EXPECT_EQ(ValidateFile(xml_, path, Schemes(), "Protocols.Schema"), PGSP_ERR_CANT_LOAD_XML_FILE);
    expected.insert(expected.end(), {">> Start", "Validating XML file: " + path});
  }
  EXPECT_EQ(trace_.Messages(kLabel), expected);

  // A schema file that does not parse is not loaded; one that parses but is
  // no schema was loaded, and describes nothing the file may contain.
  EXPECT_EQ(Validate("Protocols.Schema", "<!DOCTYPE xs:schema [<!ENTITY e \"x\">]>" + Schema(ns),
                     Template(ns)),
            ERR_CANT_LOAD_SCHEME);
  const std::string no_schemas[] = {kXs + "><xs:element/></xs:schema>", "<notASchema/>"};
  for (const std::string& schema : no_schemas) {
    EXPECT_EQ(Validate("Protocols.Schema", schema, Template(ns)), kInvalidAgainstSchema) << schema;
  }
}

TEST_F(ValidateFileTest, IncludesAreReadThroughTheEnvFromTheSchemaFolderOnly) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string types = kXs + " targetNamespace=\"" + ns + "\"><xs:simpleType name=\"Short\">"
                            "<xs:restriction base=\"xs:string\"/></xs:simpleType></xs:schema>";
  dir_.WriteFile("Corvane OAM/Schemes/Types.xsd", types);
  dir_.WriteFile("Corvane OAM/Outside.xsd", types);
  testing::FaultInjectionFileSystem files(env_.files());
  Env env = testing::EnvWithFileSystem(files);
  const auto validate = [&](const char* location) {
    XmlContext xml(env);
    dir_.WriteFile("Corvane OAM/Schemes/Protocols.Schema.xsd",
                   Schema(ns, std::string("<xs:include schemaLocation=\"") + location + "\"/>\n"));
    return ValidateFile(xml, dir_.WriteFile("t.xml", Template(ns)), Schemes(), "Protocols.Schema");
  };
  const std::string schema = dir_.Path("Corvane OAM/Schemes/Protocols.Schema.xsd");
  const std::string file = dir_.Path("t.xml");
  EXPECT_EQ(validate("Types.xsd"), PGSP_OK);
  EXPECT_EQ(files.reads(),
            (std::vector<std::string>{schema, dir_.Path("Corvane OAM/Schemes/Types.xsd"), file}));
  EXPECT_EQ(validate("../Outside.xsd"), kInvalidAgainstSchema);  // the include is refused
  EXPECT_EQ(files.reads().size(), 5u);                           // Outside.xsd was never read
  EXPECT_EQ(files.reads().back(), file);
}

TEST_F(ValidateFileTest, LibraryMessagesGoToTheTraceNeverToStandardError) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string outside = dir_.WriteFile("Outside.xsd", kXs + "><echo/></xs:schema>");
  const std::string link = dir_.Path("Corvane OAM/Schemes/Link.xsd");
  dir_.MakeDir("Corvane OAM/Schemes");
  std::filesystem::create_symlink(outside, link);
  const std::string broken = dir_.WriteFile(
      "broken.xml", "<?xml version=\"1.0\" encoding=\"Shift_JIS\"?>\n<Root>\x81\xFF</Root>\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Validate("Protocols.Schema", Schema(ns, "<xs:include schemaLocation=\"Link.xsd\"/>"),
                     Template(ns)),
            kInvalidAgainstSchema);
  TemplateDocument document;
  EXPECT_EQ(TemplateDocument::Load(xml_, broken, &document), PGSP_ERR_CANT_LOAD_XML_FILE);
  std::string value;
  EXPECT_EQ(ReadRootAttribute(xml_, broken, "a", &value), kStreamValueNotFound);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(trace_.Has(kXml, "libxml2: ", 64, link + " refused: a symbolic link"));
}

TEST_F(ValidateFileTest, ARunReadsEachSchemaOnceAndValidatesHeldDocuments) {
  const std::string ns = NamespaceForPrefix("pro");
  const std::string schema = dir_.WriteFile("Corvane OAM/Schemes/Protocols.Schema.xsd", Schema(ns));
  const std::string valid = dir_.WriteFile("t.xml", Template(ns));
  const std::string invalid = dir_.WriteFile("bad.xml", Template(ns, "<Other/>"));
  testing::FaultInjectionFileSystem files(env_.files());
  Env env = testing::EnvWithFileSystem(files);
  XmlContext run(env);
  EXPECT_EQ(ValidateFile(run, valid, Schemes(), "Protocols.Schema"), PGSP_OK);
  // Changed on disk during the run: the run keeps the schema it compiled.
  dir_.WriteFile("Corvane OAM/Schemes/Protocols.Schema.xsd", Schema(NamespaceForPrefix("brd")));
  EXPECT_EQ(ValidateFile(run, invalid, Schemes(), "Protocols.Schema"), kInvalidAgainstSchema);
  EXPECT_EQ(ValidateFile(run, valid, Schemes(), "Protocols.Schema"), PGSP_OK);
  TemplateDocument held;
  ASSERT_EQ(TemplateDocument::Load(run, invalid, &held), PGSP_OK);
  trace_.Clear();
  EXPECT_EQ(ValidateDocument(run, held, Schemes(), "Protocols.Schema"), kInvalidAgainstSchema);
  EXPECT_TRUE(trace_.Has(kXml, kLabel, 64, "Validating XML file: " + invalid));
  EXPECT_EQ(files.reads(), (std::vector<std::string>{schema, valid, invalid, valid, invalid}));

  XmlContext next_run(env);
  EXPECT_EQ(ValidateFile(next_run, valid, Schemes(), "Protocols.Schema"), kInvalidAgainstSchema);
}

}  // namespace
}  // namespace q9
