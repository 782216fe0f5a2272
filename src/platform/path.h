// Path text helpers. Paths are plain strings with the native separator.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace q9 {

// '/' on POSIX, '\\' on Windows; defined by the platform implementation.
extern const char kPathSeparator;

// Joins with one separator when both parts are non-empty, else concatenates.
std::string JoinPath(std::string_view folder, std::string_view name);

// The last component of `path` (after the last separator).
std::string_view BaseName(std::string_view path);

// Everything before the last separator; empty when there is none.
std::string_view ParentPath(std::string_view path);

// ASCII-only case folding, as the store's comparisons need: `c` in upper
// case, other bytes as they are.
inline char FoldAscii(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }
std::string FoldedAscii(std::string_view text);
// The absolute `path` folded to ASCII upper case without trailing
// separators: every spelling that resolves to one entry gives one key.
// Nothing for a relative path or one with empty, "." or ".." components,
// whose folded form says nothing of the entry it names.
std::optional<std::string> FoldedPathKey(std::string_view path);
bool EqualsIgnoreCase(std::string_view a, std::string_view b);
bool ContainsIgnoreCase(std::string_view haystack, std::string_view needle);

// The order of directory listings, the native Windows one: by the names'
// ASCII upper-case form, then by their bytes, so runs are reproducible on
// every file system.
bool StoreOrderLess(std::string_view a, std::string_view b);

}  // namespace q9
