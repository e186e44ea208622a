// A store over a copy of a configuration file, in a directory that nobody else sees.
//
// Opening a store makes copies beside its file and heals it, and what a commit takes along shows
// only afterwards. On a copy all of that is free to look at: a change is made here by the library's
// interface, compared with what was there before, and put in place as one whole, or not at all.
#pragma once

#include "tools/engine/system.h"
#include "tools/loaded_file.h"

namespace cfgexctl {

class PrivateStore {
 public:
  // Opens the store over the content of `file`, which is valid. Stops with kInvalid if the library
  // does not take it.
  explicit PrivateStore(const LoadedFile& file);
  // The same for any content.
  PrivateStore(CCfgOption option, std::string_view bytes);

  CCfgConfigurationEx& Store() { return m_Store; }
  // The file as it is now.
  std::string Bytes() const;
  // Ends the store. If what it holds has become invalid it leaves that behind: as text, or nothing.
  std::optional<std::wstring> CloseAndTakeInvalid();

 private:
  void Open(std::string_view bytes);

  PrivateFolder m_Folder;
  CCfgOption m_Option;
  CCfgConfigurationEx m_Store;
};

// A text of a quarantine file as the library writes it: UTF-16, little-endian, without a mark.
// Nothing if it is no such text.
std::optional<std::wstring> DecodeUtf16(std::string_view bytes);

}  // namespace cfgexctl
