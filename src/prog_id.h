// The platform classes that documents and schema caches are made from.
#pragma once

namespace cfgex::internal {

// The name of the newest document class that can be made. The first call finds it, and it is kept
// for the life of the process. Never null. Any thread may call.
const wchar_t* SelectDomProgId();

// The same for the schema cache. Null if none can be made; the next call then tries again.
const wchar_t* SelectSchemaCacheProgId();

}  // namespace cfgex::internal
