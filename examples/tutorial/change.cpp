// Changing, copying and removing.
#include <iostream>
#include <vector>

#include "tutorial.h"

namespace {

OS::x_wstring TextOf(const CCfgInstance& instance) {
  OS::x_wstring xml;
  Check(instance.GetXml(xml), "the instance is bound to nothing");
  return xml;
}

bool IsStored(CCfgConfigurationEx& store, const wchar_t* id) {
  OS::x_wstring xml;
  return store.GetConfiguration(id, xml);
}

}  // namespace

void ChangeShip(CCfgConfigurationEx& store) {
  // [change]
  std::wcout << std::boolalpha << L"== change\n";
  CCfgInstance ship = Open(store, L"auk");
  Check(ship.SetFieldValue(L"Name", L"Great Auk"), "Name");
  Store(store, ship);

  // The wrong type: refused at once, and nothing changed.
  std::wcout << L"a text as a number: " << ship.SetFieldValue(L"Passengers", L"many") << L"\n";

  // The right type, but out of the schema's range: refused when the ship is stored.
  std::wcout << L"5000 passengers: " << ship.SetFieldValue(L"Passengers", 5000U) << L"\n";
  std::wcout << L"stored: " << store.SetConfiguration(TextOf(ship), nullptr, nullptr) << L"\n";
  unsigned int passengers = 0;
  Check(Open(store, L"auk").GetFieldValue(L"Passengers", passengers), "Passengers");
  std::wcout << L"in the store: " << passengers << L"\n";
  // [end]
}

void CopyLine(CCfgConfigurationEx& store) {
  // [copy]
  CCfgInstance line;
  Check(CCfgCategory(L"Line").CreateInstance(line), "the schema makes no line");
  Check(line.SetInstanceId(L"night-line"), "the id is refused");
  Store(store, line);

  std::vector<OS::x_wstring> ids;
  Check(store.CopyConfiguration(L"day-line", L"night-line", false, &ids, nullptr), "the copy");
  std::wcout << L"== copy\nshallow:";
  for (const OS::x_wstring& id : ids) std::wcout << L" " << id.c_str();
  std::wcout << L"\n";
  // [end]
}

void RemoveLine(CCfgConfigurationEx& store) {
  // [remove]
  std::wcout << L"== remove\n";
  const CCfgInstance dayLine = Open(store, L"day-line");  // with all that the two lines share
  const CCfgInstance nightLine = Open(store, L"night-line");
  Check(store.RemoveConfiguration(TextOf(nightLine), nullptr), "the removal");
  std::wcout << L"the ship is there: " << IsStored(store, L"auk") << L"\n";
  Store(store, dayLine);
  std::wcout << L"now it is there: " << IsStored(store, L"auk") << L"\n";
  std::wcout << L"the night line is there: " << IsStored(store, L"night-line") << L"\n";
  // [end]
}
