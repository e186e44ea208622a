// Schemas under which a document is valid exactly when each of its parts is.
#pragma once

#include <optional>

#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

// Whether the schema says anything that ties parts of a document together wherever they are:
// xs:key, xs:keyref, xs:unique, or a type made from ID, IDREF and their like.
bool TiesPartsTogether(const SchemaDocuments& documents);

// The elements that may be, in any number and any order, the children of elements of a type,
// by name: local declarations, or the global ones that are used. Nothing when the type's content is
// any other: when order or number count, when there is a wildcard, text, or an element that is
// abstract or the head of a substitution group.
std::optional<NameMap<const ISchemaElement*>> FreeChildren(const ISchemaType& type);

// Whether elements of the type must carry an attribute.
bool RequiresAttributes(const ISchemaType& type);

}  // namespace cfgex::internal
