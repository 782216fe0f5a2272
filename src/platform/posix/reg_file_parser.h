// Parser of the .reg text format that stands for the registry on POSIX. It
// works on the file's bytes in memory and keeps only the keys under
// HKEY_LOCAL_MACHINE, the hive the program reads.
//
// What it accepts (the grammar of the Windows registry editor):
// - The first line is "Windows Registry Editor Version 5.00" or "REGEDIT4",
//   with blanks before and after allowed; anything else yields no keys.
//   FF FE starts a UTF-16LE file; otherwise the bytes are UTF-8, with or
//   without a BOM. Lines end at CR LF, LF or CR. A NUL byte ends its line
//   (the editor reads lines as C strings). Leading blanks are skipped.
// - "[HKEY_LOCAL_MACHINE\A\B]" opens key A\B (A exists as long as a key below
//   it does, the hive as long as any key does): the key name ends
//   at the last ']' of the line and the rest of the line is ignored. A blank
//   right after '[' makes the line ignored; "[-HKEY_LOCAL_MACHINE\A]" deletes A
//   with all its subkeys. Root names count only in full (no "HKLM"). Any other
//   '[' line (other hive, empty component, no ']') closes the current key, so
//   the values that follow are dropped, as are values before the first key.
//   A key named again later gets the later values added.
// - Value lines: "name"=data or @=data, blanks allowed around '='; "" names
//   the default value like @; \\ and \" are the only escapes (any other
//   backslash stays as written); a later value of the same name wins;
//   "name"=- deletes the value. Data:
//     "text"                 string; blanks and a ;comment may follow
//     dword:XXXXXXXX         1 to 8 hex digits
//     hex:..  hex(N):..      byte lists of 1-2 hex digits separated by commas,
//                            continued on the next line after a trailing '\'
//                            (comment lines in between are skipped). N is
//                            the value type in hex: 2 expandable string,
//                            7 multi-string, b qword. Strings in byte lists
//                            are UTF-16LE in version 5 files and 8-bit text
//                            (read as UTF-8) in REGEDIT4 files.
//   The type words are lower case only ("DWORD:" is not data). A continued
//   byte list that ends with the file, or whose next line holds no bytes, is
//   dropped. Lines that fit none of this, and ';' lines, are ignored.
//
// Values come out as Windows stores them: strings UTF-16LE with their NUL,
// dwords 4 bytes little-endian, byte lists as written. For the string types
// `text` is the UTF-8 form (invalid sequences become U+FFFD): up to the first
// NUL for strings (expandable strings are not expanded); for multi-strings
// the entries up to the first empty one, joined by '\0' characters.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "platform/env.h"

namespace q9 {

// The values of one key, by name in ASCII upper case ("" is the default value).
using RegistryValues = std::map<std::string, RegistryValue>;

// The HKEY_LOCAL_MACHINE keys of one file, by path below the hive in ASCII
// upper case ("" is the hive itself).
struct RegistryHive {
  // The keys that the file names in a section; their parents are implied.
  std::map<std::string, RegistryValues> keys;

  // The values of `key_path` (backslash separated, any letter case), or
  // nullptr when the file has no such key. The parents of a key, the hive
  // included, exist without values.
  const RegistryValues* FindKey(std::string_view key_path) const;
};

// Never fails: malformed lines are skipped, a missing header gives no keys.
RegistryHive ParseRegFile(std::string_view bytes);

}  // namespace q9
