// A store over a copy of a configuration file, in a directory that nobody else sees.
//
// Opening a store makes copies beside its file and may restore it, and what a commit removes is
// known only afterwards. On a private copy that does no harm. A change is made here by the
// library's interface, compared with the old content, and then replaces the file as a whole, or not
// at all.
#pragma once

#include "tools/engine/system.h"
#include "tools/loaded_file.h"

namespace cfgexctl {

class PrivateStore {
 public:
  // Opens the store over the content of `file`, which is valid. Stops with kInvalid if the library
  // refuses it.
  explicit PrivateStore(const LoadedFile& file);
  // The same for any content.
  PrivateStore(CCfgOption option, std::string_view bytes);

  CCfgConfigurationEx& Store() { return m_Store; }
  // The file as it is now.
  std::string Bytes() const;
  // Ends the store. Returns the text of its document if that has become invalid, else nothing.
  std::optional<std::wstring> CloseAndTakeInvalid();

 private:
  void Open(std::string_view bytes);

  PrivateFolder m_Folder;
  CCfgOption m_Option;
  CCfgConfigurationEx m_Store;
};

// The text of a bad file as a closing store writes it: UTF-16, little-endian, without a mark.
// Nothing if it is no such text.
std::optional<std::wstring> DecodeUtf16(std::string_view bytes);

}  // namespace cfgexctl
