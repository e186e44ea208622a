// The vocabulary of the fuzz targets.
//
//   CHECK(condition, what)   ends the process with a report when a property does not hold
//   Split                    an input as its parts, between lines "%%"
//   Text                     bytes as wide text, also as text that no XML can carry
//   Choices                  an input as a row of small numbers
//   Kit                      a schema, a folder for files, and the engine's plain judgement
//   Snapshot                 what a store answers for every id
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cfgex/cfgex.h"
#include "tests/support/support.h"

#define CHECK(condition, what)                                            \
  do {                                                                    \
    if (!(condition)) ::fuzz::Fail(__FILE__, __LINE__, #condition, what); \
  } while (false)

namespace fuzz {

using Ids = std::vector<OS::x_wstring>;
using Pair = std::pair<std::wstring, std::wstring>;  // category and id

[[noreturn]] void Fail(const char* file, int line, const char* condition, const std::string& what);

std::vector<std::string> Split(std::string_view input);

// UTF-8 where the bytes have its form, surrogates and numbers beyond Unicode included; any other
// byte stands for itself. Null characters are left out, and so the text ends where it ends.
std::wstring Text(std::string_view bytes);
// For reports; the library's conversion does not take every text.
std::string Show(std::wstring_view text);

// Small numbers, one per byte; zeros at the end of the input.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : m_Bytes(bytes) {}
  bool AtEnd() const { return m_Bytes.empty(); }
  std::size_t Below(std::size_t end);
  std::uint32_t Number();  // of 32 bits
  // What stands before the next null character, or all that is left.
  std::string_view Piece();

 private:
  std::string_view m_Bytes;
};

// One schema and one folder, for all inputs of a process.
class Kit {
 public:
  // The kits, one for each schema: "s" the sample of the tests, "b" the example application's, "r"
  // one that is rich in XML Schema's ways, "t" the same with rules that tie parts of a document
  // together. Any other letter is "s".
  static Kit& For(char letter);

  explicit Kit(const std::string& schema);
  ~Kit();
  Kit(const Kit&) = delete;
  Kit& operator=(const Kit&) = delete;

  // Removes all files but the schema.
  void Clear();
  std::wstring Path(std::wstring_view name) const { return m_Folder.Path(name); }

  // Whether the file, or the text, is one that a store may hold: plainly by the engine.
  bool IsValidFile(const std::wstring& path) const;
  bool IsValidText(const std::wstring& text) const;

  // The categories and ids that stand in a configuration file.
  std::multiset<Pair> Contents(const std::wstring& path) const;

  CCfgOption option;
  bool hasTies = false;
  std::string start;  // a configuration that is valid

 private:
  struct Engine;
  test::Folder m_Folder;
  std::unique_ptr<Engine> m_Engine;
};

std::wstring ElementXml(const CCfgObject& object);  // empty for an empty handle

// What a store answers for each of these ids, in any category and in the one named.
using Snapshot = std::map<Pair, std::optional<std::wstring>>;
Snapshot Take(CCfgConfigurationEx& store, const std::set<Pair>& names);
// The first difference, for a report.
std::string Difference(const Snapshot& before, const Snapshot& after);

}  // namespace fuzz
