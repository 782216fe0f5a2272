#include "platform/path.h"

#include <algorithm>

namespace q9 {
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

std::string FoldedAscii(std::string_view text) {
  std::string folded(text);
  for (char& c : folded) c = FoldAscii(c);
  return folded;
}

namespace {

bool IsAbsolute(std::string_view path) {
  return (!path.empty() && path.front() == kPathSeparator) ||
         (path.size() > 2 && path[1] == ':' && path[2] == kPathSeparator);
}

}  // namespace

std::optional<std::string> FoldedPathKey(std::string_view path) {
  if (!IsAbsolute(path)) return std::nullopt;
  while (path.size() > 1 && path.back() == kPathSeparator) path.remove_suffix(1);
  const size_t start = path.find(kPathSeparator) + 1;
  for (size_t pos = start; pos < path.size();) {
    const size_t end = std::min(path.find(kPathSeparator, pos), path.size());
    const std::string_view component = path.substr(pos, end - pos);
    if (component.empty() || component == "." || component == "..") return std::nullopt;
    pos = end + 1;
  }
  std::string key(path);
  std::transform(key.begin() + static_cast<std::ptrdiff_t>(start), key.end(),
                 key.begin() + static_cast<std::ptrdiff_t>(start), FoldAscii);
  return key;
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
  // One pass: the upper-case forms decide, and where they are equal the
  // first byte that differs, as a bytewise comparison would. Names in one
  // folder often share long beginnings, which are skipped byte by byte.
  const size_t common = std::min(a.size(), b.size());
  int bytewise = 0;
  for (size_t i = std::mismatch(a.begin(), a.begin() + common, b.begin()).first - a.begin();
       i < common; ++i) {
    const auto x = static_cast<unsigned char>(FoldAscii(a[i]));
    const auto y = static_cast<unsigned char>(FoldAscii(b[i]));
    if (x != y) return x < y;
    if (bytewise == 0 && a[i] != b[i]) {
      bytewise = static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]) ? -1 : 1;
    }
  }
  if (a.size() != b.size()) return a.size() < b.size();
  return bytewise < 0;
}

}  // namespace q9
