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

// What is there, the backup first, then the newest first.
std::vector<Copy> FindCopies(const std::wstring& path);
// A new file beside `path` that holds what it holds, named like the library's quarantine. Raises
// _com_error when it cannot be made.
std::wstring Quarantine(const std::wstring& path);

// A copy, read: some quarantine files hold a text in UTF-16.
LoadedFile ReadCopy(CCfgOption option, const std::wstring& path);

}  // namespace cfgexctl
