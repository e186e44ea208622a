// Fields: how a command line names them, what is in them, and how text becomes a value.
//
// A path is names joined by dots: "Name", "Comfort.Warmest", "Controller.InstanceId". A number in
// brackets, from 1, picks a member of a list: "Tags[2]", "Escalation[1].Channel"; and one of
// several elements of one name: "Escalation.Step[2]". If a name contains a dot, names are joined by
// slashes.
#pragma once

#include <string>

#include "src/field_type.h"
#include "tools/loaded_file.h"

namespace cfgexctl {

struct Field {
  Element element;
  std::wstring path;   // as it was given
  std::wstring xpath;  // from the instance, as the library's interface takes it
};

// Stops with kUsage if the text is no path, and with kMissing if there is no such field.
Field FindField(const Element& instance, const std::wstring& path);

// The type that decides how the library reads and writes the field; kUnknown for any other.
FieldType TypeOf(const Element& element);
bool IsListType(FieldType type);

// The value: numbers and truth values as such, a reference as {"category", "id"} or null, lists as
// arrays, all else as objects and texts.
Json ValueOf(const Element& element);
// The fields of an instance or object, one line each, indented.
void PrintFields(const Element& element, std::size_t indent, Report& report);
// A field's value on one line, as `get` prints it and `set` takes it.
std::wstring TextOf(const Element& element);

// Writes a field of an instance. The targets of references are looked up in `file`, and those of
// lists read from `store`. Stops with kInvalid or kMissing, and with kUsage if the text is not a
// value of the field's type.
void SetField(CCfgInstance& instance, const Field& field, const std::wstring& value,
              const LoadedFile& file, CCfgConfigurationEx& store);

}  // namespace cfgexctl
