// Copying instances, and removing them.
#pragma once

#include <cfgex/cfgex.h>

#include <cstddef>
#include <filesystem>

namespace demo {

// How many instances the saved configuration holds.
std::size_t CountInstances(const std::filesystem::path& config);

// Adds a zone with devices of its own and copies it onto two others, one copy of each kind.
void CopyZones(CCfgConfigurationEx& store, const std::filesystem::path& config);
// Removes the zone that was copied, and shows what is left of the copies.
void RemoveZone(CCfgConfigurationEx& store, const std::filesystem::path& config);

}  // namespace demo
