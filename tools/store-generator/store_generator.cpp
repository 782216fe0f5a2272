#include "store_generator.h"

#include <vector>

#include "platform/path.h"
#include "xml/template_namespace.h"

namespace q9 {
namespace {

std::string Root(const char* element, const char* kind, const std::string& attributes) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<" + std::string(element) + " xmlns=\"" +
         TemplateNamespaceBase() + kind + "\" " + attributes + ">\n";
}

std::string Parameter(const char* kind, const std::string& name, const std::string& value) {
  return "    <" + std::string(kind) + "><Name>" + name + "</Name><Value>" + value + "</Value></" +
         kind + ">\n";
}

// 100 parameters over the sections a default log device has.
std::string DefaultLogDevice(int i) {
  const std::string id = std::to_string(i);
  std::string text = Root("LogDevice", "/LogDevice",
                          "DeviceID=\"BRD" + std::to_string(i % 100) + "\" CP_TYPE=\"PROTO" +
                              std::to_string(i / 100) + "\" MajorVersion=\"2\" MinorVersion=\"1\"");
  text += "  <DeviceHeader>\n" + Parameter("Parameter", "DeviceName", "Device." + id) +
          Parameter("Parameter", "DeviceDescription", "Generated device " + id) +
          "  </DeviceHeader>\n  <LocalSettings>\n";
  for (int p = 0; p < 40; ++p) {
    text += Parameter("ParameterInt", "Local" + std::to_string(p), std::to_string(p * 7 + i));
  }
  text += "  </LocalSettings>\n  <NetworkSettings>\n";
  for (int p = 0; p < 40; ++p) {
    text += Parameter("Parameter", "Net" + std::to_string(p), "value " + std::to_string(p));
  }
  text += "  </NetworkSettings>\n  <Ndi>\n";
  for (int p = 0; p < 17; ++p) text += Parameter("Parameter", "Ndi" + std::to_string(p), id);
  text += Parameter("ParameterBool", "hidden", "false");
  return text + "  </Ndi>\n</LogDevice>\n";
}

std::string Protocol(int i) {
  std::string text = Root("Protocol", "/Protocols",
                          "Name=\"PROTO" + std::to_string(i) + "\" MajorVersion=\"1\" MinorVersion=\"0\"");
  text += "  <ParamSections>\n    <ParamSection Name=\"Bus\">\n";
  for (int p = 0; p < 20; ++p) {
    text += "      <Param Name=\"P" + std::to_string(p) + "\" Type=\"int\">\n"
            "        <Constraint Name=\"Default\" Value=\"" + std::to_string(p) + "\"/>\n"
            "        <ValueCollection><Value>1</Value><Value>2</Value></ValueCollection>\n"
            "      </Param>\n";
  }
  return text + "    </ParamSection>\n  </ParamSections>\n</Protocol>\n";
}

std::string Board(int i) {
  std::string text = Root("Board", "/Boards",
                          "DeviceID=\"BRD" + std::to_string(i) + "\" CP_TYPE=\"BOARD\" MajorVersion=\"1\"");
  text += "  <BoardAttributes>\n";
  for (int p = 0; p < 20; ++p) {
    text += "  " + Parameter("Parameter", "Attribute" + std::to_string(p), std::to_string(p));
  }
  return text + "  </BoardAttributes>\n</Board>\n";
}

std::string LogName(const std::string& name) {
  return Root("LogName", "/LogName", "Name=\"" + name + "\"") + "  <Parameters>\n" +
         Parameter("Parameter", "LogDevice", "Device.0") + "  </Parameters>\n</LogName>\n";
}

// Zero-padded, so that the store's sorted order is the order of creation.
std::string Numbered(const char* prefix, int i) {
  std::string number = std::to_string(i);
  return prefix + std::string(6 - std::min<size_t>(6, number.size()), '0') + number + ".xml";
}

}  // namespace

ResultCode GenerateStore(Env& env, const std::string& sample_store, const std::string& root,
                         int count) {
  FileSystem& fs = env.files();
  (void)fs.CreateDirectory(root);
  OsError error = fs.CopyTree(JoinPath(sample_store, "Schemes"), JoinPath(root, "Schemes"));
  const std::string meta = JoinPath(root, "meta");
  const std::string install = JoinPath(root, "Install");
  for (const std::string& folder :
       {meta, install, JoinPath(install, "DefaultLogdevices"), JoinPath(install, "Protocols"),
        JoinPath(install, "Boards"), JoinPath(install, "LogNames")}) {
    const OsError created = fs.CreateDirectory(folder);
    if (error == 0 && created != os_error::kAlreadyExists) error = created;
  }
  for (const char* fixed : {"LLDP.xml", "PGSP.xml", "DCP_Server.xml", "TCP_Adapter.xml"}) {
    if (error == 0) {
      error = fs.CopyFile(JoinPath(JoinPath(sample_store, "meta"), fixed), JoinPath(meta, fixed), true);
    }
  }
  // The standard TCP device is made from this one.
  const char* const tcp = "Automation-OnlineAccess-LDT-Loomnet.TCPIP.xml";
  if (error == 0) {
    error = fs.CopyFile(JoinPath(JoinPath(JoinPath(sample_store, "Install"), "DefaultLogdevices"), tcp),
                        JoinPath(JoinPath(install, "DefaultLogdevices"), tcp), true);
  }
  const auto write = [&](const std::string& folder, const std::string& name, const std::string& text) {
    if (error == 0) error = fs.WriteFileAtomic(JoinPath(JoinPath(install, folder), name), text);
  };
  for (int i = 0; i < count; ++i) {
    write("DefaultLogdevices", Numbered("Automation-OnlineAccess-LDT-", i), DefaultLogDevice(i));
  }
  for (int i = 0; i < count / 10; ++i) {
    write("Protocols", Numbered("Automation-OnlineAccess-PT-", i), Protocol(i));
    write("Boards", Numbered("Automation-OnlineAccess-BT-", i), Board(i));
  }
  write("LogNames", "Automation-OnlineAccess-LN-BENCH_A.xml", LogName("BENCH_A"));
  write("LogNames", "Automation-OnlineAccess-LN-BENCH_B.xml", LogName("BENCH_B"));
  return error;
}

}  // namespace q9
