// Reading: typed fields, values of any type, arrays, references.
#include <cstddef>
#include <iostream>
#include <vector>

#include "tutorial.h"

// [open]
CCfgInstance Open(CCfgConfigurationEx& store, const wchar_t* id) {
  OS::x_wstring xml;
  Check(store.GetConfiguration(id, xml), "there is no such instance");
  CCfgInstance instance(xml);
  Check(instance.GetRawInterface() != nullptr, "the text is not accepted");
  return instance;
}
// [end]

namespace {

// [any]
void PrintAny(const CCfgObject& object, const wchar_t* field) {
  CVar value;
  if (!object.GetFieldValue(field, value)) {
    std::wcout << field << L": not one of the five types\n";
    return;
  }
  std::wcout << field << L": ";
  switch (value.GetKind()) {
    case VT_DATE:
      std::wcout << OS::CTime(static_cast<tm>(value)).Format(L"%d.%m.%Y").c_str();
      break;
    default:
      std::wcout << static_cast<const wchar_t*>(value);
  }
  std::wcout << L"\n";
}
// [end]

}  // namespace

void ReadShip(CCfgConfigurationEx& store) {
  std::wcout << L"== read\n";
  // [typed]
  const CCfgInstance ship = Open(store, L"auk");
  OS::x_wstring name;
  unsigned int passengers = 0;
  int trim = 0;
  bool inService = false;
  OS::CTime inspected;
  unsigned int kilowatts = 0;
  Check(ship.GetFieldValue(L"Name", name), "Name");
  Check(ship.GetFieldValue(L"Passengers", passengers), "Passengers");
  Check(ship.GetFieldValue(L"TrimCm", trim), "TrimCm");
  Check(ship.GetFieldValue(L"InService", inService), "InService");
  Check(ship.GetFieldValue(L"Inspected", inspected), "Inspected");
  Check(ship.GetFieldValue(L"Engine/Kilowatts", kilowatts), "Engine/Kilowatts");
  std::wcout << name.c_str() << L": " << passengers << L" passengers, trim " << trim << L" cm, "
             << kilowatts << L" kW, inspected " << inspected.Format(L"%d.%m.%Y").c_str()
             << (inService ? L", in service\n" : L", laid up\n");
  // [end]
  // [false]
  // Each of these is false and leaves the variable alone.
  int number = 17;
  std::wcout << ship.GetFieldValue(L"Remarks", name)    // optional, and not there
             << ship.GetFieldValue(L"Name", number)     // a text
             << ship.GetFieldValue(L"Draught", number)  // in no schema
             << L" " << number << L"\n";
  // [end]
  for (const wchar_t* field : {L"Name", L"TrimCm", L"InService", L"Inspected", L"Passengers"}) {
    PrintAny(ship, field);
  }
}

void ReadLine(CCfgConfigurationEx& store) {
  // [follow]
  const CCfgInstance line = Open(store, L"day-line");
  std::wcout << L"== follow\n";
  CCfgInstance harbour;
  OS::x_wstring name;
  Check(line.GetFieldValue(L"To", harbour), "To");  // false for a reference that leads nowhere
  Check(harbour.GetFieldValue(L"Name", name), "Name");
  std::wcout << L"to " << name.c_str() << L", which has";
  std::vector<OS::x_wstring> services;
  Check(harbour.GetFieldValue(L"Services", services), "Services");
  for (const OS::x_wstring& service : services) std::wcout << L" " << service.c_str();
  std::wcout << L"\n";

  CCfgInstanceArray ships;
  Check(line.GetFieldValue(L"Ships", ships), "Ships");
  for (std::size_t i = 0; i < ships.GetItemCount(); ++i) {
    CCfgInstance ship;
    ships.GetItem(i, ship);
    OS::x_wstring home;
    Check(ship.GetFieldValue(L"Name", name), "Name");
    Check(ship.GetFieldValue(L"Home/InstanceId", home), "Home/InstanceId");
    std::wcout << name.c_str() << L" of " << home.c_str() << L"\n";
  }
  // [end]
}
