// libyang: the store as a data tree in memory, with the types, limits and references of
// building.yang. A commit takes the text of one alarm rule, merges it, validates everything,
// references included, and writes the file durably. libyang has no validation of a part that would
// promise the same; `commit-unvalidated` shows the rest without it.
#include <libyang/libyang.h>

#include <cstdlib>
#include <map>
#include <memory>

#include "bench/bench.h"

namespace bench {
namespace {

constexpr const char* kSubject = "libyang";

ly_ctx* NewContext() {
  ly_log_options(0);
  ly_ctx* c_made = nullptr;
  Require(ly_ctx_new(CFGEX_BENCH_SOURCE, LY_CTX_NO_YANGLIBRARY, &c_made) == LY_SUCCESS &&
              lys_parse_path(c_made, CFGEX_BENCH_SOURCE "/building.yang", LYS_IN_YANG, nullptr) ==
                  LY_SUCCESS,
          "load the model of libyang");
  return c_made;
}

ly_ctx* Context() {
  static ly_ctx* c_context = NewContext();
  return c_context;
}

void Append(std::string& xml, const std::string& name, const std::string& content) {
  xml.append("<").append(name).append(">").append(content).append("</").append(name).append(">");
}

void WriteField(std::string& xml, const Field& field) {
  std::string content;
  std::size_t position = 0;
  switch (field.kind) {
    case Kind::kReference:
      if (!field.text.empty()) Append(xml, field.name, field.text);
      return;
    case Kind::kReferences:
      for (const Field& item : field.children) Append(xml, field.name, item.text);
      return;
    case Kind::kValues:
      for (const Field& item : field.children) {
        content.clear();
        Append(content, "Position", std::to_string(position++));
        Append(content, "Value", Escaped(item.text));
        Append(xml, field.name, content);
      }
      return;
    case Kind::kObjects:
      for (const Field& object : field.children) {
        std::string step;
        Append(step, "Position", std::to_string(position++));
        for (const Field& child : object.children) WriteField(step, child);
        Append(content, object.name, step);
      }
      break;
    case Kind::kObject:
      for (const Field& child : field.children) WriteField(content, child);
      break;
    default:
      content = Escaped(field.text);
  }
  Append(xml, field.name, content);
}

std::string Document(const std::vector<const Instance*>& instances) {
  std::string xml = "<Configuration xmlns=\"urn:example:building\">";
  for (const Instance* instance : instances) {
    std::string content;
    Append(content, "InstanceId", instance->id);
    for (const Field& field : instance->fields) WriteField(content, field);
    Append(xml, instance->category, content);
  }
  return xml + "</Configuration>";
}

std::string WholeDocument(std::size_t size) {
  std::vector<const Instance*> all;
  for (const Instance& instance : Data(size).instances) all.push_back(&instance);
  return Document(all);
}

lyd_node* Parse(const std::string& xml, std::uint32_t options, ly_ctx* c_context = Context()) {
  lyd_node* c_tree = nullptr;
  Require(lyd_parse_data_mem(c_context, xml.c_str(), LYD_XML, options | LYD_PARSE_STRICT,
                             LYD_VALIDATE_PRESENT, &c_tree) == LY_SUCCESS,
          "parse with libyang");
  return c_tree;
}

class Store {
 public:
  explicit Store(std::size_t size) : m_Path(Directory(kSubject, size) / "main.xml") {
    m_Tree = Parse(WholeDocument(size), 0);
  }

  void Commit(const std::string& xml, bool validate) {
    lyd_node* c_incoming = Parse(xml, LYD_PARSE_ONLY);
    Require(lyd_merge_tree(&m_Tree, c_incoming, LYD_MERGE_DESTRUCT) == LY_SUCCESS,
            "merge with libyang");
    if (validate) {
      Require(lyd_validate_all(&m_Tree, nullptr, LYD_VALIDATE_PRESENT, nullptr) == LY_SUCCESS,
              "validate with libyang");
    }
    char* bytes = nullptr;
    Require(lyd_print_mem(&bytes, m_Tree, LYD_XML, LYD_PRINT_WITHSIBLINGS) == LY_SUCCESS,
            "print with libyang");
    WriteDurably(m_Path, bytes);
    std::free(bytes);
  }

  // The rule and the two it refers to, whose places in it are known.
  std::string Read(const std::string& id) {
    lyd_node* c_rule = Find("AlarmRule", id);
    std::string xml = Printed(c_rule);
    xml += Printed(Find("Sensor", Leaf(c_rule, "Trigger/Sensor")));
    return xml + Printed(Find("User", Leaf(c_rule, "Escalation/Step[1]/Recipient")));
  }

 private:
  lyd_node* Find(const std::string& category, const std::string& id) {
    lyd_node* c_found = nullptr;
    const std::string path = "/building:Configuration/" + category + "[InstanceId='" + id + "']";
    Require(lyd_find_path(m_Tree, path.c_str(), 0, &c_found) == LY_SUCCESS, "find with libyang");
    return c_found;
  }
  static std::string Leaf(lyd_node* c_node, const char* path) {
    ly_set* c_found = nullptr;
    Require(lyd_find_xpath(c_node, path, &c_found) == LY_SUCCESS && c_found->count == 1,
            "find a leaf with libyang");
    std::string value = lyd_get_value(c_found->dnodes[0]);
    ly_set_free(c_found, nullptr);
    return value;
  }
  static std::string Printed(const lyd_node* c_node) {
    char* bytes = nullptr;
    Require(lyd_print_mem(&bytes, c_node, LYD_XML, LYD_PRINT_SHRINK) == LY_SUCCESS,
            "print with libyang");
    std::string text = bytes;
    std::free(bytes);
    return text;
  }

  std::filesystem::path m_Path;
  lyd_node* m_Tree = nullptr;
};

Store& SharedStore(std::size_t size) {
  static std::map<std::size_t, std::unique_ptr<Store>> stores;
  std::unique_ptr<Store>& store = stores[size];
  if (!store) store = std::make_unique<Store>(size);
  return *store;
}

void Committing(benchmark::State& state, std::size_t size, bool validate) {
  Store& store = SharedStore(size);
  std::vector<std::string> texts;
  for (const char* message : kMessages) {
    for (const std::size_t index : SpreadRules(Data(size))) {
      Instance rule = Data(size).instances[index];
      for (Field& field : rule.fields) {
        if (field.name == "Message") field.text = message;
      }
      texts.push_back(Document({&rule}));
    }
  }
  std::size_t next = 0;
  for (auto _ : state) store.Commit(texts[next++ % texts.size()], validate);
}

}  // namespace

void RegisterLibyang() {
  for (const std::size_t size : g_Settings.stores) {
    const std::size_t iterations = Iterations(size);
    Register("open", kSubject, size, iterations, [size](benchmark::State& state) {
      Context();
      const std::string xml = WholeDocument(size);
      for (auto _ : state) {
        lyd_node* c_tree = Parse(xml, 0);
        state.PauseTiming();
        lyd_free_all(c_tree);
        state.ResumeTiming();
      }
    });
    Register("read", kSubject, size, 0, [size](benchmark::State& state) {
      Store& store = SharedStore(size);
      const std::vector<std::size_t> rules = SpreadRules(Data(size));
      std::size_t next = 0;
      for (auto _ : state) {
        const Instance& rule = Data(size).instances[rules[next++ % rules.size()]];
        Require(store.Read(rule.id).size() > 1000, "read a rule with libyang");
      }
    });
    Register("commit", kSubject, size, iterations,
             [size](benchmark::State& state) { Committing(state, size, true); });
    Register("commit-unvalidated", kSubject, size, iterations,
             [size](benchmark::State& state) { Committing(state, size, false); });
    Register("memory", kSubject, size, 1, [size](benchmark::State& state) {
      const std::string xml = WholeDocument(size);
      // Texts are kept once per context, so another store in it would hide some.
      ly_ctx* c_context = NewContext();
      for (auto _ : state) {
        const double before = HeapInUse();
        lyd_node* c_tree = Parse(xml, 0, c_context);
        state.counters["bytes"] = (HeapInUse() - before) / static_cast<double>(size);
        lyd_free_all(c_tree);
      }
      ly_ctx_destroy(c_context);
    });
  }
}

}  // namespace bench
