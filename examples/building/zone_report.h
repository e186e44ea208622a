// What the program prints of the configuration.
#pragma once

#include <cfgex/cfgex.h>

#include <string>

#include "checked.h"

namespace demo {

void Heading(const wchar_t* text);

const wchar_t* YesNo(bool value);
// The configuration keeps temperatures in tenths of a degree.
std::wstring Degrees(int tenths);
std::wstring Minutes(const OS::CTime& time);
// A field whose type the program does not know: a CVar takes the kind from the schema.
std::wstring Describe(const CVar& value);

void PrintZone(const CCfgInstance& zone);
// What the zone refers to, and what that refers to in turn.
void PrintDevices(const CCfgInstance& zone);
void PrintIds(const IdList& ids);

}  // namespace demo
