#include "platform/dom/path.h"

#include <libxml/parserInternals.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "cfgex/com_error.h"
#include "platform/dom/dom_document.h"
#include "platform/os/encoding.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

enum class Wanted { kFirst, kAll };
using Nodes = std::vector<xmlNode*>;

// --- Child paths

// By XPath's own rule for names.
bool IsName(const std::string& text) {
  // The engine has something to report of other characters alone, and a scope costs more than it.
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  std::optional<EngineScope> scope;
  if (!std::all_of(text.begin(), text.end(), isAscii)) scope.emplace();
  return xmlValidateNCName(XmlChars(text.c_str()), 0) == 0;
}

// The names of NAME/NAME...; empty for any other path.
std::vector<std::string> ParseChildPath(const std::string& path) {
  constexpr std::size_t kMaxSteps = 8;  // the walk below goes one call deeper per step
  std::vector<std::string> steps;
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    steps.push_back(path.substr(start, end - start));
    if (steps.size() > kMaxSteps || !IsName(steps.back())) return {};
    start = end + 1;
  }
  return steps;
}

void WalkChildren(xmlNode* c_node, const std::vector<std::string>& steps, std::size_t step,
                  Wanted wanted, Nodes& found) {
  if (!HoldsChildren(c_node)) return;
  for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next) {
    if (!IsNamed(c_child, steps[step])) continue;
    if (step + 1 == steps.size())
      found.push_back(c_child);
    else
      WalkChildren(c_child, steps, step + 1, wanted, found);
    if (wanted == Wanted::kFirst && !found.empty()) return;
  }
}

// --- XPath

struct FreeXPath {
  void operator()(xmlXPathContext* c_context) const noexcept { xmlXPathFreeContext(c_context); }
  void operator()(xmlXPathObject* c_object) const noexcept { xmlXPathFreeObject(c_object); }
};

// Predicates within predicates multiply. Within this limit an expression ends in seconds, and one
// that goes over the largest document a few times stays far below it.
constexpr unsigned long kMaxPathSteps = 500'000'000;

void TakeError(void* /*context*/, EngineError* error) { EngineScope::Note(error); }

using XPathObject = std::unique_ptr<xmlXPathObject, FreeXPath>;

// The tree of the node's document, which absolute paths start in; the node itself may be of an
// earlier one (dom_document.h).
XPathObject EvaluateOnce(xmlNode* c_context, const std::string& path) {
  xmlDoc* c_document = DocumentOf(c_context).Own().tree.get();
  const std::unique_ptr<xmlXPathContext, FreeXPath> context(xmlXPathNewContext(c_document));
  if (context == nullptr) throw std::bad_alloc();
  context->node = c_context;
  context->opLimit = kMaxPathSteps;
  context->error = TakeError;
  return XPathObject(xmlXPathEval(XmlChars(path.c_str()), context.get()));
}

Nodes EvaluateXPath(xmlNode* c_context, const std::string& path) {
  const XPathObject result = AskEngine([&] { return EvaluateOnce(c_context, path); });
  if (result == nullptr) throw _com_error(_com_error::kFail, "bad path: " + path);
  if (result->type != XPATH_NODESET)
    throw _com_error(_com_error::kFail, "a path that yields no nodes: " + path);

  Nodes nodes;
  if (result->nodesetval == nullptr) return nodes;
  for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
    xmlNode* c_node = result->nodesetval->nodeTab[i];
    if (c_node->type != XML_NAMESPACE_DECL) nodes.push_back(c_node);
  }
  // They come in order as a rule, and comparing takes time where they are far apart. The engine's
  // own sort ends the process when it lacks memory.
  const auto isBefore = [](xmlNode* c_a, xmlNode* c_b) { return xmlXPathCmpNodes(c_a, c_b) == 1; };
  if (!std::is_sorted(nodes.begin(), nodes.end(), isBefore))
    std::sort(nodes.begin(), nodes.end(), isBefore);
  return nodes;
}

Nodes Find(xmlNode* c_context, std::wstring_view widePath, Wanted wanted) {
  const std::string path = ToUtf8(widePath);
  if (path.find('\0') != path.npos) throw _com_error(_com_error::kFail, "bad path: null character");
  const std::vector<std::string> steps = ParseChildPath(path);
  if (steps.empty()) return EvaluateXPath(c_context, path);
  Nodes found;
  WalkChildren(c_context, steps, 0, wanted, found);
  return found;
}

}  // namespace

Nodes FindAll(xmlNode* c_context, std::wstring_view path) {
  return Find(c_context, path, Wanted::kAll);
}

xmlNode* FindFirst(xmlNode* c_context, std::wstring_view path) {
  const Nodes found = Find(c_context, path, Wanted::kFirst);
  return found.empty() ? nullptr : found.front();
}

bool IsAsXPathAnswers(const Nodes& found, xmlDoc* c_document, const std::string& path) {
  if (path.size() > XML_MAX_NAME_LENGTH) return true;
  int budget = 300;
  auto* c_top = reinterpret_cast<xmlNode*>(c_document);
  for (const xmlNode* c_node = c_top->children; c_node != nullptr;
       c_node = NextInTree(c_node, c_top))
    if (--budget == 0) return true;
  return found == EvaluateXPath(c_top, path);
}

}  // namespace cfgex::internal
