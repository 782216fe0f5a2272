// Result codes of the tool. Every operation returns one; the process exits
// with the result of its operation. Operating-system error numbers and the
// board-control library's own results pass through unchanged.
#pragma once

#include <cstdint>

namespace q9 {

using ResultCode = int32_t;

inline constexpr ResultCode PGSP_OK = 0;
inline constexpr ResultCode ERR_MISSING_TEMPL_IN_INSTALL = 4;
inline constexpr ResultCode ERR_CANT_CREATE_COM_INSTANCE = 10;
inline constexpr ResultCode PGSP_ERR_INVALID_PARAMETERS = 87;
inline constexpr ResultCode PGSP_ERR_NO_MORE_ITEMS = 259;
inline constexpr ResultCode PGSP_ERR_CANT_LOAD_XML_FILE = 8508;
inline constexpr ResultCode ERR_CANT_LOAD_SCHEME = 8509;
inline constexpr ResultCode ERR_CREATE_DIRECTORY_FAILED = 8510;
inline constexpr ResultCode ERR_DELETE_FAILED = 8511;
inline constexpr ResultCode ERR_COPY_FAILED = 8512;

// The result an operation starts from before the mode is dispatched: no
// operation of this build handled the mode.
inline constexpr ResultCode kOperationNotAvailable = 1;
// Codes that carry no PGSP_/ERR_ name of their own; named here for readability.
inline constexpr ResultCode kNoLogDeviceCreated = 2;        // no log-device file after creation
inline constexpr ResultCode kMetaKindFolderEmpty = 3;       // a meta kind folder is empty after merge
inline constexpr ResultCode kTemplatesLeftInInstall = 5;    // Uninstall with templates in Install
inline constexpr ResultCode kElementNotCreated = 10;        // section writers
inline constexpr ResultCode kEntryMissing = 14;             // section, parameter or Load element missing
inline constexpr ResultCode kNoVersionAttribute = 8040;     // version writer
inline constexpr ResultCode kFileAttributesUnreadable = 8503;  // CheckFileSize
inline constexpr ResultCode kXmlObjectNotCreated = 8505;    // DOM document or schema cache
inline constexpr ResultCode kInvalidAgainstSchema = 8506;   // ValidateFile
inline constexpr ResultCode kStreamValueNotFound = 8513;    // streaming readers

}  // namespace q9
