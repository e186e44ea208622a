// The models of schema files, kept for as long as the files stay as they are.
#pragma once

#include <string>

#include "platform/os/com_ptr.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

// Owns a model: counts on its items are counts on this.
class SchemaFile final : public Counted<IUnknown> {
 public:
  SchemaModel model{*this};
};

// How many models the process keeps.
inline constexpr std::size_t kKeptSchemaFiles = 8;

// The model of the schema in a file, with what it includes, imports and redefines. Raises
// _com_error when one of the files cannot be read or they make no schema.
//
// A model that was read before is used again if, by stat, every file that took part is the same
// (device and inode) and unchanged (size, times of the last change), so what is in the files is
// what one gets. The last kKeptSchemaFiles models are kept. Any number of threads may call this,
// and share what they get.
ComPtr<SchemaFile> OpenSchemaFile(const std::wstring& path);

}  // namespace cfgex::internal
