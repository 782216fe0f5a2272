#include "platform/path.h"

#include <algorithm>

namespace q9 {
namespace {

char FoldAscii(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string joined(folder);
  if (!folder.empty() && !name.empty()) joined += kPathSeparator;
  joined += name;
  return joined;
}

std::string_view BaseName(std::string_view path) {
  const size_t slash = path.rfind(kPathSeparator);
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view ParentPath(std::string_view path) {
  const size_t slash = path.rfind(kPathSeparator);
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(),
                    [](char x, char y) { return FoldAscii(x) == FoldAscii(y); });
}

bool ContainsIgnoreCase(std::string_view haystack, std::string_view needle) {
  return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(),
                     [](char x, char y) { return FoldAscii(x) == FoldAscii(y); }) !=
         haystack.end();
}

bool StoreOrderLess(std::string_view a, std::string_view b) {
  const auto less_upper = [](char x, char y) {
    return static_cast<unsigned char>(FoldAscii(x)) < static_cast<unsigned char>(FoldAscii(y));
  };
  if (std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), less_upper)) {
    return true;
  }
  if (std::lexicographical_compare(b.begin(), b.end(), a.begin(), a.end(), less_upper)) {
    return false;
  }
  return a < b;
}

}  // namespace q9
