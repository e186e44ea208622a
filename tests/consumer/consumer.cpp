// A program of somebody else's: changes a setting, and sees what the library raises.
//
//   consumer SCHEMA CONFIG
//
// SCHEMA and CONFIG are those of examples/building; CONFIG is changed. Exits with 0, or with 1 and
// what went wrong.

#include <cfgex/cfgex.h>

#include <cwchar>
#include <filesystem>
#include <iostream>

namespace {

bool Demand(bool condition, const char* what) {
  if (!condition) std::cerr << "consumer: " << what << '\n';
  return condition;
}

bool ChangeSetting(const wchar_t* file, const wchar_t* name) {
  CCfgConfigurationEx store;
  OS::x_wstring xml;
  if (!store.Initialize(file) || !store.GetConfiguration(L"zone-server-room", xml)) return false;
  CCfgInstance zone(xml);
  return zone.SetFieldValue(L"Name", name) && zone.GetXml(xml) &&
         store.SetConfiguration(xml, nullptr, nullptr);
}

OS::x_wstring ReadSetting(const wchar_t* file) {
  CCfgConfigurationEx store;
  OS::x_wstring xml, name;
  if (store.Initialize(file) && store.GetConfiguration(L"zone-server-room", xml))
    CCfgInstance(xml).GetFieldValue(L"Name", name);
  return name;
}

// An exception that the library raises is caught here by its type.
template <class Exception, class Action>
bool Raises(Action action) {
  try {
    action();
  } catch (const Exception&) {
    return true;
  } catch (...) {
    return false;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (!Demand(argc == 3, "two arguments are needed")) return 1;
  const std::wstring schema = std::filesystem::path(argv[1]).wstring();
  const std::wstring config = std::filesystem::path(argv[2]).wstring();

  bool good = Demand(std::wcscmp(CCfgEx_GetVersion(), CFGEX_VERSION_TEXT) == 0,
                     "the library is not of the headers' version");
  good &= Demand(CCfgEx_Initialization(schema.c_str()), "the schema is refused");
  good &= Demand(ChangeSetting(config.c_str(), L"Renamed"), "the setting cannot be changed");
  good &= Demand(ReadSetting(config.c_str()) == L"Renamed", "the file does not hold the change");
  good &= Demand(Raises<CCfgExException>([] { CCfgIntegerArray().GetItem(0); }),
                 "no CCfgExException from an index out of range");
  good &= Demand(Raises<OS::CException>([] { CCfgIntegerArray().GetItem(0); }),
                 "no OS::CException from an index out of range");
  OS::x_wstring xml;
  CCfgConfigurationEx store;
  store.Initialize(config.c_str());
  store.GetConfiguration(L"zone-server-room", xml);
  good &= Demand(Raises<_com_error>([&] {
                   CCfgConfigurationEx without_file;
                   without_file.RemoveConfiguration(xml, nullptr);
                 }),
                 "no _com_error from a store without a file");
  CCfgEx_Uninitialization();
  return good ? 0 : 1;
}
