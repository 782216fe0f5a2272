// The two streaming look-ups on any document: no crash, no undefined
// behaviour, no endless loop, whatever the document holds.
#include "fuzz_support.h"
#include "xml/streaming_reader.h"
#include "xml/xml_context.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  q9::XmlContext xml(q9::fuzz::FuzzEnv());
  const std::string document(reinterpret_cast<const char*>(data), size);
  const std::string path = q9::fuzz::WriteSandboxFile("lookup.xml", document);
  std::string value;
  (void)q9::ReadRootAttribute(xml, path, "DeviceID", &value);
  (void)q9::ReadParameterValue(xml, path, "DeviceHeader", "DeviceName", &value);
  (void)q9::ReadParameterValue(xml, path, "Ndi", "hidden", &value);
  return 0;
}
