// The platform classes that documents and schema caches are made from.
#pragma once

namespace cfgex::internal {

// The name of the document class: the newest one that can be made, found out at the first call and
// kept for the life of the process. Never null. Any thread may call.
const wchar_t* SelectDomProgId();

// The same for the schema cache; null if none can be made, and then the next call tries anew.
const wchar_t* SelectSchemaCacheProgId();

}  // namespace cfgex::internal
