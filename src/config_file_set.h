// The family of files around a configuration file.
//
//   main        the configuration, at the path that the application gave
//   backup      STEM.backup.xml: the last main file known to be valid
//   temporary   STEM.tmp.xml: the main file as it stood before the last tenth commit
//   bad         STEM.N.bad: what failed validation; N is the system's millisecond counter, or one
//               more than the last number of this set, if that is more
//
// STEM is the path up to its last dot, wherever that is. A set is ready once names were derived.
// Main, backup and temporary file are copied only if their names are those of the path given last:
// what stands in an earlier main file has not been looked at since.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cfgex {

class CConfigFileSet {
 public:
  // Derives the names. Nothing changes when `path` is null, has no dot in its first 259
  // characters, or is so long that a derived name would not fit into 260 characters with its end.
  // Gives whether the set is ready, now or from an earlier path, whose names then stay. The
  // recovery file of another path is forgotten.
  bool DeriveFileNames(const wchar_t* path);

  bool CopyToBackup() const;       // main over backup
  bool CopyToTemp() const;         // main over temporary
  bool RestoreFromBackup() const;  // backup over main
  // Makes a bad file as a copy of `source`, which on success becomes the recovery file: the path to
  // load again once the backup has been put in its place.
  bool CopyToBadFile(const wchar_t* source);
  // Makes a bad file that holds `text` in UTF-16, little-endian, without a byte-order mark. It is
  // no more open to others than the main file.
  bool WriteBadFile(const wchar_t* text);

  std::wstring GetBackupFile() const { return m_BackupFile; }
  std::wstring GetRecoveryFile() const { return m_RecoveryFile; }

 private:
  std::wstring BadFileName();
  std::wstring BadFileFamily() const;

  bool m_bReady = false;
  bool m_bOfLastPath = false;  // whether the names are those of the path given last
  std::wstring m_MainFile;
  std::wstring m_BackupFile;
  std::wstring m_TempFile;
  std::wstring m_BadFilePattern;              // with the "%d" unfilled
  std::optional<std::uint32_t> m_LastNumber;  // of a bad file
  std::wstring m_RecoveryFile;                // empty until a copy to a bad file has worked
};

}  // namespace cfgex
