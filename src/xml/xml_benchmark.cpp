// Costs of the XML layer on generated templates:
//   ValidateFile on a ~10 KB template, first in a run (schema read and
//   compiled) and again in the same run (schema kept),
//   enumerating a 100-parameter section through the path-based
//   GetSectionParameter and through a document loaded once,
//   ReadParameterValue / ReadRootAttribute against a DOM look-up on 1 MB.
// Run: build/default/src/xml/xml_benchmark
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "platform/env.h"
#include "platform/path.h"
#include "xml/parameter_section.h"
#include "xml/streaming_reader.h"
#include "xml/template_document.h"
#include "xml/template_namespace.h"
#include "xml/validation.h"

namespace q9 {
namespace {

std::string ParameterXml(const std::string& name, const std::string& value) {
  return "    <Parameter><Name>" + name + "</Name><Value>" + value + "</Value></Parameter>\n";
}

std::string Section(const std::string& section, const std::string& stem, int count) {
  std::string xml = "  <" + section + ">\n";
  for (int i = 0; i < count; ++i)
    xml += ParameterXml(stem + std::to_string(i), "value " + std::to_string(i));
  return xml + "  </" + section + ">\n";
}

// A log-device template: DeviceHeader first, then LocalSettings grown until
// the file reaches `bytes`.
std::string Template(size_t bytes) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<LogDevice xmlns=\"" +
                    NamespaceForPrefix("dev") +
                    "\" DeviceID=\"42\" CP_TYPE=\"H1\" MajorVersion=\"2\" MinorVersion=\"1\">\n" +
                    Section("DeviceHeader", "Header", 0);
  xml.insert(xml.size() - std::string("  </DeviceHeader>\n").size(),
             ParameterXml("DeviceName", "CP 1623"));
  std::string settings = "  <LocalSettings>\n";
  for (int i = 0; xml.size() + settings.size() + 40 < bytes; ++i) {
    settings += ParameterXml("Setting" + std::to_string(i), "value " + std::to_string(i));
  }
  settings += ParameterXml("LastSetting", "the end");
  return xml + settings + "  </LocalSettings>\n</LogDevice>\n";
}

const char* kSchema = R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"
    targetNamespace="NS" xmlns="NS" elementFormDefault="qualified">
  <xs:complexType name="ParameterType">
    <xs:sequence>
      <xs:element name="Name" type="xs:string"/>
      <xs:element name="Value" type="xs:string" minOccurs="0"/>
    </xs:sequence>
  </xs:complexType>
  <xs:complexType name="SectionType">
    <xs:choice minOccurs="0" maxOccurs="unbounded">
      <xs:element name="Parameter" type="ParameterType"/>
      <xs:element name="ParameterInt" type="ParameterType"/>
      <xs:element name="ParameterBool" type="ParameterType"/>
    </xs:choice>
  </xs:complexType>
  <xs:element name="LogDevice">
    <xs:complexType>
      <xs:sequence>
        <xs:element name="DeviceHeader" type="SectionType"/>
        <xs:element name="LocalSettings" type="SectionType"/>
      </xs:sequence>
      <xs:attribute name="DeviceID" type="xs:int"/>
      <xs:attribute name="CP_TYPE" type="xs:string"/>
      <xs:attribute name="MajorVersion" type="xs:int"/>
      <xs:attribute name="MinorVersion" type="xs:int"/>
    </xs:complexType>
  </xs:element>
</xs:schema>
)";

// The generated files, in a folder of their own for the program's lifetime.
class Fixture {
 public:
  Fixture() : env_(Env::Default()), xml_(env_) {
    folder_ = "/tmp/q9-xml-benchmark-" + std::to_string(env_.process().ProcessId());
    (void)env_.files().CreateDirectory(folder_);
    (void)env_.files().CreateDirectory(schemes());
    std::string schema = kSchema;
    for (size_t at; (at = schema.find("\"NS\"")) != std::string::npos;) {
      schema.replace(at, 4, "\"" + NamespaceForPrefix("dev") + "\"");
    }
    Write(JoinPath(schemes(), "Corvane.Device.Driver.Logdevice.xsd"), schema);
    Write(small(), Template(10 * 1024));
    Write(large(), Template(1024 * 1024));
    Write(section100(), "<LogDevice>\n" + Section("Bindings", "Binding", 100) + "</LogDevice>\n");
  }
  ~Fixture() { (void)env_.files().DeleteTree(folder_); }

  Env& env() { return env_; }
  XmlContext& xml() { return xml_; }
  std::string schemes() const { return JoinPath(folder_, "Schemes"); }
  std::string small() const { return JoinPath(folder_, "small.xml"); }
  std::string large() const { return JoinPath(folder_, "large.xml"); }
  std::string section100() const { return JoinPath(folder_, "section100.xml"); }

 private:
  void Write(const std::string& path, const std::string& text) {
    if (env_.files().WriteFileAtomic(path, text) != 0) std::abort();
  }
  Env& env_;
  XmlContext xml_;
  std::string folder_;
};

Fixture& Files() {
  static Fixture fixture;
  return fixture;
}

void ExpectOk(benchmark::State& state, ResultCode result) {
  if (result != PGSP_OK) state.SkipWithError(("result " + std::to_string(result)).c_str());
}

ResultCode ValidateSmall(Fixture& files, XmlContext& run) {
  return ValidateFile(run, files.small(), files.schemes(), "Corvane.Device.Driver.Logdevice");
}

// Every iteration is a new run: the schema is read and compiled each time.
void BM_ValidateFile10KBFirstInRun(benchmark::State& state) {
  Fixture& files = Files();
  for (auto _ : state) {
    XmlContext run(files.env());
    ExpectOk(state, ValidateSmall(files, run));
  }
}
BENCHMARK(BM_ValidateFile10KBFirstInRun)->Unit(benchmark::kMicrosecond);

// One run: the schema compiled before the loop is kept.
void BM_ValidateFile10KBAgainInRun(benchmark::State& state) {
  Fixture& files = Files();
  XmlContext run(files.env());
  ExpectOk(state, ValidateSmall(files, run));
  for (auto _ : state) ExpectOk(state, ValidateSmall(files, run));
}
BENCHMARK(BM_ValidateFile10KBAgainInRun)->Unit(benchmark::kMicrosecond);

void BM_EnumerateSection100(benchmark::State& state) {
  Fixture& files = Files();
  const int32_t bindings = static_cast<int32_t>(ParameterSection::kBindings);
  std::string name, value, kind;
  for (auto _ : state) {
    int32_t index = 0;
    while (GetSectionParameter(files.xml(), files.section100(), bindings, index, &name, &value,
                               &kind) == PGSP_OK) {
      ++index;
    }
    if (index != 100) state.SkipWithError("wrong count");
  }
}
BENCHMARK(BM_EnumerateSection100)->Unit(benchmark::kMicrosecond);

// The same entries from a document the caller loads once and holds.
void BM_EnumerateSection100HeldDocument(benchmark::State& state) {
  Fixture& files = Files();
  const int32_t bindings = static_cast<int32_t>(ParameterSection::kBindings);
  for (auto _ : state) {
    TemplateDocument held;
    ExpectOk(state, TemplateDocument::Load(files.xml(), files.section100(), &held));
    const std::vector<ParameterEntry> entries = SectionParameters(held, bindings);
    if (entries.size() != 100) state.SkipWithError("wrong count");
    benchmark::DoNotOptimize(entries.data());
  }
}
BENCHMARK(BM_EnumerateSection100HeldDocument)->Unit(benchmark::kMicrosecond);

// The index walk of the path-based form, on the held document.
void BM_EnumerateSection100HeldDocumentByIndex(benchmark::State& state) {
  Fixture& files = Files();
  const int32_t bindings = static_cast<int32_t>(ParameterSection::kBindings);
  ParameterEntry entry;
  for (auto _ : state) {
    TemplateDocument held;
    ExpectOk(state, TemplateDocument::Load(files.xml(), files.section100(), &held));
    int32_t index = 0;
    while (GetSectionParameter(held, bindings, index, &entry) == PGSP_OK) ++index;
    if (index != 100) state.SkipWithError("wrong count");
  }
}
BENCHMARK(BM_EnumerateSection100HeldDocumentByIndex)->Unit(benchmark::kMicrosecond);

void BM_ReadParameterValue1MBEarlyHit(benchmark::State& state) {
  Fixture& files = Files();
  std::string value;
  for (auto _ : state) {
    ExpectOk(state,
             ReadParameterValue(files.xml(), files.large(), "DeviceHeader", "DeviceName", &value));
  }
}
BENCHMARK(BM_ReadParameterValue1MBEarlyHit)->Unit(benchmark::kMicrosecond);

void BM_ReadRootAttribute1MB(benchmark::State& state) {
  Fixture& files = Files();
  std::string value;
  for (auto _ : state)
    ExpectOk(state, ReadRootAttribute(files.xml(), files.large(), "CP_TYPE", &value));
}
BENCHMARK(BM_ReadRootAttribute1MB)->Unit(benchmark::kMicrosecond);

void BM_ReadParameterValue1MBLateHit(benchmark::State& state) {
  Fixture& files = Files();
  std::string value;
  for (auto _ : state) {
    ExpectOk(state, ReadParameterValue(files.xml(), files.large(), "LocalSettings", "LastSetting",
                                       &value));
  }
}
BENCHMARK(BM_ReadParameterValue1MBLateHit)->Unit(benchmark::kMicrosecond);

// The same early look-up through a whole document: load, walk, take entry 0.
void BM_DomLookup1MBEarlyHit(benchmark::State& state) {
  Fixture& files = Files();
  const int32_t header = static_cast<int32_t>(ParameterSection::kDeviceHeader);
  std::string name, value, kind;
  for (auto _ : state) {
    ExpectOk(state,
             GetSectionParameter(files.xml(), files.large(), header, 0, &name, &value, &kind));
  }
}
BENCHMARK(BM_DomLookup1MBEarlyHit)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace q9

BENCHMARK_MAIN();
