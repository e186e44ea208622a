// From the documents of a schema to the model of its components.
#pragma once

#include "platform/schema/schema_documents.h"

namespace cfgex::internal {

class SchemaModel;

// Fills a model that holds nothing but the built-in types.
//
// The reader does not judge the schema, which is the engine's business, and is to be used before
// the engine: a reference that leads nowhere makes anyType of a type, and nothing of an element,
// an attribute or a group. What would make the engine, or a walk of the model, run without an
// end raises _com_error: a definition that contains or derives from itself, a substitution group
// that leads back to itself, and a schema beyond the limits of schema_budget.h.
void ReadSchema(const SchemaDocuments& documents, SchemaModel& model);

}  // namespace cfgex::internal
