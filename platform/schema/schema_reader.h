// From the documents of a schema to the model of its components.
#pragma once

#include <string>

#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

// The reader does not judge the schema, which is the engine's business, and is to be used before
// the engine: a reference that leads nowhere makes anyType of a type, and nothing of an element,
// an attribute or a group. What would make the engine, or a walk of the model, run without an
// end raises _com_error: a definition that contains or derives from itself, a substitution group
// that leads back to itself, and a schema that spends more than its budget.
ComPtr<SchemaModel> ReadSchema(const SchemaDocuments& documents);

// How many models of schema files the process keeps.
inline constexpr std::size_t kKeptSchemaFiles = 8;

// The model of the schema in a file, with what it includes, imports and redefines. Raises
// _com_error when one of the files cannot be read or they make no schema.
//
// A model that was read before is used again if, by stat, every file that took part is the same
// (device and inode) and unchanged (size, times of the last change), so what is in the files is
// what one gets. The last kKeptSchemaFiles models are kept. Any number of threads may call this,
// and share what they get.
ComPtr<SchemaModel> OpenSchemaFile(const std::wstring& path);

}  // namespace cfgex::internal
