// What the library's benchmarks share: texts, stores that stay open, and the commit without a save.
#pragma once

#include <string>
#include <string_view>

#include "bench/bench.h"
#include "cfgex/cfgex.h"

namespace bench {

std::wstring Wide(std::string_view text);

// Loads the schema on the first call.
void UseLibrary();

// A store of its own on a new file with this content.
CCfgConfigurationEx OpenStore(const std::string& subject, std::size_t size, const std::string& xml);

// The store of this size that reads and commits share; opened on the first call.
CCfgConfigurationEx& SharedStore(std::size_t size, const std::string& subject = "cfgex");

OS::x_wstring Read(CCfgConfigurationEx& store, const std::wstring& id, const wchar_t* category);

// SetConfiguration as copying calls it: all of a commit but the writing of the file.
bool SetWithoutSaving(CCfgConfigurationEx& store, const OS::x_wstring& xml);

}  // namespace bench
