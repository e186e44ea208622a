#include "zone_copies.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <string>

#include "checked.h"
#include "zone_report.h"

namespace demo {

namespace {

// A rented office container, the plan for its use at weekends, and a second container.
constexpr const wchar_t* kContainer = L"zone-container";
constexpr const wchar_t* kWeekend = L"zone-container-weekend";
constexpr const wchar_t* kSecond = L"zone-container-2";

CCfgInstance OpenZone(CCfgConfigurationEx& store, const wchar_t* id) {
  return OpenInstance(store, id, L"Zone");
}

CCfgInstance NewContainer() {
  CCfgInstance sensor = NewInstance(L"Sensor", L"sensor-container");
  Change(sensor, L"Name", L"Container temperature");
  CCfgInstance cooler = NewInstance(L"Actuator", L"actuator-container");
  Change(cooler, L"Name", L"Container cooler");
  Change(cooler, L"Kind", L"cooler");
  Change(cooler, L"Feedback", sensor);
  CCfgInstance controller = NewInstance(L"Controller", L"controller-container");
  Change(controller, L"Name", L"Container controller");

  CCfgInstance zone = NewInstance(L"Zone", kContainer);
  Change(zone, L"Name", L"Office container");
  Change(zone, L"SetPoint", 225);
  Change(zone, L"Controller", controller);
  Change(zone, L"Sensors", ArrayOf<CCfgInstanceArray>({sensor}));
  Change(zone, L"Actuators", ArrayOf<CCfgInstanceArray>({cooler}));
  return zone;
}

IdList Copy(CCfgConfigurationEx& store, const wchar_t* source, const wchar_t* target, bool deep) {
  IdList ids;
  Require(store.CopyConfiguration(source, target, deep, &ids, nullptr),
          std::wstring(L"no copy could be made onto ") + target);
  return ids;
}

bool Contains(const IdList& ids, const OS::x_wstring& id) {
  return std::ranges::find(ids, id) != ids.end();
}

// What a zone refers to, without ids: those of a deep copy are new in each run. `known` are the ids
// from before the copy.
void PrintTarget(const CCfgInstance& target, const IdList& known) {
  std::wcout << L"    " << target.GetCategory().c_str() << L" " << NameOf(target) << L": "
             << (Contains(known, target.GetInstanceId()) ? L"the source's own" : L"a new instance")
             << L"\n";
}

void PrintCopy(const CCfgInstance& zone, const IdList& known) {
  std::wcout << L"  " << zone.GetInstanceId().c_str() << L": " << NameOf(zone) << L", "
             << Degrees(Field<int>(zone, L"SetPoint")) << L", refers to\n";
  PrintTarget(Field<CCfgInstance>(zone, L"Controller"), known);
  for (const CCfgInstance& sensor : Targets(zone, L"Sensors")) PrintTarget(sensor, known);
  for (const CCfgInstance& actuator : Targets(zone, L"Actuators")) {
    PrintTarget(actuator, known);
    const OS::x_wstring followed = Field<CCfgInstance>(actuator, L"Feedback").GetInstanceId();
    Require(followed == Targets(zone, L"Sensors").front().GetInstanceId(),
            L"the copied cooler follows another zone's sensor");
  }
}

void PrintTotals(const IdList& changed, const std::filesystem::path& config) {
  std::wcout << L"  ids reported as changed: " << changed.size() << L", instances in the file: "
             << CountInstances(config) << L"\n";
}

void ShowWhatIsLeft(CCfgConfigurationEx& store, const wchar_t* id) {
  const CCfgInstance zone = OpenZone(store, id);
  CCfgInstance controller;
  const bool found = zone.GetFieldValue(L"Controller", controller);
  std::wcout << L"  " << id << L": controller "
             << (found ? NameOf(controller) : std::wstring(L"(not there)")) << L", sensors "
             << Targets(zone, L"Sensors").size() << L", actuators "
             << Targets(zone, L"Actuators").size() << L"\n";
  // The reference itself stays, and leads to an instance with this id when one is stored again.
  if (!found) {
    std::wcout << L"    it still names "
               << Field<OS::x_wstring>(zone, L"Controller/InstanceId").c_str() << L"\n";
  }
}

}  // namespace

// The id of an instance is the one `InstanceId` at the third level, with two blanks per level.
std::size_t CountInstances(const std::filesystem::path& config) {
  std::istringstream lines(Content(config));
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("      <InstanceId>")) ++count;
  }
  return count;
}

void CopyZones(CCfgConfigurationEx& store, const std::filesystem::path& config) {
  Heading(L"Copies of a zone");
  const IdList known = StoreInstance(store, NewContainer());
  std::wcout << L"the zone to be copied:\n";
  PrintIds(known);
  for (const wchar_t* target : {kWeekend, kSecond}) {
    StoreInstance(store, NewInstance(L"Zone", target));
  }
  const OS::x_wstring source = TextOf(OpenZone(store, kContainer));
  std::wcout << L"with it and two new zones there are " << CountInstances(config)
             << L" instances\n";

  std::wcout << L"shallow, for another use of the same devices:\n";
  const IdList shallow = Copy(store, kContainer, kWeekend, false);
  PrintCopy(OpenZone(store, kWeekend), known);
  PrintTotals(shallow, config);

  std::wcout << L"deep, for a second container with devices of its own:\n";
  const IdList deep = Copy(store, kContainer, kSecond, true);
  PrintCopy(OpenZone(store, kSecond), known);
  PrintTotals(deep, config);

  Require(TextOf(OpenZone(store, kContainer)) == source, L"copying changed the source");
  std::wcout << L"the source is as it was\n";
}

void RemoveZone(CCfgConfigurationEx& store, const std::filesystem::path& config) {
  Heading(L"A zone removed");
  IdList removed;
  Require(store.RemoveConfiguration(TextOf(OpenZone(store, kContainer)), &removed),
          L"the zone was not removed");
  std::wcout << L"gone, the zone and all that it referred to:\n";
  PrintIds(removed);
  for (const OS::x_wstring& id : removed) {
    OS::x_wstring xml;
    Require(!store.GetConfiguration(id, xml), id.str() + L" is still there");
  }
  PrintTotals(removed, config);

  std::wcout << L"what its copies find now:\n";
  ShowWhatIsLeft(store, kWeekend);
  ShowWhatIsLeft(store, kSecond);
}

}  // namespace demo
