// ValidateFile against the sample schemas on any document (the first byte
// picks the schema): no crash, no undefined behaviour, and only the results
// a validation can give.
#include <cstdlib>

#include "fuzz_support.h"
#include "xml/validation.h"
#include "xml/xml_context.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static constexpr const char* kSchemas[] = {
      "Boards.Schema", "Corvane.Device.Driver.Logdevice", "Corvane.Device.Driver.Logname",
      "DriverInfo.Schema", "Protocols.Schema"};
  if (size == 0) return 0;
  const char* schema = kSchemas[data[0] % std::size(kSchemas)];
  const std::string path = q9::fuzz::WriteSandboxFile(
      "validate.xml", std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1));
  q9::XmlContext xml(q9::fuzz::FuzzEnv());
  const q9::ResultCode result = q9::ValidateFile(xml, path, Q9_SAMPLE_STORE "/Schemes", schema);
  if (result != 0 && result != 8506 && result != 8508) std::abort();
  return 0;
}
