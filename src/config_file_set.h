// A configuration file and its companions.
//
//   main        the configuration, at the path that the application gave
//   backup      STEM.backup.xml: the last main file known to be valid
//   snapshot    STEM.tmp.xml: the main file from before the last tenth commit
//   bad         STEM.N.bad: what failed validation; N is the system's millisecond counter, or the
//               next number above it that is free
//
// STEM is the path up to its last dot, wherever that is. A path that gives no names keeps those of
// an earlier path, but uses them for bad files only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/file.h"

namespace cfgex::internal {

class CConfigFileSet {
 public:
  // Derives the names. Nothing changes when `path` is null, has no dot in its first 259
  // characters, or is so long that a derived name would not fit into 260 characters with its end.
  // Returns whether the set is ready, now or from an earlier path, whose names are kept then. The
  // recovery file of another path is forgotten.
  bool DeriveFileNames(const wchar_t* path);

  // Whether backup and snapshot are those of the path given last.
  bool HasCompanions() const { return m_Names == Names::kOwn; }

  // Main over backup, if main is the file of that identity.
  bool CopyToBackup(const FileIdentity& identity) const;
  bool CopyToTemp() const;  // main over snapshot
  // Puts `source` aside, and makes it the recovery file: the path to load again once the backup has
  // replaced it. It is copied to a bad file, or linked if it cannot be copied. Nothing is made if
  // the newest bad file has the same content.
  bool CopyToBadFile(const wchar_t* source);
  // Copies the backup over a main file that is missing, or that was the last one to be put aside.
  // Any other main file is moved to a bad file first, the last way to put it aside. It stays if
  // there is no backup, or the backup cannot be copied.
  bool RestoreFromBackup();
  // Makes a bad file that holds `text` in UTF-16, little-endian, without a byte-order mark. Its
  // rights are no wider than the main file's.
  bool WriteBadFile(const wchar_t* text);

  std::wstring GetBackupFile() const { return m_BackupFile; }
  std::wstring GetRecoveryFile() const { return m_RecoveryFile; }
  // The paths of the bad files, the newest first.
  std::vector<std::wstring> FindBadFiles() const;

 private:
  enum class Names { kNone, kOfEarlierPath, kOwn };
  bool HasNewestBadFile(const wchar_t* source) const;
  template <class Maker>
  bool MakeBadFile(const Maker& make);
  std::wstring BadFileName();

  Names m_Names = Names::kNone;
  std::wstring m_MainFile;  // the path given last
  std::wstring m_BackupFile;
  std::wstring m_TempFile;
  std::wstring m_BadFilePattern;              // with the "%d" unfilled
  std::optional<std::uint32_t> m_LastNumber;  // of a bad file
  std::wstring m_RecoveryFile;                // empty until a file has been put aside
  bool m_bAside = false;                      // whether the last attempt to do so worked
};

}  // namespace cfgex::internal
