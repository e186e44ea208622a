// How every change is made.
//
//   1. The file must be valid: a change does not restore a damaged file.
//   2. The change is made on a private copy, by the library's interface (private_store.h).
//   3. The library also removes what the old form of an instance reached. What the command was not
//      asked to remove is put back, unless --drop-reached was given.
//   4. The file, unless it was changed meanwhile, is copied to its backup, and then replaced as a
//      whole. With --dry-run this step is left out.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "tools/commands.h"
#include "tools/difference.h"
#include "tools/private_store.h"

namespace cfgexctl {

class Change {
 public:
  explicit Change(const Arguments& arguments);

  const LoadedFile& File() const { return m_File; }
  CCfgConfigurationEx& Store() { return m_Work.Store(); }

  // The document of a stored instance, as an object. Stops with kInvalid if the document is not
  // valid.
  CCfgInstance Take(const Element& instance);
  // Stores the instance. Stops with kInvalid and the faults if the library refuses it.
  void Put(const CCfgInstance& instance);
  void Put(const std::wstring& xml);
  // Stops with kInvalid and the faults of the whole document.
  [[noreturn]] void StopRefused(const std::wstring& what);

  // Steps 3 and 4. `leaving` is what the command removes because it was asked to.
  void Finish(const std::set<InstanceName>& leaving, Report& report);

 private:
  // The store's file as it is now.
  LoadedFile Result() const;
  void PutBack(const std::vector<InstanceName>& lost);

  const Arguments& m_Arguments;
  LoadedFile m_File;
  PrivateStore m_Work;
  Content m_Before;
};

// Backs up the file that was read, and replaces it by the new content. Stops with kFailed if the
// file has changed since it was read, or cannot be written.
void PutInPlace(const LoadedFile& file, std::string_view content, Report& report);

}  // namespace cfgexctl
