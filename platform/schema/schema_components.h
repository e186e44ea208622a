// The components of a schema, resolved once and read-only from then on: what a content model may
// hold, what types derive from, what the members of a substitution group are.
//
// The components are the objects that the interfaces of schema_model.h hand out. They live as long
// as their model. A count on one of them is a count on the owner of the model, so a query makes
// nothing. Names come twice: in UTF-8 together with their namespace (empty for none), to be
// compared with those of a document, and wide, for the getters.
//
// Every pointer stays inside one model. Once the model is built nothing changes any more, and any
// number of threads may read it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/schema/schema_model.h"

namespace cfgex::internal {

struct ComplexType;
struct SchemaElement;
struct SchemaNamespace;
struct SimpleType;

// A name in a namespace. The texts belong to somebody else.
struct NameKey {
  std::string_view ns;
  std::string_view name;
  bool operator==(const NameKey&) const = default;
};
struct NameKeyHash {
  std::size_t operator()(const NameKey& key) const noexcept {
    const std::hash<std::string_view> hash;
    return hash(key.name) * 31 + hash(key.ns);
  }
};
template <class V>
using NameMap = std::unordered_map<NameKey, V, NameKeyHash>;

// Counting by way of the owner of the model.
template <class I>
class Owned : public I {
 public:
  explicit Owned(IUnknown& owner) noexcept : m_Owner(owner) {}
  unsigned long AddRef() noexcept override { return m_Owner.AddRef(); }
  unsigned long Release() noexcept override { return m_Owner.Release(); }

 private:
  IUnknown& m_Owner;
};

class ItemCollection final : public Owned<ISchemaItemCollection> {
 public:
  using Owned::Owned;
  void Add(ISchemaItem* item);

  long get_length() override { return static_cast<long>(m_Items.size()); }
  ComPtr<ISchemaItem> get_item(long index) override;
  ComPtr<ISchemaItem> itemByName(std::wstring_view name) override;  // the first of that name

 private:
  std::vector<ISchemaItem*> m_Items;
  std::unordered_map<std::wstring_view, ISchemaItem*> m_ByName;  // views of the items' own names
};

// All components of one target namespace.
struct SchemaNamespace final : Owned<ISchema> {
  explicit SchemaNamespace(IUnknown& owner) noexcept : Owned(owner), types(owner) {}

  std::string uri;
  std::wstring version;  // of the schema that was added; empty for one that it imports
  ItemCollection types;

  const std::wstring& get_name() override;  // empty
  ComPtr<ISchema> get_schema() override { return ComPtr<ISchema>(this); }
  const std::wstring& get_version() override { return version; }
  ComPtr<ISchemaItemCollection> get_types() override {
    return ComPtr<ISchemaItemCollection>(&types);
  }
};

// Content models -------------------------------------------------------------------------------

enum class ProcessContents { kStrict, kLax, kSkip };

// xs:any. `namespaces` holds the allowed ones, or with `kNot` the one that is refused beside
// none at all.
struct Wildcard {
  enum Constraint { kAny, kNot, kOneOf };
  Constraint constraint = kAny;
  std::vector<std::string> namespaces;
  ProcessContents process = ProcessContents::kStrict;

  bool Allows(std::string_view ns) const;
};

inline constexpr std::uint64_t kUnbounded = UINT64_MAX;
enum class ParticleKind { kElement, kWildcard, kGroup };
enum class Compositor { kSequence, kChoice, kAll };

struct ModelGroup;

// One place in a content model: one of the three terms, and how often it stands there. Particles
// that came from references to a named group share one ModelGroup; no group contains itself.
struct Particle {
  ParticleKind kind = ParticleKind::kGroup;
  std::uint64_t min = 1;
  std::uint64_t max = 1;
  SchemaElement* element = nullptr;
  const Wildcard* wildcard = nullptr;
  ModelGroup* group = nullptr;
};

struct ModelGroup {
  Compositor compositor = Compositor::kSequence;
  std::vector<Particle> particles;
};

// An element declaration, or the use of a global one in a content model. A use has the
// occurrence of its place and everything else from the global declaration.
struct SchemaElement final : Owned<ISchemaElement> {
  explicit SchemaElement(IUnknown& owner) : Owned(owner), min_occurs(L"1"), declaration(this) {}

  std::string ns;  // of the elements in a document: empty for an unqualified local one
  std::string local_name;
  std::wstring name;
  std::wstring min_occurs;
  std::wstring default_value;
  std::wstring fixed_value;
  bool is_abstract = false;
  bool is_nillable = false;
  SchemaNamespace* schema = nullptr;
  ISchemaType* type_item = nullptr;  // the same type as the next
  struct SchemaType* type = nullptr;
  SchemaElement* declaration;  // of a use the global declaration, otherwise this
  SchemaElement* substitution_head = nullptr;
  // Whose head this is; theirs are not repeated here, and nothing is in a use.
  std::vector<SchemaElement*> substitutes;

  NameKey Key() const { return {ns, local_name}; }
  const std::wstring& get_name() override { return name; }
  ComPtr<ISchema> get_schema() override { return ComPtr<ISchema>(schema); }
  const std::wstring& get_minOccurs() override { return min_occurs; }
  ComPtr<ISchemaType> get_type() override { return ComPtr<ISchemaType>(type_item); }
  const std::wstring& get_defaultValue() override { return default_value; }
  const std::wstring& get_fixedValue() override { return fixed_value; }
};

// All that may stand for the element beside itself, through any number of steps. Abstract ones
// are among them.
std::vector<const SchemaElement*> AllSubstitutes(const SchemaElement& head);

// Attributes -----------------------------------------------------------------------------------

enum class AttributeUseKind { kOptional, kRequired, kProhibited };

// An attribute declaration, or the use of one. In a use of a global declaration what the use
// leaves open is filled in.
struct AttributeUse {
  std::string ns;
  std::string local_name;
  std::wstring name;
  AttributeUseKind use = AttributeUseKind::kOptional;
  std::wstring default_value;
  std::wstring fixed_value;
  SimpleType* type = nullptr;
  const AttributeUse* declaration = nullptr;  // of a use of a global declaration
};

struct AttributeGroup {
  std::vector<AttributeUse> attributes;
  std::vector<AttributeGroup*> groups;  // none contains itself
};

// Types ----------------------------------------------------------------------------------------

// What simple and complex types share. Exactly one of `simple` and `complex` is set.
struct SchemaType {
  SchemaType(IUnknown& owner, ISchemaType* self) : item(self), base_types(owner) {}
  SchemaType(const SchemaType&) = delete;
  SchemaType& operator=(const SchemaType&) = delete;

  std::string ns;
  std::string local_name;  // empty for an anonymous type
  std::wstring name;
  SchemaNamespace* schema = nullptr;  // none for a built-in type
  SchemaType* base = nullptr;         // none for anyType only
  ISchemaType* const item;
  SimpleType* simple = nullptr;
  ComplexType* complex = nullptr;
  ItemCollection base_types;

  NameKey Key() const { return {ns, local_name}; }

 protected:
  ~SchemaType() = default;
};

template <class I>
struct TypeItem : Owned<I>, SchemaType {
  explicit TypeItem(IUnknown& owner) : Owned<I>(owner), SchemaType(owner, this) {}
  const std::wstring& get_name() override { return name; }
  ComPtr<ISchema> get_schema() override { return ComPtr<ISchema>(schema); }
  ComPtr<ISchemaItemCollection> get_baseTypes() override {
    return ComPtr<ISchemaItemCollection>(&base_types);
  }
};

enum class Variety { kAtomic, kList, kUnion };
enum class Blanks { kInherited, kPreserve, kReplace, kCollapse };

struct SimpleType final : TypeItem<ISchemaType> {
  explicit SimpleType(IUnknown& owner) : TypeItem(owner) { simple = this; }

  Variety variety = Variety::kAtomic;
  Blanks blanks = Blanks::kInherited;  // what this type itself says of white space
  SimpleType* item_type = nullptr;     // of a list
  // What this type itself writes: many types may share one long list of their base.
  std::vector<SimpleType*> members;  // of a union
  std::vector<std::wstring> enumeration;
  bool has_pattern = false;  // here or in a base
  double pattern_cubes = 0;  // of its own patterns, see schema_reader_limits.h
};

// Whether blanks around a value of the type, and rows of them, are no part of it.
bool CollapsesBlanks(const SimpleType& type);

enum class Derivation { kRestriction, kExtension };
enum class ContentKind { kEmpty, kSimple, kElementOnly, kMixed };

// Where the children of an element of one complex type are declared, by name. The table of an
// extension goes on in that of its base; the tables are merged so that a chain of n extensions has
// tables of the order of log n.
struct ChildTable {
  NameMap<SchemaElement*> elements;
  std::vector<const Wildcard*> wildcards;
  const ChildTable* inherited = nullptr;
};

struct ComplexType final : TypeItem<ISchemaComplexType> {
  explicit ComplexType(IUnknown& owner) : TypeItem(owner) { complex = this; }

  Derivation derivation = Derivation::kRestriction;
  ContentKind content = ContentKind::kEmpty;  // the base's contents counted in
  bool is_abstract = false;
  bool is_mixed = false;
  bool has_simple_content = false;
  const Particle* particle = nullptr;    // what this type itself writes, or none
  SimpleType* simple_content = nullptr;  // the type of the text, with simple content
  AttributeGroup attributes;             // what this type itself writes
  const ChildTable* children = nullptr;
};

// The particles of the content, in the order in which they stand: those of the bases that are
// extended, then the type's own. Together they are a sequence.
std::vector<const Particle*> EffectiveContent(const ComplexType& type);
// The attributes of elements of the type, those of its bases first. What a restriction prohibits is
// not among them.
std::vector<const AttributeUse*> EffectiveAttributes(const ComplexType& type);

// The model ------------------------------------------------------------------------------------

// What the children of an element are held against.
struct ChildScope {
  enum Kind { kNothing, kLax, kType };
  Kind kind = kNothing;
  const ComplexType* type = nullptr;  // with kType
};

// What an element in a document is.
struct Match {
  SchemaElement* declaration = nullptr;
  bool lax = false;  // without declaration: whether what is below it may have one
};

class SchemaModel {
 public:
  // A model of the built-in types. Counts on its components go to `owner`.
  explicit SchemaModel(IUnknown& owner);

  // Global components by name; null for none. Built-in types are in the schema's own namespace.
  SchemaElement* FindElement(const NameKey& key) const;
  SchemaType* FindType(const NameKey& key) const;

  // A child of this name. Constant time, but for a chain of substitution groups.
  Match FindChild(const ChildScope& scope, const NameKey& key) const;
  // The scope of the children of an element, given its own match and the type that its xsi:type
  // names (null for none).
  ChildScope ScopeBelow(const Match& match, const SchemaType* xsi_type) const;

  SchemaNamespace* added = nullptr;  // the namespace of the schema that was added
  ComplexType* any_type = nullptr;
  SimpleType* any_simple_type = nullptr;

  // The components in the order of their making, and the ways to make them. For the reader alone.
  IUnknown& owner;
  std::deque<SchemaNamespace> namespaces;
  std::deque<SchemaElement> elements;
  std::deque<ComplexType> complex_types;
  std::deque<SimpleType> simple_types;
  std::deque<AttributeUse> global_attributes;
  std::deque<AttributeGroup> attribute_groups;
  std::deque<ModelGroup> groups;
  std::deque<Particle> contents;
  std::deque<Wildcard> wildcards;
  std::deque<ChildTable> tables;
  NameMap<SchemaElement*> global_elements;
  NameMap<SchemaType*> global_types;
};

}  // namespace cfgex::internal
