// The steps of the tutorial, in their order, and what they share.
#pragma once

#include <cfgex/cfgex.h>

#include <stdexcept>

// [check]
// A false result has no reason with it, so the caller says what was being done.
inline void Check(bool done, const char* what) {
  if (!done) throw std::runtime_error(what);
}
// [end]

CCfgInstance Open(CCfgConfigurationEx& store, const wchar_t* id);
void Store(CCfgConfigurationEx& store, const CCfgInstance& instance);

void CreateHarbours(CCfgConfigurationEx& store);
void CreateShips(CCfgConfigurationEx& store);
void CreateLine(CCfgConfigurationEx& store);
void ReadShip(CCfgConfigurationEx& store);
void ReadLine(CCfgConfigurationEx& store);
void ChangeShip(CCfgConfigurationEx& store);
void CopyLine(CCfgConfigurationEx& store);
void RemoveLine(CCfgConfigurationEx& store);
void ChangeFromThreads(const CCfgConfigurationEx& store);
void Recover(const wchar_t* file);
