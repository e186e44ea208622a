#include "src/config_file_set.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "platform/os/encoding.h"
#include "platform/os/file.h"
#include "platform/os/system.h"
#include "src/frame.h"

namespace cfgex {
namespace {

constexpr std::size_t kNameBuffer = 260;  // characters, the end of the text included
constexpr std::wstring_view kBackupEnding = L".backup.xml";
constexpr std::wstring_view kTempEnding = L".tmp.xml";
constexpr std::wstring_view kBadEnding = L".%d.bad";

}  // namespace

bool CConfigFileSet::DeriveFileNames(const wchar_t* path) {
  if (path == nullptr) return m_bReady;
  m_bOfLastPath = false;
  if (m_RecoveryFile != path) m_RecoveryFile.clear();
  std::wstring stem = std::wstring(path).substr(0, kNameBuffer - 1);
  const std::size_t dot = stem.rfind(L'.');
  if (dot == std::wstring::npos) return m_bReady;
  stem.resize(dot);
  const std::size_t longestEnding =
      std::max({kBackupEnding.size(), kTempEnding.size(), kBadEnding.size()});
  if (stem.size() + longestEnding > kNameBuffer - 1) return m_bReady;
  m_BackupFile = stem + std::wstring(kBackupEnding);
  m_TempFile = stem + std::wstring(kTempEnding);
  m_BadFilePattern = stem + std::wstring(kBadEnding);
  m_MainFile = path;
  m_bReady = m_bOfLastPath = true;
  return true;
}

bool CConfigFileSet::CopyToBackup() const {
  return m_bOfLastPath && OS::CopyFileW(m_MainFile, m_BackupFile, false);
}

bool CConfigFileSet::CopyToTemp() const {
  return m_bOfLastPath && OS::CopyFileW(m_MainFile, m_TempFile, false);
}

bool CConfigFileSet::RestoreFromBackup() const {
  return m_bOfLastPath && OS::CopyFileW(m_BackupFile, m_MainFile, false);
}

// The number replaces the pattern's own "%d", which is the last: the path may hold others. It goes
// up from one bad file to the next, also within a millisecond: main and backup that are both bad
// are found so in less.
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

// STEM.bad without the directory: all bad files are made under one name.
std::wstring CConfigFileSet::BadFileFamily() const {
  std::wstring name = m_BadFilePattern.substr(m_BadFilePattern.rfind(L'/') + 1);
  const std::size_t place = name.rfind(L".%d");
  if (place != std::wstring::npos) name.erase(place, 3);
  return name;
}

bool CConfigFileSet::CopyToBadFile(const wchar_t* source) {
  if (source == nullptr) return false;
  if (!OS::CopyFileW(source, BadFileName(), false, BadFileFamily())) return false;
  m_RecoveryFile = source;
  return true;
}

bool CConfigFileSet::WriteBadFile(const wchar_t* text) {
  if (text == nullptr) return false;
  bool written = false;
  Guarded([&] {
    ReplaceFileAsCopy(BadFileName(), ToUtf16Le(text), m_MainFile, BadFileFamily());
    written = true;
  });
  return written;
}

}  // namespace cfgex
