#include "xml/template_facts.h"

#include <gtest/gtest.h>

#include "platform/caching_file_system.h"
#include "temp_dir.h"
#include "trace_capture.h"
#include "xml/streaming_reader.h"
#include "xml/template_document.h"
#include "xml/xml_context.h"

namespace q9 {
namespace {

// Result code and value of one look-up, for comparing the index with the
// readers it stands in for.
struct Answer {
  ResultCode code;
  std::string value;
  bool operator==(const Answer&) const = default;
};

class TemplateFactsTest : public ::testing::Test {
 protected:
  Answer Fact(const std::string& path, const std::string& attribute) {
    return Fact(xml_, path, attribute);
  }
  Answer Fact(XmlContext& xml, const std::string& path, const std::string& attribute) {
    Answer answer{0, "stale"};
    answer.code = attribute.empty()
                      ? xml.facts().ParameterValue(path, "DeviceHeader", "DeviceName", &answer.value)
                      : xml.facts().RootAttribute(path, attribute, &answer.value);
    return answer;
  }
  Answer Read(const std::string& path, const std::string& attribute) {
    Answer answer{0, "stale"};
    answer.code = attribute.empty()
                      ? ReadParameterValue(xml_, path, "DeviceHeader", "DeviceName", &answer.value)
                      : ReadRootAttribute(xml_, path, attribute, &answer.value);
    return answer;
  }

  Env& env_ = Env::Default();
  XmlContext xml_{env_};
  testing::TempDir dir_;
};

TEST_F(TemplateFactsTest, AnswersAsTheReadersDoTheFirstTimeAndAfterwards) {
  const std::string device =
      "<LogDevice xmlns=\"urn:d\" xmlns:p=\"urn:p\" DeviceID=\"A&amp;&#x42;\" Extension=\"\" "
      "p:Extra=\"e\">"
      "<DeviceHeader><Parameter><Name>DeviceName</Name>"
      "<Value>N</Value></Parameter></DeviceHeader></LogDevice>";
  const std::string files[] = {
      dir_.WriteFile("d.xml", device),
      dir_.WriteFile("broken.xml", "<LogDevice DeviceID="),
      dir_.WriteFile("empty.xml", ""),
      dir_.WriteFile("text.xml", "no XML"),
      dir_.MakeDir("folder.xml"),
      dir_.Path("missing.xml"),
      dir_.Path("d"),  // the file-name rule finds d.xml
      "",
  };
  for (const std::string& file : files) {
    // A run that loaded the file whole first knows the same.
    XmlContext loaded(env_);
    TemplateDocument document;
    if (TemplateDocument::Load(loaded, file, &document) == PGSP_OK) {
      loaded.facts().Loaded(file, document);
    }
    // One read answers for all plain attributes; the others are read.
    for (const char* attribute :
         {"DeviceID", "CP_TYPE", "Extension", "xmlns", "p:Extra", "Extra", ""}) {
      const Answer expected = Read(file, attribute);
      EXPECT_EQ(Fact(file, attribute), expected) << file << " " << attribute;
      EXPECT_EQ(Fact(file, attribute), expected) << file << " " << attribute;
      EXPECT_EQ(Fact(loaded, file, attribute), expected) << file << " " << attribute;
    }
  }
}

TEST_F(TemplateFactsTest, AnswersFromMemoryWithTheReadersTraceUntilTheFileChanges) {
  const std::string path = dir_.WriteFile("d.xml", "<LogDevice DeviceID=\"A\"/>");
  ASSERT_EQ(Fact(path, "DeviceID"), (Answer{PGSP_OK, "A"}));
  // A save of the same size within the same clock tick still shows.
  TemplateDocument document;
  ASSERT_EQ(TemplateDocument::Load(xml_, path, &document), PGSP_OK);
  xmlSetProp(document.root(), ToXml("DeviceID"), ToXml("B"));
  ASSERT_EQ(document.Save(xml_), PGSP_OK);
  testing::TraceCapture trace;
  EXPECT_EQ(Fact(path, "DeviceID"), (Answer{PGSP_OK, "B"}));
  EXPECT_EQ(Fact(path, "DeviceID"), (Answer{PGSP_OK, "B"}));
  EXPECT_EQ(trace.Messages("ReadRootAttribute: "),
            (std::vector<std::string>{">> Start", "<< return lRet = 0", ">> Start",
                                      "<< return lRet = 0"}));
  // A file that could not be read is looked at again.
  const std::string later = dir_.Path("later.xml");
  EXPECT_EQ(Fact(later, "DeviceID").code, PGSP_ERR_CANT_LOAD_XML_FILE);
  dir_.WriteFile("later.xml", "<LogDevice DeviceID=\"C\"/>");
  EXPECT_EQ(Fact(later, "DeviceID"), (Answer{PGSP_OK, "C"}));
}

// The caching file system grows a listing that nobody holds in place, so the
// index must see a file that appeared in a listing it has seen, also when no
// writer told it.
TEST_F(TemplateFactsTest, IndexSeesAFileAddedToAListingItHasSeen) {
  CachingFileSystem cache(env_.files());
  Env env(cache, env_.registry(), env_.folders(), env_.libraries(), env_.shared(), env_.clock(),
          env_.process());
  XmlContext xml(env);
  dir_.WriteFile("meta/a.xml", "<LogDevice DeviceID=\"A\"/>");
  const IdentityField fields[] = {{"", "DeviceID"}};
  const std::string wanted[] = {"B"};
  EXPECT_EQ(xml.facts().NextCandidate(dir_.Path("meta"), fields, wanted, 0), 1u);
  ASSERT_EQ(cache.WriteFileAtomic(dir_.Path("meta/0.xml"), "<LogDevice DeviceID=\"b\"/>"), 0);
  EXPECT_EQ(xml.facts().NextCandidate(dir_.Path("meta"), fields, wanted, 0), 0u);
  // Writers that tell the index: a new file and a rewritten one are found
  // at their places under their new identities.
  for (const auto& [name, id] : {std::pair{"b.xml", "B"}, {"a.xml", "b"}}) {
    const std::string file = dir_.Path("meta/" + std::string(name));
    ASSERT_EQ(cache.WriteFileAtomic(file, "<LogDevice DeviceID=\"" + std::string(id) + "\"/>"), 0);
    xml.facts().Forget(file);
  }
  EXPECT_EQ(xml.facts().NextCandidate(dir_.Path("meta"), fields, wanted, 1), 1u);
  EXPECT_EQ(xml.facts().NextCandidate(dir_.Path("meta"), fields, wanted, 2), 2u);
  EXPECT_EQ(xml.facts().NextCandidate(dir_.Path("meta"), fields, wanted, 3), 3u);
}

}  // namespace
}  // namespace q9
