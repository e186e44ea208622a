// A building's configuration, read and changed: how an application uses the library.
//
//   building_demo SCHEMA CONFIG
//
// The program changes CONFIG and damages it on purpose, so give it a copy. It exits with 0 when
// everything went as described, and with 1 and a message at the first surprise.

#include <cfgex/cfgex.h>

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "checked.h"
#include "new_zone.h"
#include "zone_copies.h"
#include "zone_report.h"

namespace {

namespace fs = std::filesystem;
using namespace demo;

CCfgInstance OpenZone(CCfgConfigurationEx& store) {
  return OpenInstance(store, L"zone-server-room", L"Zone");
}

// The instance that a reference names. The reference is two fields below the field.
CCfgInstance OpenTarget(CCfgConfigurationEx& store, const CCfgObject& object,
                        const std::wstring& field) {
  const auto category = Field<OS::x_wstring>(object, field + L"/Category");
  const auto id = Field<OS::x_wstring>(object, field + L"/InstanceId");
  Require(!id.empty(), field + L" refers to nothing");
  return OpenInstance(store, id, category);
}

void ShowZone(CCfgConfigurationEx& store) {
  Heading(L"One zone");
  const CCfgInstance zone = OpenZone(store);
  PrintZone(zone);

  std::wcout << L"The same, when the types are not known beforehand:\n";
  for (const wchar_t* name : {L"Description", L"Floor", L"Area", L"Enabled", L"LastInspection"}) {
    std::wcout << L"  " << name << L": " << Describe(Field<CVar>(zone, name)) << L"\n";
  }
}

void ShowReferences(CCfgConfigurationEx& store) {
  Heading(L"What it refers to");
  const CCfgInstance zone = OpenZone(store);
  for (const wchar_t* field : {L"Site", L"Controller", L"Schedule"}) {
    const CCfgInstance target = OpenTarget(store, zone, field);
    std::wcout << L"  " << field << L": " << Field<OS::x_wstring>(target, L"Name").c_str() << L"\n";
  }

  // A reference inside an embedded object is read in the same way.
  const CCfgInstance controller = OpenTarget(store, zone, L"Controller");
  const CCfgInstance technician = OpenTarget(store, controller, L"Maintenance/Technician");
  std::wcout << L"  technician: " << Field<OS::x_wstring>(technician, L"Login").c_str() << L"\n";
}

void ShowAlarmRule(CCfgConfigurationEx& store) {
  Heading(L"An alarm rule");
  const CCfgInstance rule =
      OpenInstance(store, L"{92E5AB3D-D8AA-43E9-A408-FE4D49C510B6}", L"AlarmRule");
  std::wcout << NameOf(rule) << L", above " << Degrees(Field<int>(rule, L"Trigger/Limit")) << L"\n";

  // A list of objects: each is a view of its element, and a reference in it is read from there.
  const auto steps = Field<CCfgObjectArray>(rule, L"Escalation");
  for (std::size_t i = 0; i < steps.GetItemCount(); ++i) {
    CCfgObject step;
    steps.GetItem(i, step);
    std::wcout << L"  after " << Field<unsigned int>(step, L"AfterMinutes") << L" minutes: "
               << Field<OS::x_wstring>(step, L"Channel").c_str() << L" to "
               << NameOf(Field<CCfgInstance>(step, L"Recipient")) << L"\n";
  }
}

void ChangeZone(CCfgConfigurationEx& store) {
  Heading(L"A change");
  CCfgInstance zone = OpenZone(store);

  tm inspection = Field<tm>(zone, L"LastInspection");
  inspection.tm_year += 1;
  Change(zone, L"LastInspection", inspection);
  Change(zone, L"Name", L"Server room, north wing");
  Change(zone, L"Description", OS::x_wstring(L"Racks 1 to 12, raised floor"));
  Change(zone, L"SetPoint", Field<int>(zone, L"SetPoint") - 15);
  Change(zone, L"Area", Field<unsigned int>(zone, L"Area") + 12U);
  Change(zone, L"MaximumOccupants", CVar(4U));
  Change(zone, L"Enabled", false);
  Change(zone, L"Comfort/Warmest", 225);

  // The instance is stored as a whole, together with everything that it refers to.
  std::wcout << L"written, with the instances in reach:\n";
  PrintIds(StoreInstance(store, zone));
}

void ShowRefusals(CCfgConfigurationEx& store, const fs::path& config) {
  Heading(L"What is refused");
  const std::string before = Content(config);
  CCfgInstance zone = OpenZone(store);

  // The field is a number: a text is refused, and the object stays as it was.
  Require(!zone.SetFieldValue(L"SetPoint", L"cool"), L"a number took a text");
  std::wcout << L"a text as set point: refused by the object\n";

  // The object checks only the type. Ranges and patterns are checked when the zone is stored.
  Change(zone, L"SetPoint", 5000);
  Require(!store.SetConfiguration(TextOf(zone), nullptr, nullptr),
          L"a set point of 500 °C was stored");
  std::wcout << L"a set point of " << Degrees(5000) << L": refused by the store\n";

  Require(Content(config) == before, L"a refusal changed the file");
  std::wcout << L"the file is as it was, the set point is "
             << Degrees(Field<int>(OpenZone(store), L"SetPoint")) << L"\n";
}

// The copies of files that failed validation, building.*.bad beside building.xml.
std::set<fs::path> BadFiles(const fs::path& config) {
  const std::wstring start = config.stem().wstring() + L".";
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(fs::absolute(config).parent_path())) {
    const fs::path& file = entry.path();
    if (file.extension() == L".bad" && file.filename().wstring().starts_with(start)) {
      files.insert(file);
    }
  }
  return files;
}

void RecoverFromDamage(const fs::path& config) {
  Heading(L"A damaged file");
  const std::set<fs::path> before = BadFiles(config);
  fs::resize_file(config, fs::file_size(config) / 2);
  const std::string damaged = Content(config);
  std::wcout << config.filename().wstring() << L" cut in the middle\n";

  // Opening succeeds nevertheless: the store has replaced the file by its backup.
  CCfgConfigurationEx store = OpenStore(config);
  std::wcout << L"opened, recovered from the backup\n";

  const std::set<fs::path> after = BadFiles(config);
  std::vector<fs::path> added;
  std::ranges::set_difference(after, before, std::back_inserter(added));
  Require(added.size() == 1, L"not one bad file, but " + std::to_wstring(added.size()));
  Require(Content(added.front()) == damaged, L"the bad file has another content");
  // The number in the name comes from the clock.
  std::wcout << L"the damaged text is kept in " << config.stem().wstring() << L".N.bad\n"
             << L"the set point is " << Degrees(Field<int>(OpenZone(store), L"SetPoint"))
             << L", the instances are " << CountInstances(config) << L"\n";
}

void Run(const fs::path& schema, const fs::path& config) {
  const Library library(schema);
  unsigned long major = 0;
  unsigned long minor = 0;
  unsigned long revision = 0;
  CCfgOption::Instance()->GetSchemaVersion(major, minor, revision);
  std::wcout << schema.filename().wstring() << L", version " << major << L"." << minor << L"."
             << revision << L"\n";
  {
    CCfgConfigurationEx store = OpenStore(config);
    std::wcout << config.filename().wstring() << L" opened\n";
    ShowZone(store);
    ShowReferences(store);
    ShowAlarmRule(store);
    ChangeZone(store);
  }
  {
    CCfgConfigurationEx store = OpenStore(config);
    Heading(L"The file opened anew");
    PrintZone(OpenZone(store));
    ShowRefusals(store, config);
    AddBatteryRoom(store);
  }
  {
    CCfgConfigurationEx store = OpenStore(config);
    ShowBatteryRoom(store);
    CopyZones(store, config);
    RemoveZone(store, config);
  }
  RecoverFromDamage(config);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: building_demo SCHEMA CONFIG\n";
    return 2;
  }
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) {
    std::cerr << "building_demo: this system has no locale C.UTF-8\n";
    return 1;
  }
  try {
    Run(argv[1], argv[2]);
    return 0;
  } catch (const Surprise& surprise) {
    std::wcout.flush();
    std::wcerr << L"building_demo: " << surprise.what << L"\n";
  } catch (const OS::CException& error) {  // the library's own: no memory, a bad index
    std::wcout.flush();
    std::wcerr << L"building_demo: " << error.GetErrorMsg().c_str() << L"\n";
  } catch (const std::exception& error) {  // all others; a CVar that does not convert, too
    std::wcout.flush();
    std::wcerr << L"building_demo: " << error.what() << L"\n";
  }
  return 1;
}
