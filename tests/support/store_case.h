// The operations of the store, each with the files that it finds: for tests in which something goes
// wrong in the midst of one.
//
//   Stage stage(kCases[0]);           the store is open and ready for the operation
//   stage.Run();                      the operation
//   stage.Set(L"u");                  another one
//   stage.Close(); stage.Open();      the store goes; a new one is opened over what is there
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/sample.h"

namespace test {

// kRaised: any other exception than for lack of memory.
enum class Ending { kFalse, kTrue, kRaised, kOutOfMemory };

class Stage;

struct StoreCase {
  enum Kind { kReading, kChanging, kOpening, kClosing };
  const char* name;
  Kind kind;
  Ending (*run)(Stage& stage);
  // What comes out when only the saving fails.
  Ending atFailedSave = Ending::kRaised;
  // How many commits the open store has made; main then differs from backup.
  int commits = 1;
  // The files before, where the store is not open yet. A main file that is a link leads to
  // another directory.
  const char* main = nullptr;
  const char* backup = nullptr;
  bool isLinked = false;
  // Instances may not have the same name, which only the store as a whole shows.
  bool isStrict = false;
};
const std::vector<StoreCase>& StoreCases();
std::vector<StoreCase> OpeningCases();  // those of them that open a store
inline void PrintTo(const StoreCase& storeCase, std::ostream* out) { *out << storeCase.name; }
std::string NameOfCase(const testing::TestParamInfo<StoreCase>& info);

class Stage {
 public:
  explicit Stage(const StoreCase& storeCase);

  // Makes everything as it was when the object was made.
  void Reset();
  Ending Run() { return m_Case.run(*this); }
  void Close() { m_Store.reset(); }
  // Opens a new store. A main file that is missing takes two tries.
  bool Open();
  bool Set(const std::wstring& id, const std::wstring& name = L"u");
  // What the store holds, as far as it can be asked for by known ids. New ids become numbers.
  std::string Content();

  std::wstring Path() const { return m_Folder.Path(L"main.xml"); }
  // The main file among the files, behind a link if there is one.
  std::string MainName() const { return m_Case.isLinked ? "real/file.xml" : "main.xml"; }
  Folder& GetFolder() { return m_Folder; }
  // Holds every file against those before: each is as whole as it was, or as the operation makes
  // it, and nothing is gone that has no copy. Leftovers may be there.
  void CheckFiles() const;
  Files Read() const { return m_Folder.Read(); }
  void Write(const Files& files);
  const Files& Before() const { return m_Before; }
  CCfgConfigurationEx& Store() { return *m_Store; }
  CCfgOption& Option() { return m_Option; }
  bool IsOpen() const { return m_Store != nullptr; }

  std::wstring read;  // what the reading gave

 private:
  void Make();

  const StoreCase& m_Case;
  Folder m_Folder{Folder::Place::kMemory};
  CCfgOption& m_Option;
  std::unique_ptr<CCfgConfigurationEx> m_Store;
  Files m_Before;
};

// The content of the store that a configuration file makes; nothing if it makes none.
std::optional<std::string> ContentOf(const std::string& file, bool isStrict = false);
// New ids become numbers, in the order of their appearance.
std::string WithIdsNumbered(std::string_view text);
// A new file that has not taken its name yet.
bool IsLeftover(const std::string& name);

}  // namespace test
