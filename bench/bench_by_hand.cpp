// The same operations, written for this schema directly on libxml2. The tree and the compiled
// schema stay in memory, instances are found by XPath, incoming texts are validated, and the file
// is replaced durably.
#include <libxml/xpath.h>

#include <algorithm>
#include <map>
#include <memory>

#include "bench/bench.h"
#include "bench/libxml2_util.h"

namespace bench {
namespace {

constexpr const char* kSubject = "by-hand";

const xmlChar* X(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string Content(xmlNode* c_node) {
  xmlChar* text = xmlNodeGetContent(c_node);
  std::string result = text == nullptr ? "" : reinterpret_cast<const char*>(text);
  xmlFree(text);
  return result;
}

std::vector<xmlNode*> Select(xmlDoc* document, const std::string& path) {
  xmlXPathContext* c_context = xmlXPathNewContext(document);
  xmlXPathObject* c_result = xmlXPathEvalExpression(X(path.c_str()), c_context);
  std::vector<xmlNode*> nodes;
  if (c_result != nullptr && c_result->nodesetval != nullptr) {
    xmlNodeSet* c_set = c_result->nodesetval;
    nodes.assign(c_set->nodeTab, c_set->nodeTab + c_set->nodeNr);
  }
  xmlXPathFreeObject(c_result);
  xmlXPathFreeContext(c_context);
  return nodes;
}

xmlNode* FindInstance(xmlDoc* document, const std::string& category, const std::string& id) {
  const auto found =
      Select(document, "/Configuration/Category/" + category + "[InstanceId='" + id + "'][1]");
  return found.empty() ? nullptr : found.front();
}

bool IsNamed(const xmlNode* c_node, const char* name) {
  return c_node->type == XML_ELEMENT_NODE && xmlStrEqual(c_node->name, X(name)) != 0;
}

xmlNode* Child(xmlNode* c_parent, const char* name) {
  xmlNode* c_child = c_parent->children;
  while (c_child != nullptr && !IsNamed(c_child, name)) c_child = c_child->next;
  return c_child;
}

// Adds to `reached` the instances that the element refers to anywhere below, and what these reach.
void CollectReached(xmlDoc* document, xmlNode* c_element, std::vector<xmlNode*>& reached) {
  for (xmlNode* c_child = c_element->children; c_child != nullptr; c_child = c_child->next) {
    if (c_child->type != XML_ELEMENT_NODE) continue;
    xmlNode* c_category = Child(c_child, "Category");
    xmlNode* c_id = Child(c_child, "InstanceId");
    if (c_category == nullptr || c_id == nullptr) {
      CollectReached(document, c_child, reached);
      continue;
    }
    xmlNode* c_target = FindInstance(document, Content(c_category), Content(c_id));
    if (c_target == nullptr || std::find(reached.begin(), reached.end(), c_target) != reached.end())
      continue;
    reached.push_back(c_target);
    CollectReached(document, c_target, reached);
  }
}

class Store {
 public:
  Store(const std::string& subject, std::size_t size)
      : m_Path(Directory(subject, size) / "main.xml"),
        m_Document(ParseText(Xml(size), XML_PARSE_NOBLANKS)) {
    Validate(m_Document.get());
  }

  // The instance, and then those that it reaches.
  std::vector<xmlNode*> Closure(const std::string& category, const std::string& id) {
    xmlNode* c_instance = FindInstance(m_Document.get(), category, id);
    Require(c_instance != nullptr, "find an instance by hand");
    std::vector<xmlNode*> nodes{c_instance};
    CollectReached(m_Document.get(), c_instance, nodes);
    return nodes;
  }

  std::string Read(const std::string& category, const std::string& id) {
    return Export(id, Closure(category, id));
  }

  static std::string Export(const std::string& id, const std::vector<xmlNode*>& nodes) {
    const DocPtr result(xmlNewDoc(X("1.0")));
    xmlNode* c_root = xmlNewDocNode(result.get(), nullptr, X("Configuration"), nullptr);
    xmlDocSetRootElement(result.get(), c_root);
    xmlNewProp(c_root, X("instance_id"), X(id.c_str()));
    xmlNewProp(c_root, X("major_version"), X("1"));
    xmlNewProp(c_root, X("minor_version"), X("4"));
    xmlNewProp(c_root, X("revision"), X("2"));
    for (xmlNode* c_node : nodes) {
      xmlNode* c_group = xmlNewChild(c_root, nullptr, X("Category"), nullptr);
      xmlAddChild(c_group, xmlDocCopyNode(c_node, result.get(), 1));
    }
    return Serialised(result.get(), false);
  }

  // Replaces what the document holds, each instance in its place, or adds it to its category.
  void Commit(const std::string& xml) {
    const DocPtr incoming = ParseIncoming(xml);
    for (xmlNode* c_new : Select(incoming.get(), "/Configuration/Category/*")) {
      const std::string category = reinterpret_cast<const char*>(c_new->name);
      xmlNode* c_copy = xmlDocCopyNode(c_new, m_Document.get(), 1);
      xmlNode* c_old =
          FindInstance(m_Document.get(), category, Content(Child(c_new, "InstanceId")));
      if (c_old != nullptr) {
        xmlReplaceNode(c_old, c_copy);
        xmlFreeNode(c_old);
      } else {
        const auto groups =
            Select(m_Document.get(), "/Configuration/Category[" + category + "][1]");
        Require(!groups.empty(), "find a category by hand");
        xmlAddChild(groups.front(), c_copy);
      }
    }
    Save();
  }

  void Remove(const std::string& xml) {
    const DocPtr incoming = ParseIncoming(xml);
    xmlNode* c_rule = Select(incoming.get(), "/Configuration/Category/AlarmRule").front();
    for (xmlNode* c_node : Closure("AlarmRule", Content(Child(c_rule, "InstanceId")))) {
      xmlUnlinkNode(c_node);
      xmlFreeNode(c_node);
    }
    Save();
  }

 private:
  static DocPtr ParseIncoming(const std::string& xml) {
    DocPtr incoming = ParseText(xml, XML_PARSE_NOBLANKS);
    Validate(incoming.get());
    return incoming;
  }
  void Save() {
    Validate(m_Document.get());
    WriteDurably(m_Path, Serialised(m_Document.get(), true));
  }

  std::filesystem::path m_Path;
  DocPtr m_Document;
};

Store& SharedStore(std::size_t size) {
  static std::map<std::size_t, std::unique_ptr<Store>> stores;
  std::unique_ptr<Store>& store = stores[size];
  if (!store) store = std::make_unique<Store>(kSubject, size);
  return *store;
}

// A sensor in a document of its own, as the application would hold it.
void RegisterFields() {
  const auto sensor = [] {
    const std::vector<Instance>& instances = Data(100).instances;
    const auto found = std::find_if(instances.begin(), instances.end(),
                                    [](const Instance& each) { return each.category == "Sensor"; });
    return ParseText(SharedStore(100).Read("Sensor", found->id), XML_PARSE_NOBLANKS);
  };
  Register("get-int", kSubject, 1, 0, [sensor](benchmark::State& state) {
    const DocPtr document = sensor();
    xmlNode* c_sensor = Select(document.get(), "/Configuration/Category/Sensor").front();
    for (auto _ : state) benchmark::DoNotOptimize(std::stoi(Content(Child(c_sensor, "Offset"))));
  });
  Register("set-int", kSubject, 1, 0, [sensor](benchmark::State& state) {
    const DocPtr document = sensor();
    xmlNode* c_sensor = Select(document.get(), "/Configuration/Category/Sensor").front();
    int value = 0;
    for (auto _ : state) {
      value = 12 - value;
      xmlNodeSetContent(Child(c_sensor, "Offset"), X(std::to_string(value).c_str()));
    }
  });
}

}  // namespace

void RegisterByHand() {
  RegisterFields();
  for (const std::size_t size : g_Settings.stores) {
    const std::size_t iterations = Iterations(size);
    Register("read", kSubject, size, size <= 1000 ? 0 : iterations,
             [size](benchmark::State& state) {
               Store& store = SharedStore(size);
               const std::vector<std::size_t> rules = SpreadRules(Data(size));
               std::size_t next = 0;
               for (auto _ : state) {
                 const Instance& rule = Data(size).instances[rules[next++ % rules.size()]];
                 Require(store.Read(rule.category, rule.id).size() > 1000, "read a rule by hand");
               }
             });
    // What is left of it when nothing has to be found; in full, with the text parsed and validated
    // once more, as the library does before it hands it out.
    for (const bool full : {false, true}) {
      Register("read", full ? "in-full" : "floor", size, 0, [size, full](benchmark::State& state) {
        std::vector<std::pair<std::string, std::vector<xmlNode*>>> rules;
        for (const std::size_t index : SpreadRules(Data(size))) {
          const Instance& rule = Data(size).instances[index];
          rules.emplace_back(rule.id, SharedStore(size).Closure(rule.category, rule.id));
        }
        std::size_t next = 0;
        for (auto _ : state) {
          const auto& [id, nodes] = rules[next++ % rules.size()];
          const std::string xml = Store::Export(id, nodes);
          if (full) Validate(ParseText(xml, XML_PARSE_NOBLANKS).get());
        }
      });
    }
    Register("commit", kSubject, size, iterations, [size](benchmark::State& state) {
      Store& store = SharedStore(size);
      const std::vector<std::string> texts = ChangedRules(size);
      std::size_t next = 0;
      for (auto _ : state) store.Commit(texts[next++ % texts.size()]);
    });
    for (const bool inserting : {true, false}) {
      Register(inserting ? "insert" : "remove", kSubject, size, iterations,
               [size, inserting](benchmark::State& state) {
                 Store& store = SharedStore(size);
                 const std::vector<std::string> texts = ChangedRules(size);
                 std::size_t next = 0;
                 for (auto _ : state) {
                   const std::string& xml = texts[next++ % texts.size()];
                   if (inserting) state.PauseTiming();
                   store.Remove(xml);
                   inserting ? state.ResumeTiming() : state.PauseTiming();
                   store.Commit(xml);
                   if (!inserting) state.ResumeTiming();
                 }
               });
    }
  }
}

}  // namespace bench
