// Paths: XPath 1.0. A path NAME/NAME... goes without it, by walking the children, with the same
// result.
#pragma once

#include <libxml/tree.h>

#include <string>
#include <string_view>
#include <vector>

namespace cfgex::internal {

// The nodes that the path leads to from `c_context`, in document order; the first of them, or null.
// A malformed path, and one that does not yield nodes, raise _com_error. Namespace nodes are left
// out.
std::vector<xmlNode*> FindAll(xmlNode* c_context, std::wstring_view path);
xmlNode* FindFirst(xmlNode* c_context, std::wstring_view path);

// Whether XPath selects these nodes, in the same order, from the document: what debug builds hold
// an index against. True without a question unless the document is so small that looking through
// all of it costs little, and the path so short that XPath takes its names.
bool IsAsXPathAnswers(const std::vector<xmlNode*>& found, xmlDoc* c_document,
                      const std::string& path);

}  // namespace cfgex::internal
