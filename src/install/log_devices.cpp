// The steps that connect the store to the board-control library.
#include "install/installer.h"
#include "platform/path.h"
#include "trace/trace.h"
#include "xml/parameter_section.h"

namespace q9 {
namespace {

using trace_level::kEntry;
using trace_level::kResult;

constexpr char kTcpTemplateName[] = "Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml";
constexpr char kTcpStdDeviceName[] = "CP TCP-Std.xml";

}  // namespace

void Installer::ForgetStoreAfterLibraryCall() {
  env_.files().DiscardCache();
  xml_->facts().ForgetAll();
}

std::vector<std::string> Installer::ListFiles(const std::string& folder) {
  std::vector<std::string> names;
  std::string name;
  for (uint32_t index = 0; file_operator().EnumFile(folder, index, &name) == PGSP_OK; ++index) {
    names.push_back(name);
  }
  return names;
}

ResultCode Installer::CreateAllLogdevices() {
  static constexpr TraceSite kSite{"Installer", "CreateAllLogdevices: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  log_.Write(">> CreateAllLogdevices");
  log_.Write(">> PGSP_CreateAllLogdevicesBL");
  const ResultCode library_result = board_library_.CreateAllLogdevices();
  ForgetStoreAfterLibraryCall();
  log_.Write("<< PGSP_CreateAllLogdevicesBL returns with: ", std::to_string(library_result));
  // The library's code is only logged: Import and Update judge by the files
  // that exist afterwards.
  const ResultCode result = CreateTCPStdLogDevice();
  log_.Write("<< CreateAllLogdevices returns with: ", std::to_string(result));
  Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
  return result;
}

ResultCode Installer::CreateTCPStdLogDevice() {
  static constexpr TraceSite kSite{"Installer", "CreateTCPStdLogDevice: "};
  Q9_TRACE(kSite, kEntry, ">> Create LogDevice CP TCP-Std");
  log_.Write(">> CreateTCPStdLogDevice");
  const std::string devices = paths().DataLogDevices();
  const ResultCode created = file_operator().CreateDir(log_, devices);
  // Usually the folder exists already; the copy below tells whether it matters.
  if (created != PGSP_OK) Q9_TRACE(kSite, kResult, "CreateDir failed with lRet = %d", created);

  const std::string device = JoinPath(devices, kTcpStdDeviceName);
  ResultCode result = file_operator().CopyFiles(
      log_, JoinPath(paths().MetaDefaultLogDevices(), kTcpTemplateName), device, 1);
  if (result == PGSP_OK) {
    result = Q9XMLSetValue(xml(), device, "Ndi", "static_logdevice", "true", "bool");
  }
  if (result == PGSP_OK) result = Q9XMLSetValue(xml(), device, "Ndi", "hidden", "true", "bool");
  log_.Write("<< CreateTCPStdLogDevice returns with: ", std::to_string(result));
  Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
  return result;
}

ResultCode Installer::ScanBoards() {
  static constexpr TraceSite kSite{"Installer", "ScanBoards: "};
  Q9_TRACE(kSite, kEntry, ">> Start");
  log_.Write(">> ScanBoards");
  const ResultCode result = board_library_.Scan();
  ForgetStoreAfterLibraryCall();
  log_.Write("<< ScanBoards returns with: ", std::to_string(result));
  Q9_TRACE(kSite, kResult, "<< return lRet = %d", result);
  return result;
}

}  // namespace q9
