// What an application does with the library in its life, in one function: for programs that look at
// what else becomes of the process.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "cfgex/cfgex.h"

namespace process {

inline void Require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

// A folder with the example's schema and configuration, gone with the object.
class Site {
 public:
  Site() {
    std::string pattern = (std::filesystem::temp_directory_path() / "cfgex-XXXXXX").string();
    Require(mkdtemp(pattern.data()) != nullptr, "mkdtemp");
    m_Root = pattern;
    for (const char* name : {"building.xsd", "cfgex-types.xsd", "building.xml"})
      std::filesystem::copy_file(std::filesystem::path(CFGEX_BUILDING) / name, m_Root / name);
  }
  ~Site() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Root, ignored);
  }
  Site(const Site&) = delete;
  Site& operator=(const Site&) = delete;

  std::wstring Path(const char* name) const { return (m_Root / name).wstring(); }
  std::string Bytes(const char* name) const {
    std::ifstream file(m_Root / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void Damage(const char* name) const { std::ofstream(m_Root / name) << "<Configuration>"; }

 private:
  std::filesystem::path m_Root;
};

inline const wchar_t* const kZone = L"zone-server-room";

// Reads one zone, changes fields of every type, stores it, and reads it again.
inline void ChangeZone(CCfgConfigurationEx store, CCfgOption option, int value) {
  OS::x_wstring xml;
  Require(store.GetConfiguration(kZone, xml), "read");
  CCfgInstance zone(xml, option);
  const std::vector<OS::x_wstring> tags{L"I", L"\x131", L"1,5"};
  Require(zone.SetFieldValue(L"Floor", -value) &&
              zone.SetFieldValue(L"Area", static_cast<unsigned int>(value)) &&
              zone.SetFieldValue(L"Enabled", CVar(value % 2 == 0)) &&
              zone.SetFieldValue(L"LastInspection", OS::CTime(2026, 2, 3, 4, 5, 6)) &&
              zone.SetFieldValue(L"Description", static_cast<const wchar_t*>(CVar(-1234567))) &&
              zone.SetFieldValue(L"Tags", tags) && zone.GetXml(xml),
          "fields");
  Require(store.SetConfiguration(xml, nullptr, nullptr), "write");

  Require(store.GetConfiguration(kZone, xml), "read again");
  const CCfgInstance again(xml, option);
  int floor = 0;
  bool enabled = false;
  tm inspected{};
  std::vector<OS::x_wstring> read;
  Require(again.GetFieldValue(L"Floor", floor) && floor == -value, "floor");
  Require(again.GetFieldValue(L"Enabled", enabled) && enabled == (value % 2 == 0), "enabled");
  Require(again.GetFieldValue(L"LastInspection", inspected) && inspected.tm_mon == 1, "date");
  Require(again.GetFieldValue(L"Tags", read) && read == tags, "tags");
  Require(static_cast<int>(CVar(L" 1234567 ")) == 1234567, "number");
  Require(!static_cast<bool>(CVar(L"FALSE")) && static_cast<bool>(CVar(L"tRUE")), "boolean");
}

// A site with its store open.
struct OpenSite : Site {
  OpenSite() {
    Require(option.Initialize(Path("building.xsd").c_str()), "schema");
    Open();
  }
  void Open() {
    store = CCfgConfigurationEx(option);
    Require(store.Initialize(Path("building.xml").c_str()), "open");
  }
  void Change(int value) { ChangeZone(store, option, value); }

  CCfgOption option;
  CCfgConfigurationEx store{option};
};

// All of it, with healing, refusals and exceptions.
inline void UseEverything() {
  OpenSite site;
  site.Change(7);
  site.store = CCfgConfigurationEx(site.option);
  site.Damage("building.xml");
  site.Open();
  site.Change(8);
  CCfgOption option = site.option;
  CCfgConfigurationEx store = site.store;
  CCfgInstance made(option);
  Require(CCfgCategory(L"Zone", option).CreateInstance(made), "create");
  Require(store.CopyConfiguration(kZone, kZone, false, nullptr, nullptr), "copy");
  Require(
      !store.SetConfiguration(L"<!DOCTYPE a SYSTEM 'http://localhost/a'><a/>", nullptr, nullptr),
      "refuse");
  try {
    CCfgStringArray().GetItem(1);
    Require(false, "no exception");
  } catch (const CCfgExException&) {
  }
  try {
    OS::x_wstring xml;
    Require(store.GetConfiguration(kZone, xml), "read");
    CCfgConfigurationEx(option).RemoveConfiguration(xml, nullptr);
    Require(false, "no exception");
  } catch (const _com_error& error) {
    Require(error.what()[0] != '\0', "no reason");
  }
}

}  // namespace process
