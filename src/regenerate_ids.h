// New ids for all that an instance reaches: the main step of a deep copy.
#pragma once

#include <functional>
#include <string>

#include "cfgex/cfg_Option.h"
#include "platform/dom/dom.h"

namespace cfgex::internal {

// Gives every instance that the instance (`category`, `instanceId`) reaches in the document with
// the root `root` a new id, and changes every reference to them. The instance at the start
// keeps its id, but references back to it get `copyId`. A reference that leads nowhere gets a new
// default instance of its category, made from the schema of `option` and put into the document, or,
// if none can be made, stays as it was. `isTaken` tells which ids are in use elsewhere; it is asked
// only about ids that are no GUIDs.
//
// Reports nothing: if the platform fails, ids that were changed stay changed. Does not recurse
// along a chain, and ends on any cycle.
void RegenerateReferenceIds(const ComPtr<IXMLDOMElement>& root, const wchar_t* instanceId,
                            const wchar_t* category, const wchar_t* copyId,
                            const std::function<bool(const std::wstring&)>& isTaken,
                            CCfgOption& option);

}  // namespace cfgex::internal
