#include "xml/template_document.h"

#include <gtest/gtest.h>
#include <libxml/parserInternals.h>

#include <filesystem>

#include "fault_injection_file_system.h"
#include "temp_dir.h"
#include "trace_capture.h"
#include "xml/dom_helpers.h"
#include "xml/template_namespace.h"
#include "xml/template_node.h"
#include "xml/template_version.h"

namespace q9 {
namespace {

using testing::ReadText;

constexpr char kXml[] = "q9xmlHelper";
constexpr char kSize[] = "CheckFileSize: ";

class TemplateDocumentTest : public ::testing::Test {
 protected:
  Env& env_ = Env::Default();
  XmlContext xml_{env_};
  testing::TempDir dir_;
  testing::TraceCapture trace_;
};

std::string Utf16Le(std::string_view ascii) {
  std::string text = "\xFF\xFE";
  for (char c : ascii) text += {c, '\0'};
  return text;
}

TEST_F(TemplateDocumentTest, SaveWritesBackTheSameBytesOrUtf8WhereTheEncodingWouldNotReadBack) {
  const std::string samples[] = {
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root a=\"1\">\n  <!-- note -->\n"
      "  <A>x &amp; y</A>\n\t<B/>\n    <C>  spaced  </C>\n</Root>\n",
      "<Root>\n  <A>no declaration</A>\n</Root>\n",
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<Root>\r\n  "
      "<A>\xC3\xA4</A>\r\n</Root>\r\n",
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<Root>\xE4</Root>\n",
      "<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n<Root>\x80</Root>\n",
      Utf16Le("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<Root>\n  <A>x</A>\n</Root>\n"),
  };
  for (const std::string& sample : samples) {
    const std::string path = dir_.WriteFile("t.xml", sample);
    TemplateDocument document;
    ASSERT_EQ(TemplateDocument::Load(xml_, path, &document), PGSP_OK) << sample;
    ASSERT_EQ(document.Save(xml_), PGSP_OK);
    EXPECT_EQ(ReadText(path), sample);
  }
  EXPECT_TRUE(testing::LeftoverTemporaryFiles(dir_.path()).empty());

  for (const char* encoding : {"UTF-7", "UTF7", "ISO-2022-KR", "csISO2022KR", "HZ"}) {
    const std::string path = dir_.WriteFile(
        "t.xml", std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?>\n<Root/>\n");
    TemplateDocument document;
    ASSERT_EQ(TemplateDocument::Load(xml_, path, &document), PGSP_OK) << encoding;
    SetElementText(document.root(), "\xC3\xA4+x");
    ASSERT_EQ(document.Save(xml_), PGSP_OK);
    EXPECT_EQ(ReadText(path),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>\xC3\xA4+x</Root>\n")
        << encoding;
  }
}

TEST_F(TemplateDocumentTest, HostileFilesDoNotLoadAndEntitiesComeOnlyFromTheGrantedSchemaFolder) {
  const std::string secret = dir_.WriteFile("secret.txt", "TOP-SECRET-CONTENT");
  const std::string laughs =
      "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
      "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">]><r>&c;&c;&c;&c;</r>";
  // Well formed but nested past the parser's depth limit.
  std::string deep = "<e/>";
  for (int i = 0; i < 300; ++i) deep = "<e>" + deep + "</e>";
  // "<Root/>" compressed: never unpacked.
  const std::string gzip("\x1f\x8b\x08\0\0\0\0\0\0\x03\xb3\x09\xca\xcf\x2f\xd1\xb7\x03\0\x27\x5b\x4b"
                         "\x4b\x07\0\0\0", 27);
  const std::string cases[] = {
      "<?xml-stylesheet href=\"a\"?><Root><A></Root>",
      "<!DOCTYPE r [<!ENTITY x SYSTEM \"file://" + secret + "\">]><r>&x;</r>",
      "<!DOCTYPE r SYSTEM \"" + secret + "\"><r/>",
      laughs,
      "<Root>\xE4\xF6</Root>",
      deep,
      "",
      "\xEF\xBB\xBF",
      gzip,
  };
  for (const std::string& bytes : cases) {
    testing::FaultInjectionFileSystem files(env_.files());
    Env env = testing::EnvWithFileSystem(files);
    XmlContext xml(env);
    const std::string path = dir_.WriteFile("hostile.xml", bytes);
    TemplateDocument document;
    XmlParseFailure failure;
    EXPECT_EQ(TemplateDocument::Load(xml, path, &document, &failure), PGSP_ERR_CANT_LOAD_XML_FILE)
        << bytes;
    EXPECT_FALSE(document.loaded());
    EXPECT_FALSE(failure.message.empty());
    EXPECT_EQ(files.reads(), std::vector<std::string>{path});
    if (bytes.starts_with("<!DOCTYPE")) {
      EXPECT_EQ(failure.message, "document type declarations are not allowed");
    }
  }
  TemplateDocument document;
  EXPECT_EQ(TemplateDocument::Load(xml_, dir_.MakeDir("folder.xml"), &document),
            PGSP_ERR_CANT_LOAD_XML_FILE);

  // The entity loader reads only within a grant (its folder's bounds are
  // shown by the schema includes of the validation test).
  InitializeXmlLibrary();
  XmlParserCtxtPtr ctxt(xmlNewParserCtxt());
  auto loads = [&](const std::string& url) {
    xmlParserInputPtr input = xmlLoadExternalEntity(url.c_str(), nullptr, ctxt.get());
    if (input != nullptr) xmlFreeInputStream(input);
    return input != nullptr;
  };
  EXPECT_FALSE(loads(secret));
  EXPECT_FALSE(loads("file://" + secret));
  SchemaFolderScope scope(env_, dir_.path());
  EXPECT_TRUE(loads(secret));
  EXPECT_FALSE(loads("http://localhost/secret.txt"));
}

TEST_F(TemplateDocumentTest, CheckFileSizeLimitAndMissingFile) {
  const auto sized = [&](const char* name, uint64_t size) {
    const std::string path = dir_.WriteFile(name, "");
    std::filesystem::resize_file(path, size);  // sparse
    return path;
  };
  EXPECT_EQ(CheckFileSize(xml_, sized("limit.xml", 10'000'000)), PGSP_OK);
  const std::string over = sized("over.xml", 10'000'001);
  EXPECT_EQ(CheckFileSize(xml_, over), PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_TRUE(trace_.Has(kXml, kSize, 16, "Warning: FILE_TOO_LARGE : " + over));
  // Only the low 32 bits count: 4 GiB + 5 bytes passes.
  EXPECT_EQ(CheckFileSize(xml_, sized("wrapped.xml", (uint64_t{1} << 32) + 5)), PGSP_OK);
  // The file-name rule: "missing" is looked up as "missing.xml".
  EXPECT_EQ(CheckFileSize(xml_, dir_.Path("missing")), kFileAttributesUnreadable);
  EXPECT_TRUE(trace_.Has(kXml, kSize, 128, "Error: FILE_NOT_FOUND : " + dir_.Path("missing.xml")));
  sized("small.xml", 10);
  EXPECT_EQ(CheckFileSize(xml_, dir_.Path("small")), PGSP_OK);

  // Every load refuses what is over the limit, even a well-formed file, and a
  // size that wraps counts whole.
  const std::string wellformed =
      dir_.WriteFile("wellformed.xml", "<Root>" + std::string(10'000'000, ' ') + "</Root>");
  for (const std::string& path : {wellformed, dir_.Path("wrapped.xml")}) {
    trace_.Clear();
    TemplateDocument document;
    EXPECT_EQ(TemplateDocument::Load(xml_, path, &document), PGSP_ERR_CANT_LOAD_XML_FILE);
    EXPECT_TRUE(trace_.Has(kXml, kSize, 16, "Warning: FILE_TOO_LARGE : " + path));
  }
}

// Creates a node in a document whose root has the log-device namespace as
// default and the boards namespace as "b", appends it to the root, saves and
// reloads; gives the element's namespace after reading and the saved text.
std::pair<std::string, std::string> RoundTrip(XmlContext& xml, const std::string& path,
                                              int32_t type, const char* name,
                                              const std::string& prefix) {
  const std::string root = "<Root xmlns=\"" + NamespaceForPrefix("dev") + "\" xmlns:b=\"" +
                           NamespaceForPrefix("brd") + "\"/>";
  TemplateDocument document;
  if (xml.env().files().WriteFileAtomic(path, root) != 0 ||
      TemplateDocument::Load(xml, path, &document) != PGSP_OK)
    return {"<load>", ""};
  XmlNodePtr node = CreateTemplateNode(type, name, prefix, &document);
  if (node == nullptr) return {"<no node>", ""};
  if (node->parent != nullptr) return {"<inserted>", ""};
  xmlAddChild(document.root(), node.release());
  if (document.Save(xml) != PGSP_OK) return {"<save>", ""};
  TemplateDocument reread;
  if (TemplateDocument::Load(xml, path, &reread) != PGSP_OK) return {"<reload>", ""};
  const xmlNode* child = reread.root()->children;
  if (child == nullptr) return {"<lost>", ""};
  return {child->ns != nullptr ? FromXml(child->ns->href) : "", ReadText(path)};
}

TEST_F(TemplateDocumentTest, CreatedNodesSaveAndRereadInTheChosenNamespace) {
  const std::string path = dir_.Path("n.xml");
  const std::string dev = NamespaceForPrefix("dev");
  EXPECT_EQ(RoundTrip(xml_, path, kElementNode, "Parameter", "dev").second,
            "<Root xmlns=\"" + dev + "\" xmlns:b=\"" + NamespaceForPrefix("brd") +
                "\"><Parameter/></Root>\n");
  EXPECT_NE(RoundTrip(xml_, path, kElementNode, "b:Board", "brd").second.find("<b:Board/>"),
            std::string::npos);
  const std::tuple<int32_t, const char*, const char*, std::string> cases[] = {
      {kElementNode, "Parameter", "pro", NamespaceForPrefix("pro")},
      {kElementNode, "b:Board", "brd", NamespaceForPrefix("brd")},
      {kElementNode, "p:Thing", "pgsp", NamespaceForPrefix("pgsp")},
      {kElementNode, "Plain", "unknown", ""},
      {kElementNode, "Based", "x", TemplateNamespaceBase()},
      {kCommentNode, nullptr, "dev", ""},
      {kElementNode, "two words", "unknown", "<no node>"},
      {kElementNode, "p:Thing", "unknown", "<no node>"},
      {kElementNode, nullptr, "unknown", "<no node>"},
      {2, "attribute", "dev", "<no node>"},
  };
  for (const auto& [type, name, prefix, ns] : cases) {
    EXPECT_EQ(RoundTrip(xml_, path, type, name, prefix).first, ns) << (name ? name : "") << prefix;
  }
  EXPECT_EQ(CreateTemplateNode(kElementNode, "A", "dev", nullptr), nullptr);
}

TEST_F(TemplateDocumentTest, SetTemplateVersionWritesWhatTheRootCarries) {
  const std::string both = dir_.WriteFile(
      "both.xml", "<Root majorversion=\"1\" MinorVersion=\"2\" Other=\"x\">\n  <A/>\n</Root>\n");
  EXPECT_EQ(SetTemplateVersion(xml_, dir_.Path("both"), "3", "4"), PGSP_OK);
  EXPECT_EQ(ReadText(both),
            "<Root majorversion=\"3\" MinorVersion=\"4\" Other=\"x\">\n  <A/>\n</Root>\n");
  const std::string minor = dir_.WriteFile("minor.xml", "<Root MinorVersion=\"2\"/>\n");
  EXPECT_EQ(SetTemplateVersion(xml_, minor, "7", "8"), PGSP_OK);
  EXPECT_EQ(ReadText(minor), "<Root MinorVersion=\"8\"/>\n");
  const std::string neither = dir_.WriteFile("neither.xml", "<Root Version=\"2\"/>");  // no newline
  EXPECT_EQ(SetTemplateVersion(xml_, neither, "7", "8"), kNoVersionAttribute);
  EXPECT_EQ(ReadText(neither), "<Root Version=\"2\"/>");
  // A prefixed attribute is another name.
  const std::string prefixed =
      dir_.WriteFile("prefixed.xml", "<Root xmlns:x=\"urn:x\" x:MajorVersion=\"1\"/>");
  EXPECT_EQ(SetTemplateVersion(xml_, prefixed, "7", "8"), kNoVersionAttribute);
  for (const char* bad : {"", "8\x01", "\xC0\xAF"}) {
    EXPECT_EQ(SetTemplateVersion(xml_, minor, "7", bad), PGSP_ERR_INVALID_PARAMETERS);
  }
  EXPECT_EQ(ReadText(minor), "<Root MinorVersion=\"8\"/>\n");
  EXPECT_EQ(SetTemplateVersion(xml_, dir_.Path("missing.xml"), "1", "2"),
            PGSP_ERR_CANT_LOAD_XML_FILE);
}

}  // namespace
}  // namespace q9
