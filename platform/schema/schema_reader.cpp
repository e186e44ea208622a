#include "platform/schema/schema_reader.h"

#include <set>

#include "platform/os/encoding.h"
#include "platform/schema/schema_reader_parts.h"
#include "platform/tree/namespaces.h"

namespace cfgex::internal {

const xmlNode* XsdChild(const xmlNode* c_parent, std::string_view name) {
  for (const xmlNode* c_child = c_parent->children; c_child != nullptr; c_child = c_child->next)
    if (IsXsdElement(c_child, name)) return c_child;
  return nullptr;
}

bool BooleanAttribute(const xmlNode* c_node, const char* name) {
  const std::string text = TokenAttribute(c_node, name);
  return text == "true" || text == "1";
}

void SchemaReader::Read() {
  RegisterAll();
  for (const auto& fill : m_Definitions) fill();
  FinishModel(m_Model, m_Budget);
}

ISchema& SchemaReader::Namespace(const std::string& uri) {
  for (ISchema& known : m_Model.namespaces)
    if (known.uri == uri) return known;
  ISchema& made = m_Model.namespaces.emplace_back(m_Model);
  made.uri = uri;
  return made;
}

const ReadingContext* SchemaReader::Enter(const SchemaDocument& document, const std::string& ns) {
  const xmlNode* c_root = document.Root();
  ReadingContext& context = m_Contexts.emplace_back();
  context.document = &document;
  context.target = &Namespace(ns);
  context.borrowed_target = !ns.empty() && TokenAttribute(c_root, "targetNamespace").empty();
  context.qualified_elements = TokenAttribute(c_root, "elementFormDefault") == "qualified";
  context.qualified_attributes = TokenAttribute(c_root, "attributeFormDefault") == "qualified";
  return &context;
}

// Invariant: the documents that a redefinition redefines are read before it. A level is the
// children of one xs:schema or xs:redefine. It goes on when the levels above it have been read.
void SchemaReader::RegisterAll() {
  struct Level {
    const ReadingContext* context;
    const xmlNode* c_next;
    bool redefining;
  };
  std::vector<Level> levels;
  std::set<std::pair<const SchemaDocument*, std::string>> entered;
  const auto enter = [&](const SchemaDocument& document, const std::string& ns) {
    if (!entered.emplace(&document, ns).second) return;
    levels.push_back({Enter(document, ns), document.Root()->children, false});
  };

  const SchemaDocument& main = m_Documents.Main();
  enter(main, TokenAttribute(main.Root(), "targetNamespace"));
  m_Model.added = levels.front().context->target;
  m_Model.added->version = FromUtf8(TokenAttribute(main.Root(), "version"));
  while (!levels.empty()) {
    const ReadingContext& context = *levels.back().context;
    const xmlNode* c_node = levels.back().c_next;
    if (c_node == nullptr) {
      levels.pop_back();
      continue;
    }
    levels.back().c_next = c_node->next;
    if (!IsXsdElement(c_node)) continue;
    if (IsXsdElement(c_node, "redefine")) levels.push_back({&context, c_node->children, true});
    const auto link = context.document->links.find(c_node);
    if (link == context.document->links.end()) {
      RegisterGlobal(context, c_node, levels.back().redefining);
      continue;
    }
    const SchemaDocument& linked = *link->second;
    const std::string own = TokenAttribute(linked.Root(), "targetNamespace");
    const bool imported = IsXsdElement(c_node, "import");
    enter(linked, imported || !own.empty() ? own : context.target->uri);
  }
}

void SchemaReader::RegisterGlobal(const ReadingContext& context, const xmlNode* c_node,
                                  bool redefining) {
  const std::string name = TokenAttribute(c_node, "name");
  if (name.empty()) return;
  const bool isAttribute = IsXsdElement(c_node, "attribute");
  // Makes a component and enters it under its key, the texts of which last. `fill` is called later.
  const auto make = [&](auto& components, auto& map, auto fill, auto&... model) {
    auto& made = components.emplace_back(model...);
    NameKey key;
    if constexpr (requires { made.local_name; }) {
      made.ns = context.target->uri;
      made.local_name = name;
      made.name = FromUtf8(name);
      key = {made.ns, made.local_name};
    } else {
      key = m_Names.emplace_back(QualifiedName{context.target->uri, name}).Key();
    }
    if constexpr (requires { made.schema; }) made.schema = context.target;
    const auto [place, added] = map.emplace(key, &made);
    ReadingScope scope{&context};
    if (redefining) {
      scope.self = &made;
      if (!added) scope.previous = std::exchange(place->second, &made);
    }
    m_Definitions.insert(isAttribute ? m_Definitions.begin() : m_Definitions.end(),
                         [=, this, &made] {
                           (this->*fill)(made, c_node, scope);
                           if constexpr (requires { made.base_types; })
                             if (m_Model.FindType(made.Key()) == &made)
                               made.schema->types.Add(made);
                         });
  };
  if (isAttribute)
    make(m_Model.global_attributes, m_Attributes, &SchemaReader::FillAttribute);
  else if (IsXsdElement(c_node, "element"))
    make(m_Model.elements, m_Model.global_elements, &SchemaReader::FillElement, m_Model);
  else if (IsXsdElement(c_node, "complexType"))
    make(m_Model.complex_types, m_Model.global_types, &SchemaReader::FillComplexType, m_Model);
  else if (IsXsdElement(c_node, "simpleType"))
    make(m_Model.simple_types, m_Model.global_types, &SchemaReader::FillSimpleType, m_Model);
  else if (IsXsdElement(c_node, "group"))
    make(m_Model.groups, m_Groups, &SchemaReader::FillNamedGroup);
  else if (IsXsdElement(c_node, "attributeGroup"))
    make(m_Model.attribute_groups, m_AttributeGroups, &SchemaReader::ReadAttributes);
}

QualifiedName SchemaReader::ResolveName(const ReadingScope& scope, const xmlNode* c_node,
                                        const std::string& text) const {
  const std::size_t colon = text.find(':');
  const std::string prefix = colon == std::string::npos ? "" : text.substr(0, colon);
  QualifiedName name{"", colon == std::string::npos ? text : text.substr(colon + 1)};
  const xmlNs* c_ns = xmlSearchNs(c_node->doc, const_cast<xmlNode*>(c_node),
                                  prefix.empty() ? nullptr : XmlChars(prefix.c_str()));
  if (c_ns != nullptr && c_ns->href != nullptr)
    name.ns = Chars(c_ns->href);
  else if (!prefix.empty())
    name.local.clear();  // no component has an empty name
  if (name.ns.empty() && scope.context->borrowed_target) name.ns = scope.context->target->uri;
  return name;
}

ComPtr<SchemaModel> ReadSchema(const SchemaDocuments& documents) {
  ComPtr<SchemaModel> model = MakeCounted<SchemaModel>();
  SchemaReader(documents, *model).Read();
  return model;
}

}  // namespace cfgex::internal
