// The copies that the library leaves beside a configuration file.
#pragma once

#include <ctime>

#include "tools/difference.h"

namespace cfgexctl {

struct Copy {
  std::wstring kind;  // "backup", "snapshot" or "quarantine"
  std::wstring path;
  std::time_t written = 0;
  std::uintmax_t size = 0;
};

// The copies of a file, the backup first, then the newest first.
std::vector<Copy> FindCopies(const std::wstring& path);
// Copies `path` to a new file in its directory, named like the library's bad files. Raises
// _com_error if it cannot be made.
std::wstring Quarantine(const std::wstring& path);

// The content of a copy. Some bad files are in UTF-16.
LoadedFile ReadCopy(CCfgOption option, const std::wstring& path);

}  // namespace cfgexctl
