// New instances: fields, arrays, an embedded object, references.
#include <initializer_list>
#include <iostream>
#include <vector>

#include "tutorial.h"

// [store]
void Store(CCfgConfigurationEx& store, const CCfgInstance& instance) {
  OS::x_wstring xml;
  Check(instance.GetXml(xml), "the instance is bound to nothing");
  Check(store.SetConfiguration(xml, nullptr, nullptr), "the store refuses the instance");
}
// [end]

namespace {

// [new]
CCfgInstance New(const wchar_t* category, const wchar_t* id, const wchar_t* name) {
  CCfgInstance instance;
  Check(CCfgCategory(category).CreateInstance(instance), "the schema makes no such instance");
  Check(instance.SetInstanceId(id), "the id is refused");
  Check(instance.SetFieldValue(L"Name", name), "no field Name of type string");
  return instance;
}
// [end]

// [harbour]
void CreateHarbour(CCfgConfigurationEx& store, const wchar_t* id, const wchar_t* name,
                   std::initializer_list<unsigned long> berths) {
  CCfgInstance harbour = New(L"Harbour", id, name);

  CCfgUnsignedIntegerArray metres;
  for (const unsigned long berth : berths) metres.AddItem(berth);
  Check(harbour.SetFieldValue(L"BerthMetres", metres), "BerthMetres");

  const std::vector<OS::x_wstring> services{L"fuel", L"water"};
  Check(harbour.SetFieldValue(L"Services", services), "Services");
  Store(store, harbour);
}
// [end]

// [ship]
CCfgInstance NewShip(CCfgConfigurationEx& store, const wchar_t* id, const wchar_t* name) {
  CCfgInstance ship = New(L"Ship", id, name);
  Check(ship.SetFieldValue(L"Kind", L"passenger ferry"), "Kind");
  Check(ship.SetFieldValue(L"Passengers", 240U), "Passengers");  // unsigned, as in the schema
  Check(ship.SetFieldValue(L"TrimCm", -5), "TrimCm");            // signed
  Check(ship.SetFieldValue(L"InService", true), "InService");
  Check(ship.SetFieldValue(L"Inspected", OS::CTime(2026, 4, 30, 9, 0, 0)), "Inspected");
  Check(ship.SetFieldValue(L"Engine/Maker", L"Nordwerk"), "Engine/Maker");

  // The embedded object as a view: what is set in it is set in the ship.
  CCfgObject engine;
  Check(ship.GetFieldValue(L"Engine", engine), "Engine");
  Check(engine.SetFieldValue(L"Kilowatts", 1250U), "Kilowatts");

  // The ship refers to the harbour, and takes it along.
  Check(ship.SetFieldValue(L"Home", Open(store, L"westhaven")), "Home");
  return ship;
}
// [end]

}  // namespace

void CreateHarbours(CCfgConfigurationEx& store) {
  CreateHarbour(store, L"westhaven", L"Westhaven", {45, 60});
  CreateHarbour(store, L"skerry", L"Skerry Island", {30});
}

void CreateShips(CCfgConfigurationEx& store) {
  CCfgInstance auk = NewShip(store, L"auk", L"Auk");
  // [print]
  Check(auk.SaveToFile(L"auk.xml"), "the file cannot be written");
  // [end]
  Store(store, auk);
  Store(store, NewShip(store, L"gull", L"Gull"));
}

// [line]
void CreateLine(CCfgConfigurationEx& store) {
  CCfgInstance line = New(L"Line", L"day-line", L"Westhaven - Skerry");
  Check(line.SetFieldValue(L"From", Open(store, L"westhaven")), "From");
  Check(line.SetFieldValue(L"To", Open(store, L"skerry")), "To");

  CCfgInstanceArray ships;
  ships.AddItem(Open(store, L"auk"));
  ships.AddItem(Open(store, L"gull"));
  Check(line.SetFieldValue(L"Ships", ships), "Ships");

  const std::vector<OS::x_wstring> departures{L"06:40", L"12:10", L"17:40"};
  Check(line.SetFieldValue(L"Departures", departures), "Departures");

  OS::x_wstring xml;
  std::vector<OS::x_wstring> ids;
  Check(line.GetXml(xml), "the line is bound to nothing");
  Check(store.SetConfiguration(xml, &ids, nullptr), "the store refuses the line");
  std::wcout << L"== line\nwritten:";
  for (const OS::x_wstring& id : ids) std::wcout << L" " << id.c_str();
  std::wcout << L"\n";
}
// [end]
