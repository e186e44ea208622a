// A new zone, made from the schema, with devices of its own and references to what is there.
#pragma once

#include <cfgex/cfgex.h>

namespace demo {

void AddBatteryRoom(CCfgConfigurationEx& store);
// The same zone as a store finds it in the file.
void ShowBatteryRoom(CCfgConfigurationEx& store);

}  // namespace demo
