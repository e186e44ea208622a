// The model of a schema: what it declares. Validity is never decided on it.
//
// The components are resolved once, while the schema is read, and do not change afterwards, so any
// number of threads may use them. Every pointer stays inside one model. The classes `ISchema...`
// are handed out with a count, which is a count on the model: any count on any of them keeps the
// whole model alive. Callers outside of platform/ use the operations with the names `get_...` and
// `itemByName` alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/os/com_ptr.h"

namespace cfgex::internal {

// The namespace of schemas themselves, and of the built-in types.
inline constexpr std::string_view kXsdNamespace = "http://www.w3.org/2001/XMLSchema";

class IXMLDOMDocument2;
class IXMLDOMNode;

class ISchemaComplexType;
class ISchemaElement;
class ISchemaItem;
class SimpleType;
struct Particle;

// A name in a namespace (empty for none), in UTF-8. The texts are borrowed.
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

// A part of a model that is handed out. A count on it is a count on its owner, the model.
class SchemaPart : public IUnknown {
 public:
  explicit SchemaPart(IUnknown& owner) noexcept : m_Owner(owner) {}
  unsigned long AddRef() noexcept override { return m_Owner.AddRef(); }
  unsigned long Release() noexcept override { return m_Owner.Release(); }

 private:
  IUnknown& m_Owner;
};

class ISchemaItemCollection final : public SchemaPart {
 public:
  using SchemaPart::SchemaPart;
  void Add(ISchemaItem& item);

  long get_length() const { return static_cast<long>(m_Items.size()); }
  ComPtr<ISchemaItem> get_item(long index) const;                // from 0; none past the end
  ComPtr<ISchemaItem> itemByName(std::wstring_view name) const;  // the first; none when unknown

 private:
  std::vector<ISchemaItem*> m_Items;
  std::unordered_map<std::wstring_view, ISchemaItem*> m_ByName;  // views of the items' own names
};

// All components of one target namespace.
class ISchema final : public SchemaPart {
 public:
  explicit ISchema(IUnknown& owner) noexcept : SchemaPart(owner), types(owner) {}

  const std::wstring& get_version() const { return version; }
  ComPtr<ISchemaItemCollection> get_types() { return ComPtr<ISchemaItemCollection>(&types); }

  std::string uri;
  std::wstring version;         // the `version` attribute of the schema that was added, or empty
  ISchemaItemCollection types;  // the global ones
};

// A declaration or type.
class ISchemaItem : public SchemaPart {
 public:
  using SchemaPart::SchemaPart;

  // The name of a declaration or type, without namespace; empty for an anonymous type.
  const std::wstring& get_name() const { return name; }
  ComPtr<ISchema> get_schema() const { return ComPtr<ISchema>(schema); }
  NameKey Key() const { return {ns, local_name}; }

  std::string ns;  // of an element that of its instances: empty for an unqualified local one
  std::string local_name;
  std::wstring name;          // the local name again
  ISchema* schema = nullptr;  // none for a built-in type
};

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
};

struct AttributeGroup {
  std::vector<AttributeUse> attributes;
  std::vector<AttributeGroup*> groups;  // none contains itself
};

// Types ----------------------------------------------------------------------------------------

class ISchemaType : public ISchemaItem {
 public:
  // What the type derives from directly: its base, or the member types of a union; empty for
  // "anyType".
  ComPtr<ISchemaItemCollection> get_baseTypes() {
    return ComPtr<ISchemaItemCollection>(&base_types);
  }

  ISchemaType* base = nullptr;        // none for anyType only
  SimpleType* const simple;           // this, or none for a complex type
  ISchemaComplexType* const complex;  // the reverse
  ISchemaItemCollection base_types;

 protected:
  ISchemaType(IUnknown& owner, SimpleType* as_simple, ISchemaComplexType* as_complex)
      : ISchemaItem(owner), simple(as_simple), complex(as_complex), base_types(owner) {}
};

enum class Variety { kAtomic, kList, kUnion };
enum class Blanks { kInherited, kPreserve, kReplace, kCollapse };

class SimpleType final : public ISchemaType {
 public:
  explicit SimpleType(IUnknown& owner) : ISchemaType(owner, this, nullptr) {}

  Variety variety = Variety::kAtomic;
  Blanks blanks = Blanks::kInherited;  // what this type itself says of white space
  bool collapses_blanks = false;    // whether blanks around a value, and rows of them, are no part
  SimpleType* item_type = nullptr;  // of a list
  // What this type itself writes: many types may share one long list of their base.
  std::vector<SimpleType*> members;  // of a union
  std::size_t enumeration = 0;       // how many values it lists
};

enum class Derivation { kRestriction, kExtension };

struct Wildcard;

// Where the children of an element of one complex type are declared, by name. The table of an
// extension goes on in that of its base; the tables are merged so that a chain of n extensions has
// tables of the order of log n.
struct ChildTable {
  NameMap<ISchemaElement*> elements;
  std::vector<const Wildcard*> wildcards;
  const ChildTable* inherited = nullptr;
};

class ISchemaComplexType final : public ISchemaType {
 public:
  explicit ISchemaComplexType(IUnknown& owner) : ISchemaType(owner, nullptr, this) {}

  // The particles of the content, in their order: those of the bases that are extended, then the
  // type's own. Together they are a sequence.
  std::vector<const Particle*> Content() const;
  // The elements that the content names, in their order.
  std::vector<ISchemaElement*> Elements() const;
  // The attributes of elements of the type, those of its bases first. What a restriction prohibits
  // is not among them.
  std::vector<const AttributeUse*> Attributes() const;

  Derivation derivation = Derivation::kRestriction;
  bool is_abstract = false;
  bool is_mixed = false;
  bool has_simple_content = false;
  const Particle* particle = nullptr;    // what this type itself writes, or none
  SimpleType* simple_content = nullptr;  // the type of the text, with simple content
  AttributeGroup attributes;             // what this type itself writes
  const ChildTable* children = nullptr;
};

// Content models -------------------------------------------------------------------------------

// An element declaration, or the use of a global one in a content model. A use has the
// occurrence of its place and everything else from the global declaration.
class ISchemaElement final : public ISchemaItem {
 public:
  using ISchemaItem::ISchemaItem;

  const std::wstring& get_minOccurs() const { return min_occurs; }
  ComPtr<ISchemaType> get_type() const { return ComPtr<ISchemaType>(type); }
  const std::wstring& get_defaultValue() const { return default_value; }
  const std::wstring& get_fixedValue() const { return fixed_value; }

  // Makes this a use of a complete global declaration.
  void Use(ISchemaElement& global);
  // All that may be in the place of the element, through any number of steps of substitution,
  // abstract ones included; not the element itself.
  std::vector<const ISchemaElement*> AllSubstitutes() const;

  std::wstring min_occurs = L"1";  // a decimal number
  std::wstring default_value;      // empty when there is none
  std::wstring fixed_value;
  bool is_abstract = false;
  ISchemaType* type = nullptr;
  ISchemaElement* declaration = this;  // of a use the global declaration
  ISchemaElement* substitution_head = nullptr;
  // Whose head this is, through one step. Empty in a use.
  std::vector<ISchemaElement*> substitutes;
};

enum class ProcessContents { kStrict, kLax, kSkip };

// xs:any. `namespaces` holds the allowed ones, or with `kNot` the one that is refused beside
// none at all.
struct Wildcard {
  enum Constraint { kAny, kNot, kOneOf };
  Constraint constraint = kAny;
  std::vector<std::string> namespaces;
  ProcessContents process = ProcessContents::kStrict;

  bool Allows(std::string_view uri) const;
};

inline constexpr std::uint64_t kUnbounded = UINT64_MAX;
enum class ParticleKind { kElement, kWildcard, kGroup };
enum class Compositor { kSequence, kChoice, kAll };

struct ModelGroup;

// One place in a content model: one of the three terms, and how often it occurs there. Particles
// that came from references to a named group share one ModelGroup; no group contains itself.
struct Particle {
  ParticleKind kind = ParticleKind::kGroup;
  std::uint64_t min = 1;
  std::uint64_t max = 1;
  ISchemaElement* element = nullptr;
  const Wildcard* wildcard = nullptr;
  ModelGroup* group = nullptr;
};

struct ModelGroup {
  Compositor compositor = Compositor::kSequence;
  std::vector<Particle> particles;
};

// The elements and wildcards that `content` leads to, in their order, with each group followed
// once.
std::vector<const Particle*> Leaves(std::vector<const Particle*> content);

// The model ------------------------------------------------------------------------------------

// What an element in a document is.
struct Match {
  ISchemaElement* declaration = nullptr;
  bool lax = false;  // without declaration: whether what is below it may have one
};

class SchemaModel final : public Counted<IUnknown> {
 public:
  SchemaModel();  // a model of the built-in types

  // Global components by name; null for none. Built-in types are in the schema's own namespace.
  ISchemaElement* FindElement(const NameKey& key) const;
  ISchemaType* FindType(const NameKey& key) const;

  // A child of this name of an element that is `parent` and whose xsi:type names `xsi_type`, or
  // null. Constant time, but for a chain of substitution groups.
  Match FindChild(const Match& parent, const ISchemaType* xsi_type, const NameKey& key) const;

  ISchema* added = nullptr;  // the namespace of the schema that was added
  ISchemaComplexType* any_type = nullptr;
  SimpleType* any_simple_type = nullptr;

  // The components in the order of their making, and the ways to make them. For the reader alone.
  std::deque<ISchema> namespaces;
  std::deque<ISchemaElement> elements;
  std::deque<ISchemaComplexType> complex_types;
  std::deque<SimpleType> simple_types;
  std::deque<AttributeUse> global_attributes;
  std::deque<AttributeGroup> attribute_groups;
  std::deque<ModelGroup> groups;
  std::deque<Particle> contents;
  std::deque<Wildcard> wildcards;
  std::deque<ChildTable> tables;
  NameMap<ISchemaElement*> global_elements;
  NameMap<ISchemaType*> global_types;
};

// The elements that may be, in any number and any order, the children of elements of a type,
// by name: local declarations, or the global ones that are used. Nothing when the type's content is
// any other: when order or number count, when there is a wildcard, text, or an element that is
// abstract or the head of a substitution group.
std::optional<NameMap<const ISchemaElement*>> FreeChildren(const ISchemaType& type);

// Whether elements of the type must carry an attribute.
bool RequiresAttributes(const ISchemaType& type);

// The schema cache, as documents use it. SchemaCollection in platform/dom completes it.
class IXMLDOMSchemaCollection2 : public IUnknown {
 public:
  // Compiles the schema in `document` into the cache, under the namespace `namespaceUri`, with what
  // it includes, imports and redefines: readable local files, relative to the document's own.
  // A schema that is not acceptable is a failure. A cache takes one schema.
  virtual void add(std::wstring_view namespaceUri, const ComPtr<IXMLDOMDocument2>& document) = 0;
  // The schema added under that namespace, or none.
  virtual ComPtr<ISchema> getSchema(std::wstring_view namespaceUri) = 0;
  // The declaration of an element of a document that is bound to this cache: of the root by its
  // name, of any other element from its parent's type (the `xsi:type` of the parent if it has one).
  // An element has it from the moment that it is put in its place, and one that was cut
  // out keeps it. None where the schema does not declare the element there.
  virtual ComPtr<ISchemaItem> getDeclaration(const ComPtr<IXMLDOMNode>& node) = 0;
};

}  // namespace cfgex::internal
