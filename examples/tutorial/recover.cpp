// A damaged file.
#include <filesystem>
#include <iostream>
#include <set>
#include <string>

#include "tutorial.h"

namespace {

// The names of the files beside the configuration, with the clock's number as N.
std::set<std::wstring> Names() {
  std::set<std::wstring> names;
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    const std::wstring name = entry.path().filename().wstring();
    if (name.ends_with(L".bad")) {
      names.insert(L"ferries.N.bad");
    } else if (name.starts_with(L"ferries.") && name.ends_with(L".xml")) {
      names.insert(name);
    }
  }
  return names;
}

}  // namespace

// [recover]
void Recover(const wchar_t* file) {
  std::filesystem::resize_file(file, 100);  // the damage

  CCfgConfigurationEx store;
  std::wcout << L"== recover\nopened: " << store.Initialize(file) << L"\n";
  OS::x_wstring name;
  Check(Open(store, L"auk").GetFieldValue(L"Name", name), "Name");
  std::wcout << L"the ship: " << name.c_str() << L"\nthe files:";
  for (const std::wstring& other : Names()) std::wcout << L" " << other;
  std::wcout << L"\n";
}
// [end]
