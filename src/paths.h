// The paths by which instances are found in a document. `context` is any element of it.
//
// A category is an XML name, or "*" for any category where a function allows it. An id is text that
// XML can carry, without a single quote. For anything else these functions raise _com_error, as the
// evaluation of a malformed path does.
#pragma once

#include <string_view>

#include "platform/dom/dom.h"

namespace cfgex::internal {

// "/Configuration/Category/CATEGORY": the first instance of a category, or none.
ComPtr<IXMLDOMElement> FirstInstance(const ComPtr<IXMLDOMElement>& context,
                                     std::wstring_view category);

// "/Configuration/Category/CATEGORY[InstanceId='ID']": the first instance with an id, or none. The
// category may be "*".
ComPtr<IXMLDOMElement> InstanceWithId(const ComPtr<IXMLDOMElement>& context,
                                      std::wstring_view category, std::wstring_view id);

// "/Configuration/Category/CATEGORY[InstanceId='ID']//InstanceId": all ids at any depth of an
// instance, its own included.
ComPtr<IXMLDOMNodeList> IdsInInstance(const ComPtr<IXMLDOMElement>& context,
                                      std::wstring_view category, std::wstring_view id);

}  // namespace cfgex::internal
