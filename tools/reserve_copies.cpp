#include "tools/reserve_copies.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "platform/os/file.h"
#include "platform/os/system.h"
#include "src/config_file_set.h"
#include "tools/private_store.h"

namespace cfgexctl {
namespace {

constexpr std::wstring_view kBackupEnding = L".backup.xml";

// The path up to its last dot, where the library derives names from it.
std::wstring StemOf(const CConfigFileSet& names) {
  const std::wstring backup = names.GetBackupFile();
  return backup.substr(0, backup.size() - kBackupEnding.size());
}

void AddIfThere(std::wstring kind, const std::filesystem::path& path, std::vector<Copy>& copies) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return;
  Copy copy{std::move(kind), Wide(path.string())};
  copy.size = std::filesystem::file_size(path, error);
  const auto written = std::filesystem::last_write_time(path, error);
  if (!error) {
    const auto time = std::chrono::file_clock::to_sys(written);
    copy.written =
        std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
  }
  copies.push_back(std::move(copy));
}

}  // namespace

std::vector<Copy> FindCopies(const std::wstring& path) {
  std::vector<Copy> copies;
  CConfigFileSet names;
  if (!names.DeriveFileNames(path.c_str())) return copies;
  const std::string base = Narrow(StemOf(names));
  AddIfThere(L"backup", base + ".backup.xml", copies);
  AddIfThere(L"snapshot", base + ".tmp.xml", copies);

  std::vector<Copy> quarantine;
  for (const std::wstring& bad : names.FindBadFiles())
    AddIfThere(L"quarantine", Narrow(bad), quarantine);
  std::sort(quarantine.begin(), quarantine.end(), [](const Copy& left, const Copy& right) {
    return left.written != right.written ? left.written > right.written : left.path < right.path;
  });
  copies.insert(copies.end(), quarantine.begin(), quarantine.end());
  return copies;
}

std::wstring Quarantine(const std::wstring& path) {
  CConfigFileSet names;
  const std::wstring stem = names.DeriveFileNames(path.c_str()) ? StemOf(names) : path;
  auto number = static_cast<std::int32_t>(OS::GetTickCount());
  constexpr int kTries = 1000;
  for (int tries = 0; tries < kTries; ++tries, ++number) {
    std::wstring name = stem + L"." + std::to_wstring(number) + L".bad";
    if (OS::CopyFileW(path, name, true)) return name;
    std::error_code error;
    if (!std::filesystem::exists(Narrow(name), error)) break;
  }
  throw Stop(kFailed, OnOneLine(path) + L" cannot be copied beside itself; nothing was changed");
}

LoadedFile ReadCopy(CCfgOption option, const std::wstring& path) {
  std::string bytes = ReadFileBytes(path);
  if (const auto text = DecodeUtf16(bytes)) {
    auto document = ExplainedDocument::FromText(*text);
    if (document.Document()) return {option, path, std::move(bytes), std::move(document)};
  }
  return {option, path};
}

}  // namespace cfgexctl
