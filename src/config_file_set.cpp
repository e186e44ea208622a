#include "src/config_file_set.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/os/encoding.h"
#include "platform/os/file.h"
#include "platform/os/system.h"
#include "src/frame.h"

namespace cfgex::internal {
namespace {

constexpr std::size_t kNameBuffer = 260;  // characters, the end of the text included
constexpr std::wstring_view kBackupEnding = L".backup.xml";
constexpr std::wstring_view kTempEnding = L".tmp.xml";
constexpr std::wstring_view kBadEnding = L".%d.bad";

}  // namespace

bool CConfigFileSet::DeriveFileNames(const wchar_t* path) {
  if (path == nullptr) return m_Names != Names::kNone;
  if (m_RecoveryFile != path) m_RecoveryFile.clear();
  m_bAside = false;
  m_MainFile = path;
  if (m_Names == Names::kOwn) m_Names = Names::kOfEarlierPath;
  std::wstring stem = m_MainFile.substr(0, kNameBuffer - 1);
  const std::size_t dot = stem.rfind(L'.');
  if (dot == std::wstring::npos) return m_Names != Names::kNone;
  stem.resize(dot);
  const std::size_t longestEnding =
      std::max({kBackupEnding.size(), kTempEnding.size(), kBadEnding.size()});
  if (stem.size() + longestEnding > kNameBuffer - 1) return m_Names != Names::kNone;
  m_BackupFile = stem + std::wstring(kBackupEnding);
  m_TempFile = stem + std::wstring(kTempEnding);
  m_BadFilePattern = stem + std::wstring(kBadEnding);
  m_Names = Names::kOwn;
  return true;
}

bool CConfigFileSet::CopyToBackup(const FileIdentity& identity) const {
  return HasCompanions() && CopyKnownFile(m_MainFile, m_BackupFile, identity);
}

bool CConfigFileSet::CopyToTemp() const {
  return HasCompanions() && OS::CopyFileW(m_MainFile, m_TempFile, false);
}

bool CConfigFileSet::RestoreFromBackup() {
  if (!HasCompanions()) return false;
  return Succeeds([&] {
    if (m_bAside) {
      RestoreFile(m_BackupFile, m_MainFile);
      return true;
    }
    if (IsMissing(m_MainFile)) return OS::CopyFileW(m_BackupFile, m_MainFile, true);
    if (IsMissing(m_BackupFile)) return false;
    m_bAside = MakeBadFile(
        [&](const std::wstring& name) { ReplaceAndKeep(m_MainFile, m_BackupFile, name); });
    if (m_bAside) m_RecoveryFile = m_MainFile;
    return m_bAside;
  });
}

// The number replaces the last "%d", which is the pattern's own: the path may contain others. Each
// attempt uses a greater number than the one before, since main and backup may both be put aside
// within one millisecond.
std::wstring CConfigFileSet::BadFileName() {
  std::uint32_t number = OS::GetTickCount();
  if (m_LastNumber && static_cast<std::int32_t>(number - *m_LastNumber) <= 0)
    number = *m_LastNumber + 1;
  m_LastNumber = number;
  std::wstring name = m_BadFilePattern;
  const std::size_t place = name.rfind(L"%d");
  if (place != std::wstring::npos)
    name.replace(place, 2, std::to_wstring(static_cast<std::int32_t>(number)));
  return name;
}

// Other stores of this stem, in this process or another, may take a number first.
template <class Maker>
bool CConfigFileSet::MakeBadFile(const Maker& make) {
  constexpr int kMostTries = 100000;
  return Succeeds([&] {
    for (int tries = 0; tries < kMostTries; ++tries) {
      try {
        make(BadFileName());
        return true;
      } catch (const FileExists&) {  // NOLINT(bugprone-empty-catch): the next number
      }
    }
    return false;
  });
}

bool CConfigFileSet::CopyToBadFile(const wchar_t* source) {
  if (source == nullptr) return false;
  m_bAside = false;
  if (IsMissing(source)) return false;
  const auto copy = [&](const std::wstring& name) { CopyToNewFile(source, name); };
  const auto link = [&](const std::wstring& name) { LinkToNewFile(source, name); };
  if (!HasNewestBadFile(source) && !MakeBadFile(copy) && !MakeBadFile(link)) return false;
  m_RecoveryFile = source;
  m_bAside = true;
  return true;
}

std::vector<std::wstring> CConfigFileSet::FindBadFiles() const {
  std::vector<std::wstring> paths;
  const std::size_t place = m_BadFilePattern.rfind(L"%d");
  if (place == std::wstring::npos) return paths;
  const std::wstring folder = m_BadFilePattern.substr(0, m_BadFilePattern.rfind(L'/') + 1);
  Guarded([&] {
    const std::string start = ToUtf8(m_BadFilePattern.substr(folder.size(), place - folder.size()));
    const std::string end = ToUtf8(m_BadFilePattern.substr(place + 2));
    std::vector<ListedFile> files = ListFiles(folder.empty() ? L"." : folder);
    std::erase_if(files, [&](const ListedFile& file) {
      std::string_view number = file.name;
      if (!number.starts_with(start) || !number.ends_with(end)) return true;
      if (number.size() <= start.size() + end.size()) return true;
      number.remove_prefix(start.size());
      number.remove_suffix(end.size());
      if (number.starts_with('-')) number.remove_prefix(1);
      return number.empty() || number.find_first_not_of("0123456789") != number.npos;
    });
    const auto written = [](const ListedFile& file) {
      return std::pair(file.identity[3], file.identity[4]);
    };
    std::sort(files.begin(), files.end(), [&](const ListedFile& left, const ListedFile& right) {
      return written(left) > written(right);
    });
    for (const ListedFile& file : files) paths.push_back(folder + FromUtf8(file.name));
  });
  return paths;
}

bool CConfigFileSet::HasNewestBadFile(const wchar_t* source) const {
  const std::vector<std::wstring> bad = FindBadFiles();
  std::string content;
  std::string kept;
  return !bad.empty() && ReadWholeFile(source, content) == Reading::kDone &&
         ReadWholeFile(bad.front(), kept) == Reading::kDone && content == kept;
}

bool CConfigFileSet::WriteBadFile(const wchar_t* text) {
  if (text == nullptr) return false;
  return MakeBadFile(
      [&](const std::wstring& name) { WriteNewFile(name, ToUtf16Le(text), m_MainFile); });
}

}  // namespace cfgex::internal
