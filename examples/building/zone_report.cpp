#include "zone_report.h"

#include <cstddef>
#include <cstdlib>
#include <iostream>

namespace demo {

namespace {

std::wstring ItemText(bool item) { return YesNo(item); }
std::wstring ItemText(const OS::x_wstring& item) { return item.str(); }
template <class Number>
std::wstring ItemText(Number item) {
  return std::to_wstring(item);
}

std::wstring OrNone(const OS::x_wstring& text) {
  return text.empty() ? std::wstring(L"(none)") : text.str();
}

// The items of an array field of the type that the schema gives it.
template <class Array>
std::wstring Items(const CCfgObject& object, const wchar_t* field) {
  const auto array = Field<Array>(object, field);
  if (array.GetItemCount() == 0) return L"(none)";
  std::wstring text = ItemText(array.GetItem(0));
  for (std::size_t i = 1; i < array.GetItemCount(); ++i) text += L", " + ItemText(array.GetItem(i));
  return text;
}

void PrintController(const CCfgInstance& controller) {
  const auto maintenance = Field<CCfgObject>(controller, L"Maintenance");
  const auto technician = Field<CCfgInstance>(maintenance, L"Technician");
  std::wcout << L"  controller:       " << NameOf(controller) << L"\n"
             << L"    port:           " << Field<unsigned int>(controller, L"Port") << L"\n"
             << L"    registers:      " << Items<CCfgUnsignedIntegerArray>(controller, L"Registers")
             << L"\n"
             << L"    inputs in use:  " << Items<CCfgBooleanArray>(controller, L"InputsInUse")
             << L"\n"
             << L"    maintenance:    " << Minutes(Field<OS::CTime>(maintenance, L"Next"))
             << L", then every " << Field<unsigned int>(maintenance, L"EveryDays") << L" days, by "
             << NameOf(technician) << L"\n";
}

}  // namespace

void Heading(const wchar_t* text) { std::wcout << L"\n== " << text << L" ==\n"; }

const wchar_t* YesNo(bool value) { return value ? L"yes" : L"no"; }

std::wstring Degrees(int tenths) {
  const int size = std::abs(tenths);
  return (tenths < 0 ? L"-" : L"") + std::to_wstring(size / 10) + L"." +
         std::to_wstring(size % 10) + L" °C";
}

std::wstring Minutes(const OS::CTime& time) { return time.Format(L"%Y-%m-%d %H:%M").str(); }

std::wstring Describe(const CVar& value) {
  switch (value.GetKind()) {
    case VT_BSTR:
      return std::wstring(L"text ") + static_cast<const wchar_t*>(value);
    case VT_I4:
      return L"integer " + std::to_wstring(static_cast<int>(value));
    case VT_UI4:
      return L"unsigned integer " + std::to_wstring(static_cast<unsigned int>(value));
    case VT_BOOL:
      return std::wstring(L"boolean ") + YesNo(static_cast<bool>(value));
    case VT_DATE:
      return L"date " + Minutes(static_cast<tm>(value));
    default:
      throw Surprise{L"a field has a kind of its own"};
  }
}

void PrintZone(const CCfgInstance& zone) {
  std::wcout << zone.GetCategory().c_str() << L" " << zone.GetInstanceId().c_str() << L"\n"
             << L"  name:             " << OrNone(Field<OS::x_wstring>(zone, L"Name")) << L"\n"
             << L"  description:      " << OrNone(Field<OS::x_wstring>(zone, L"Description"))
             << L"\n"
             << L"  kind:             " << Field<OS::x_wstring>(zone, L"Kind").c_str() << L"\n"
             << L"  floor:            " << Field<int>(zone, L"Floor") << L"\n"
             << L"  set point:        " << Degrees(Field<int>(zone, L"SetPoint")) << L"\n"
             << L"  warmest:          " << Degrees(Field<int>(zone, L"Comfort/Warmest")) << L"\n"
             << L"  area:             " << Field<unsigned int>(zone, L"Area") << L" m²\n"
             << L"  occupants:        " << Field<unsigned int>(zone, L"MaximumOccupants") << L"\n"
             << L"  enabled:          " << YesNo(Field<bool>(zone, L"Enabled")) << L"\n"
             << L"  last inspection:  " << Minutes(Field<OS::CTime>(zone, L"LastInspection"))
             << L"\n"
             << L"  tags:             " << Items<CCfgStringArray>(zone, L"Tags") << L"\n";

  // This field is optional: the result is false if it is absent.
  OS::x_wstring remarks;
  const bool has_remarks = zone.GetFieldValue(L"Remarks", remarks);
  std::wcout << L"  remarks:          " << (has_remarks ? remarks.c_str() : L"(none)") << L"\n";
}

void PrintDevices(const CCfgInstance& zone) {
  const auto site = Field<CCfgInstance>(zone, L"Site");
  std::wcout << L"  site:             " << NameOf(site) << L", contact "
             << NameOf(Field<CCfgInstance>(site, L"Contact")) << L"\n"
             << L"  schedule:         " << NameOf(Field<CCfgInstance>(zone, L"Schedule")) << L"\n";
  PrintController(Field<CCfgInstance>(zone, L"Controller"));
  for (const CCfgInstance& sensor : Targets(zone, L"Sensors")) {
    std::wcout << L"  sensor:           " << NameOf(sensor) << L", thresholds "
               << Items<CCfgIntegerArray>(sensor, L"Thresholds") << L"\n";
  }
  for (const CCfgInstance& actuator : Targets(zone, L"Actuators")) {
    std::wcout << L"  actuator:         " << NameOf(actuator) << L", follows "
               << NameOf(Field<CCfgInstance>(actuator, L"Feedback")) << L"\n";
  }
}

void PrintIds(const IdList& ids) {
  for (const OS::x_wstring& id : ids) std::wcout << L"  " << id.c_str() << L"\n";
}

}  // namespace demo
