// Paths: XPath 1.0, and short cuts for the forms that a store asks for all day.
#pragma once

#include <libxml/tree.h>

#include <string_view>
#include <vector>

namespace cfgex::internal {

// The nodes that the path leads to from `c_context`, in document order; the first of them, or null.
// A malformed path, and one that does not yield nodes, raise _com_error. Namespace nodes are left
// out.
//
// These go without XPath, with the very same result:
//   NAME/NAME...                     by walking the children
//   /R/G/NAME                        (the first only) from the document's index, in a time
//   /R/G/STEP[K='V']                 that does not depend on the size of the document, plus,
//   /R/G/STEP[K='V']//NAME           for the last two, the size of what is below the element
//   /R/G/STEP[K='V']//STEP[K='V']
// where STEP is a NAME or "*", the last one also "*/NAME", and V holds no apostrophe.
std::vector<xmlNode*> FindAll(xmlNode* c_context, std::wstring_view path);
xmlNode* FindFirst(xmlNode* c_context, std::wstring_view path);

}  // namespace cfgex::internal
