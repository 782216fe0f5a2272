// A stand-in for the board-control library, for development machines
// without the boards. It finds the store as q9cfgImp64x does and turns every
// merged default log device of a present board into a log device named
// after its DeviceName. The environment steers it (see README.md):
//
//   Q9_BOARD_SIM_BOARDS     file listing the present boards' DeviceIDs, one a
//                           line ('#' starts a comment); unset: all present
//   Q9_BOARD_SIM_RESULT     the code both calls return (default 0)
//   Q9_BOARD_SIM_CREATE     "none": create no file
//   Q9_BOARD_SIM_NAME_CASE  "upper" or "lower": the case of created names
//
// It is a shared library loaded into the program, so it keeps no state
// between calls and leaves libxml2's global settings alone.
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlreader.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr char kStoreSubPath[] = "Kestrel/Automation/Corvane OAM";
constexpr char kStoreKey[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Kestrel\\Shared Tools\\Q9NET64";

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::optional<std::string> ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Writes a temporary file beside `path` and renames it over `path`, so a
// reader never sees half a file.
bool WriteAtomically(const fs::path& path, const std::string& contents) {
  const fs::path temporary = path.parent_path() / ("." + path.filename().string() + ".sim-tmp");
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << contents;
    out.flush();
    if (!out) {
      std::error_code ignored;
      fs::remove(temporary, ignored);
      return false;
    }
  }
  std::error_code error;
  fs::rename(temporary, path, error);
  if (error) fs::remove(temporary, error);
  return !error;
}

// The string value `name` of the store key in a .reg file (UTF-8 or ASCII),
// or nothing. Enough of the format for the files the program's users write.
std::optional<std::string> RegistryString(const std::string& reg, const std::string& name) {
  std::istringstream lines(reg);
  std::string line;
  bool in_key = false;
  std::optional<std::string> found;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.starts_with('[')) {
      const size_t close = line.rfind(']');
      in_key = close != std::string::npos && Lower(line.substr(1, close - 1)) == Lower(kStoreKey);
      continue;
    }
    if (!in_key || !line.starts_with('"')) continue;
    const size_t end_name = line.find('"', 1);
    if (end_name == std::string::npos || Lower(line.substr(1, end_name - 1)) != Lower(name)) continue;
    const size_t open = line.find('"', end_name + 1);
    if (open == std::string::npos || line.find('=', end_name) > open) continue;
    std::string value;
    bool closed = false;
    for (size_t i = open + 1; i < line.size(); ++i) {
      if (line[i] == '\\' && i + 1 < line.size()) {
        value += line[++i];
      } else if (line[i] == '"') {
        closed = true;
        break;
      } else {
        value += line[i];
      }
    }
    if (closed) found = value;  // the last one wins, as in the registry editor
  }
  return found;
}

bool IsDirectory(const std::string& path) {
  std::error_code error;
  return !path.empty() && fs::is_directory(path, error);
}

// A store root as the program resolves it: the registry value when it names
// a folder, else the known folder (overridable as for the program).
std::string StoreRoot(const char* value_name, const char* override_variable,
                      const char* system_folder) {
  std::string registry_file = Variable("Q9_REGISTRY_FILE");
  if (registry_file.empty()) registry_file = "/etc/opt/Kestrel/registry.reg";
  if (const auto reg = ReadFile(registry_file)) {
    const auto value = RegistryString(*reg, value_name);
    if (value && IsDirectory(*value)) return *value;
  }
  std::string base = Variable(override_variable);
  if (base.empty()) base = system_folder;
  return base + "/" + kStoreSubPath;
}

std::string ProgramFilesRoot() { return StoreRoot("Corvane_Oam", "Q9_COMMON_FILES", "/opt"); }
std::string ProgramDataRoot() {
  return StoreRoot("Corvane_Oam_Data", "Q9_COMMON_APPDATA", "/var/opt");
}

struct XmlDocFree {
  void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
using XmlDoc = std::unique_ptr<xmlDoc, XmlDocFree>;

XmlDoc Parse(const std::string& bytes) {
  if (bytes.size() > static_cast<size_t>(INT32_MAX)) return nullptr;
  return XmlDoc(xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

// The text libxml2 handed over, freed; "" for none.
std::string Taken(xmlChar* text) {
  std::string taken = text == nullptr ? "" : reinterpret_cast<const char*>(text);
  xmlFree(text);
  return taken;
}

std::string RootAttribute(xmlDoc* doc, const char* name) {
  xmlNode* root = xmlDocGetRootElement(doc);
  return root == nullptr ? "" : Taken(xmlGetProp(root, BAD_CAST name));
}

struct ReaderFree {
  void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};

struct Identity {
  std::string device_id;    // of the root element
  std::string device_name;  // DeviceHeader's parameter DeviceName, or ""
};

// Reads a default log device no further than its identity: creating a
// thousand devices should cost little next to the program's own work. Of
// several Value children the last counts. Nothing for a file that is not
// XML up to there.
std::optional<Identity> ReadIdentity(const std::string& bytes) {
  if (bytes.size() > static_cast<size_t>(INT32_MAX)) return std::nullopt;
  std::unique_ptr<xmlTextReader, ReaderFree> reader(
      xmlReaderForMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                         XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (reader == nullptr) return std::nullopt;
  Identity identity;
  bool in_header = false;
  std::string name;
  std::string value;
  int read;
  while ((read = xmlTextReaderRead(reader.get())) == 1) {
    const int type = xmlTextReaderNodeType(reader.get());
    const int depth = xmlTextReaderDepth(reader.get());
    const xmlChar* local = xmlTextReaderConstLocalName(reader.get());
    const bool element = type == XML_READER_TYPE_ELEMENT;
    if (element && depth == 0) {
      identity.device_id = Taken(xmlTextReaderGetAttribute(reader.get(), BAD_CAST "DeviceID"));
    } else if (depth == 1) {
      in_header = element && xmlStrcmp(local, BAD_CAST "DeviceHeader") == 0 &&
                  !xmlTextReaderIsEmptyElement(reader.get());
    } else if (in_header && depth == 2 && element) {
      name.clear();
      value.clear();
    } else if (in_header && depth == 3 && element) {
      const bool is_name = xmlStrcmp(local, BAD_CAST "Name") == 0;
      if (is_name || xmlStrcmp(local, BAD_CAST "Value") == 0) {
        (is_name ? name : value) = Taken(xmlTextReaderReadString(reader.get()));
      }
    } else if (in_header && depth == 2 && type == XML_READER_TYPE_END_ELEMENT &&
               name == "DeviceName") {
      identity.device_name = value;
      return identity;
    }
  }
  if (read < 0) return std::nullopt;
  return identity;
}

// A name that stays inside the log-device folder.
bool IsPlainFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
         name.find('\\') == std::string::npos;
}

// The DeviceIDs of the present boards; nothing when every board counts.
std::optional<std::set<std::string>> Inventory() {
  const std::string path = Variable("Q9_BOARD_SIM_BOARDS");
  if (path.empty()) return std::nullopt;
  std::set<std::string> boards;
  const auto text = ReadFile(path);
  if (!text) {
    std::fprintf(stderr, "board-sim: cannot read the board inventory %s: no board present\n",
                 path.c_str());
    return boards;
  }
  std::istringstream lines(*text);
  std::string line;
  while (std::getline(lines, line)) {
    line = line.substr(0, line.find('#'));
    const auto blank = [](unsigned char c) { return std::isspace(c) != 0; };
    line.erase(line.begin(), std::find_if_not(line.begin(), line.end(), blank));
    line.erase(std::find_if_not(line.rbegin(), line.rend(), blank).base(), line.end());
    if (!line.empty()) boards.insert(line);
  }
  return boards;
}

std::vector<fs::path> XmlFilesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    if (it->is_regular_file(error) && Lower(it->path().extension().string()) == ".xml") {
      files.push_back(it->path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

int32_t Result() { return static_cast<int32_t>(std::strtol(Variable("Q9_BOARD_SIM_RESULT").c_str(), nullptr, 10)); }

std::string ApplyNameCase(const std::string& name) {
  const std::string wanted = Variable("Q9_BOARD_SIM_NAME_CASE");
  if (wanted == "upper") return Upper(name);
  if (wanted == "lower") return Lower(name);
  return name;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t PGSP_CreateAllLogdevicesBL() {
  const int32_t result = Result();
  if (Variable("Q9_BOARD_SIM_CREATE") == "none") {
    std::fprintf(stderr, "board-sim: created no log device, returning %d\n", result);
    return result;
  }
  const fs::path templates = fs::path(ProgramFilesRoot()) / "meta" / "DefaultLogDevices";
  const fs::path devices = fs::path(ProgramDataRoot()) / "data" / "LogDevices";
  // Like the program, the simulator never writes through a link planted in
  // the store: the log devices would land wherever it points.
  std::error_code error;
  for (const fs::path& folder : {devices.parent_path(), devices}) {
    if (fs::is_symlink(folder, error)) {
      std::fprintf(stderr, "board-sim: %s is a symbolic link, created no log device\n",
                   folder.c_str());
      return result;
    }
  }
  fs::create_directories(devices, error);
  const auto inventory = Inventory();
  int created = 0;
  for (const fs::path& file : XmlFilesIn(templates)) {
    const auto bytes = ReadFile(file);
    const auto identity = bytes ? ReadIdentity(*bytes) : std::nullopt;
    if (!identity) continue;
    if (inventory && inventory->count(identity->device_id) == 0) continue;
    const std::string& name = identity->device_name;
    if (!IsPlainFileName(name)) continue;
    if (WriteAtomically(devices / ApplyNameCase(name + ".xml"), *bytes)) ++created;
  }
  std::fprintf(stderr, "board-sim: created %d log devices in %s, returning %d\n", created,
               devices.c_str(), result);
  return result;
}

extern "C" __attribute__((visibility("default"))) int32_t PGSP_ScanBL() {
  const int32_t result = Result();
  std::set<std::string> found;
  if (const auto inventory = Inventory()) {
    found = *inventory;
  } else {
    for (const fs::path& file : XmlFilesIn(fs::path(ProgramFilesRoot()) / "meta" / "Boards")) {
      const auto bytes = ReadFile(file);
      const XmlDoc doc = bytes ? Parse(*bytes) : nullptr;
      if (doc) found.insert(RootAttribute(doc.get(), "DeviceID"));
    }
  }
  std::string list;
  for (const std::string& board : found) list += " " + board;
  std::fprintf(stderr, "board-sim: scan found %zu boards:%s, returning %d\n", found.size(),
               list.c_str(), result);
  return result;
}
