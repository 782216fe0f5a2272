#include "xml/template_document.h"

#include <gtest/gtest.h>

#include <libxml/parserInternals.h>

#include <filesystem>

#include "temp_dir.h"
#include "xml/dom_helpers.h"
#include "xml/template_namespace.h"
#include "xml/xml_test_support.h"

namespace q9 {
namespace {

using testing::ReadText;
using testing::TempDir;

class TemplateDocumentTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::ClearTraces(); }
  Env& env_ = Env::Default();
  TempDir dir_;
};

std::string Utf16Le(std::string_view ascii) {
  std::string text = "\xFF\xFE";
  for (char c : ascii) text += {c, '\0'};
  return text;
}

TEST_F(TemplateDocumentTest, SaveWritesBackTheSameBytes) {
  const std::string samples[] = {
      Utf16Le("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<Root>\n  <A>x</A>\n</Root>\n"),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root a=\"1\">\n  <!-- note -->\n"
      "  <A>x &amp; y</A>\n\t<B/>\n    <C>  spaced  </C>\n</Root>\n",
      "<Root>\n  <A>no declaration</A>\n</Root>\n",
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<Root>\r\n  <A>\xC3\xA4</A>\r\n</Root>\r\n",
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<Root>\xE4</Root>\n",
  };
  for (const std::string& sample : samples) {
    const std::string path = dir_.WriteFile("t.xml", sample);
    TemplateDocument document;
    ASSERT_EQ(TemplateDocument::Load(env_, path, &document), PGSP_OK) << sample;
    ASSERT_EQ(document.Save(env_), PGSP_OK);
    EXPECT_EQ(ReadText(path), sample);
  }
  EXPECT_TRUE(testing::LeftoverTemporaryFiles(dir_.path()).empty());
}

TEST_F(TemplateDocumentTest, ChangedTextIsStoredLiterallyAndReadsBack) {
  const std::string path = dir_.WriteFile("t.xml", "<Root>\n  <A>old</A>\n</Root>\n");
  TemplateDocument document;
  ASSERT_EQ(TemplateDocument::Load(env_, path, &document), PGSP_OK);
  SetElementText(xmlFirstElementChild(document.root()), "a & <b>");
  ASSERT_EQ(document.Save(env_), PGSP_OK);
  EXPECT_EQ(ReadText(path), "<Root>\n  <A>a &amp; &lt;b&gt;</A>\n</Root>\n");
}

TEST_F(TemplateDocumentTest, FailedSaveLeavesTheFileAsItWas) {
  const std::string original = "<Root>\n  <A>old</A>\n</Root>\n";
  const std::string path = dir_.WriteFile("t.xml", original);
  TemplateDocument document;
  ASSERT_EQ(TemplateDocument::Load(env_, path, &document), PGSP_OK);
  SetElementText(xmlFirstElementChild(document.root()), "new");
  std::filesystem::permissions(path, std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::remove);
  EXPECT_EQ(document.Save(env_), os_error::kAccessDenied);
  EXPECT_EQ(ReadText(path), original);
  EXPECT_TRUE(testing::LeftoverTemporaryFiles(dir_.path()).empty());
}

TEST_F(TemplateDocumentTest, HostileFilesDoNotLoad) {
  const std::string secret = dir_.WriteFile("secret.txt", "TOP-SECRET-CONTENT");
  const std::string laughs =
      "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
      "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">]>"
      "<r>&d;&d;&d;&d;</r>";
  std::string deep;
  for (int i = 0; i < 5000; ++i) deep += "<e>";
  const char gzip[] = {'\x1f', '\x8b', '\x08', 0, 0, 0, 0, 0, 0, '\x03', '\xb3', '\x09', '\xca',
                       '\xcf', '\x2f', '\xd1', '\xb7', '\x03', 0, '\x27', '\x5b', '\x4b', '\x4b',
                       '\x07', 0, 0, 0};
  const std::pair<const char*, std::string> cases[] = {
      {"malformed", "<Root><A></Root>"},
      {"external entity", "<!DOCTYPE r [<!ENTITY x SYSTEM \"file://" + secret + "\">]><r>&x;</r>"},
      {"external dtd", "<!DOCTYPE r SYSTEM \"" + secret + "\"><r/>"},
      {"entity expansion", laughs},
      {"not UTF-8", "<Root>\xE4\xF6</Root>"},
      {"deep nesting", deep},
      {"empty", ""},
      {"byte-order mark only", "\xEF\xBB\xBF"},
      {"gzip", std::string(gzip, sizeof gzip)},
  };
  for (const auto& [label, bytes] : cases) {
    testing::RecordingFileSystem files(env_.files());
    testing::EnvWithFiles env(files);
    const std::string path = dir_.WriteFile("hostile.xml", bytes);
    TemplateDocument document;
    XmlParseFailure failure;
    EXPECT_EQ(TemplateDocument::Load(env.env(), path, &document, &failure),
              PGSP_ERR_CANT_LOAD_XML_FILE)
        << label;
    EXPECT_FALSE(document.loaded()) << label;
    EXPECT_FALSE(failure.message.empty()) << label;
    EXPECT_EQ(files.reads(), std::vector<std::string>{path}) << label;
    EXPECT_EQ(ReadText(path), bytes) << label;
    if (bytes.rfind("<!DOCTYPE", 0) == 0) {
      EXPECT_EQ(failure.message, "document type declarations are not allowed") << label;
    }
  }
  TemplateDocument document;
  EXPECT_EQ(TemplateDocument::Load(env_, dir_.MakeDir("folder.xml"), &document),
            PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_EQ(TemplateDocument::Load(env_, dir_.Path("missing.xml"), &document),
            PGSP_ERR_CANT_LOAD_XML_FILE);
}

TEST_F(TemplateDocumentTest, EntityLoaderRefusesFilesOutsideASchemaScope) {
  InitializeXmlLibrary();
  const std::string secret = dir_.WriteFile("secret.txt", "TOP-SECRET-CONTENT");
  XmlParserCtxtPtr ctxt(xmlNewParserCtxt());
  EXPECT_EQ(xmlLoadExternalEntity(secret.c_str(), nullptr, ctxt.get()), nullptr);
  EXPECT_EQ(xmlLoadExternalEntity(("file://" + secret).c_str(), nullptr, ctxt.get()), nullptr);
  {
    SchemaFolderScope scope(env_, dir_.Path("schemes"));
    EXPECT_EQ(xmlLoadExternalEntity(secret.c_str(), nullptr, ctxt.get()), nullptr);
    const std::string escape = dir_.Path("schemes/../secret.txt");
    EXPECT_EQ(xmlLoadExternalEntity(escape.c_str(), nullptr, ctxt.get()), nullptr);
  }
  SchemaFolderScope scope(env_, dir_.path());
  xmlParserInputPtr input = xmlLoadExternalEntity(secret.c_str(), nullptr, ctxt.get());
  ASSERT_NE(input, nullptr);
  xmlFreeInputStream(input);
}

TEST_F(TemplateDocumentTest, CheckFileSizeLimitAndMissingFile) {
  const std::string at_limit = dir_.WriteFile("limit.xml", "");
  std::filesystem::resize_file(at_limit, 10'000'000);
  EXPECT_EQ(CheckFileSize(env_, at_limit), PGSP_OK);

  const std::string over = dir_.WriteFile("over.xml", "");
  std::filesystem::resize_file(over, 10'000'001);
  EXPECT_EQ(CheckFileSize(env_, over), PGSP_ERR_CANT_LOAD_XML_FILE);
  EXPECT_TRUE(testing::HasTrace("CheckFileSize: ", 16, "Warning: FILE_TOO_LARGE : " + over));

  // Only the low 32 bits count: 4 GiB + 5 bytes passes.
  const std::string wrapped = dir_.WriteFile("wrapped.xml", "");
  std::filesystem::resize_file(wrapped, (uint64_t{1} << 32) + 5);
  EXPECT_EQ(CheckFileSize(env_, wrapped), PGSP_OK);

  // The file-name rule: "missing" is looked up as "missing.xml".
  EXPECT_EQ(CheckFileSize(env_, dir_.Path("missing")), kFileAttributesUnreadable);
  EXPECT_TRUE(testing::HasTrace("CheckFileSize: ", 128,
                                "Error: FILE_NOT_FOUND : " + dir_.Path("missing.xml")));
  dir_.WriteFile("small.xml", "<r/>");
  EXPECT_EQ(CheckFileSize(env_, dir_.Path("small")), PGSP_OK);
}

class CreateTemplateNodeTest : public TemplateDocumentTest {
 protected:
  // Creates an element, appends it to the root, saves and reloads; returns
  // the namespace URI the element has after reading the file again.
  std::string RoundTripNamespace(const char* name, const std::string& prefix) {
    const std::string path = dir_.WriteFile(
        "n.xml", "<Root xmlns=\"" + NamespaceForPrefix("dev") + "\" xmlns:b=\"" +
                     NamespaceForPrefix("brd") + "\">\n</Root>\n");
    TemplateDocument document;
    EXPECT_EQ(TemplateDocument::Load(env_, path, &document), PGSP_OK);
    XmlNodePtr node = CreateTemplateNode(kElementNode, name, prefix, &document);
    if (node == nullptr) return "<no node>";
    EXPECT_EQ(node->parent, nullptr);
    xmlAddChild(document.root(), node.release());
    EXPECT_EQ(document.Save(env_), PGSP_OK);
    saved_ = ReadText(path);
    TemplateDocument reread;
    EXPECT_EQ(TemplateDocument::Load(env_, path, &reread), PGSP_OK);
    const xmlNode* element = xmlFirstElementChild(reread.root());
    if (element == nullptr) return "<lost>";
    return element->ns != nullptr ? FromXml(element->ns->href) : "";
  }
  std::string saved_;
};

TEST_F(CreateTemplateNodeTest, ElementsSaveAndRereadInTheChosenNamespace) {
  EXPECT_EQ(RoundTripNamespace("Parameter", "dev"), NamespaceForPrefix("dev"));
  EXPECT_NE(saved_.find("<Parameter/>"), std::string::npos) << saved_;  // uses the root's default

  EXPECT_EQ(RoundTripNamespace("Parameter", "pro"), NamespaceForPrefix("pro"));
  EXPECT_EQ(RoundTripNamespace("b:Board", "brd"), NamespaceForPrefix("brd"));
  EXPECT_NE(saved_.find("<b:Board/>"), std::string::npos) << saved_;
  EXPECT_EQ(RoundTripNamespace("p:Thing", "pgsp"), NamespaceForPrefix("pgsp"));
  EXPECT_EQ(RoundTripNamespace("Plain", "unknown"), "");
  EXPECT_EQ(RoundTripNamespace("Based", "x"), TemplateNamespaceBase());
}

TEST_F(CreateTemplateNodeTest, RefusesWhatItCannotCreate) {
  EXPECT_EQ(RoundTripNamespace("two words", "dev"), "<no node>");
  EXPECT_EQ(RoundTripNamespace(nullptr, "dev"), "<no node>");
  EXPECT_EQ(RoundTripNamespace("p:Thing", "unknown"), "<no node>");
  const std::string path = dir_.WriteFile("c.xml", "<Root/>");
  TemplateDocument document;
  ASSERT_EQ(TemplateDocument::Load(env_, path, &document), PGSP_OK);
  EXPECT_EQ(CreateTemplateNode(kElementNode, "A", "dev", nullptr), nullptr);
  EXPECT_EQ(CreateTemplateNode(2, "A", "dev", &document), nullptr);
  XmlNodePtr comment = CreateTemplateNode(kCommentNode, nullptr, "dev", &document);
  ASSERT_NE(comment, nullptr);
  EXPECT_EQ(comment->type, XML_COMMENT_NODE);
}

TEST_F(TemplateDocumentTest, SetTemplateVersionWritesWhatTheRootCarries) {
  const std::string both = dir_.WriteFile(
      "both.xml", "<Root majorversion=\"1\" MinorVersion=\"2\" Other=\"x\">\n  <A/>\n</Root>\n");
  EXPECT_EQ(SetTemplateVersion(env_, dir_.Path("both"), "3", "4"), PGSP_OK);
  EXPECT_EQ(ReadText(both), "<Root majorversion=\"3\" MinorVersion=\"4\" Other=\"x\">\n  <A/>\n</Root>\n");

  const std::string minor = dir_.WriteFile("minor.xml", "<Root MinorVersion=\"2\"/>\n");
  EXPECT_EQ(SetTemplateVersion(env_, minor, "7", "8"), PGSP_OK);
  EXPECT_EQ(ReadText(minor), "<Root MinorVersion=\"8\"/>\n");

  const std::string neither_text = "<Root Version=\"2\"/>";  // no newline: a save would add one
  const std::string neither = dir_.WriteFile("neither.xml", neither_text);
  EXPECT_EQ(SetTemplateVersion(env_, neither, "7", "8"), kNoVersionAttribute);
  EXPECT_EQ(ReadText(neither), neither_text);

  EXPECT_EQ(SetTemplateVersion(env_, minor, "", "8"), PGSP_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(SetTemplateVersion(env_, dir_.Path("missing.xml"), "1", "2"), PGSP_ERR_CANT_LOAD_XML_FILE);
}

}  // namespace
}  // namespace q9
