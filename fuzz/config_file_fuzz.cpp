// Configuration files as they may lie on a disk: any bytes in the main file, the backup and the
// temporary file. Parts: the letter of the schema, the main file, the backup. A part that is
// missing is a file that is missing.
//
// Holds:
// 1. A store opens exactly when the engine finds the main file valid, or else the backup; then main
//    file and backup both hold what was loaded, and what was bad lies in a bad file. A missing main
//    file takes a second try.
// 2. What a store gives out is valid and comes back unchanged through an instance.

#include <algorithm>
#include <fstream>

#include "fuzz/support.h"

using namespace fuzz;
using namespace test;

namespace {

std::vector<std::string> BadFiles(const std::wstring& main) {
  std::vector<std::string> texts;
  const std::filesystem::path folder = std::filesystem::path(Narrow(main)).parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".bad") texts.push_back(ReadBytes(Wide(entry.path().string())));
  return texts;
}

// Whether the store opens.
bool CheckOpening(const Kit& kit, CCfgConfigurationEx& store,
                  const std::optional<std::string>& mainText,
                  const std::optional<std::string>& backupText) {
  const std::wstring main = kit.Path(L"main.xml");
  const std::wstring backup = kit.Path(L"main.backup.xml");
  const bool mainIsValid = mainText && kit.IsValidFile(main);
  const bool backupIsValid = backupText && kit.IsValidFile(backup);
  bool opened = store.Initialize(main.c_str());
  if (!mainText) {
    CHECK(!opened, "a missing file was opened at once");
    CHECK(ReadBytes(main) == backupText.value_or(""), "the backup did not become the main file");
    opened = store.Initialize(main.c_str());
    CHECK(opened == backupIsValid, "the second try");
  } else {
    CHECK(opened == (mainIsValid || backupIsValid), opened ? "opened" : "refused");
    const std::vector<std::string> bad = BadFiles(main);
    CHECK(bad.empty() == mainIsValid, "a bad file");
    const bool isKept = std::find(bad.begin(), bad.end(), *mainText) != bad.end();
    CHECK(mainIsValid || isKept, "the bad file is not what was bad");
  }
  if (!opened) return false;
  const std::string& loaded = mainIsValid ? *mainText : *backupText;
  CHECK(ReadBytes(main) == loaded, "the main file is not what was loaded");
  CHECK(ReadBytes(backup) == loaded, "the backup is not what was loaded");
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::vector<std::string> parts = Split({reinterpret_cast<const char*>(data), size});
  Kit& kit = Kit::For(parts[0].empty() ? 's' : parts[0][0]);
  const auto part = [&](std::size_t n) {
    return n < parts.size() ? std::optional(parts[n]) : std::nullopt;
  };
  kit.Clear();
  const std::wstring main = kit.Path(L"main.xml");
  if (part(1)) WriteBytes(main, *part(1));
  if (part(2)) WriteBytes(kit.Path(L"main.backup.xml"), *part(2));

  CCfgConfigurationEx store(kit.option);
  if (!CheckOpening(kit, store, part(1), part(2))) return 0;

  const std::multiset<Pair> contents = kit.Contents(main);
  std::set<Pair> names(contents.begin(), contents.end());
  while (names.size() > 12) names.erase(std::prev(names.end()));
  for (const auto& [name, xml] : Take(store, names)) {
    if (!xml) continue;
    CHECK(kit.IsValidText(*xml), Show(*xml));
    const CCfgInstance instance(xml->c_str(), kit.option);
    OS::x_wstring again;
    CHECK(instance.GetXml(again), Show(*xml));
    CHECK(again == xml->c_str(), Show(*xml) + "\n" + Show(again.str()));
  }
  return 0;
}
