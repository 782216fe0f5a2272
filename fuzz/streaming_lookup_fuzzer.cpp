// The two streaming look-ups on any document: no crash, no undefined
// behaviour, no endless loop, whatever the document holds. And a value that
// stands before the damage is found: the input, after padding of its first
// two bytes' length that moves it across the reader's pieces, follows a
// complete root element start and parameter, which must be found whatever
// the input is.
#include <cstdlib>

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

  if (size < 2) return 0;
  const size_t padding = (data[0] | (data[1] << 8)) % 1100;
  const std::string damaged = q9::fuzz::WriteSandboxFile(
      "damaged.xml",
      "<Dev DeviceID=\"7\"><DeviceHeader><Parameter><Name>DeviceName</Name><Value>v</Value>"
      "</Parameter>" + std::string(padding, ' ') + document.substr(2));
  if (q9::ReadRootAttribute(xml, damaged, "DeviceID", &value) != 0 || value != "7") std::abort();
  if (q9::ReadParameterValue(xml, damaged, "DeviceHeader", "DeviceName", &value) != 0 ||
      value != "v") {
    std::abort();
  }
  return 0;
}
