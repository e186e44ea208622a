// The data binding that xsdcxx generates from building.xsd, over Xerces-C++: the store as a tree of
// typed objects, with an index of the alarm rules by id. A commit parses and validates the text of
// a rule and of the two instances it reaches, against a schema that is kept compiled, puts them
// into the tree, makes the text of the whole and writes it durably. A tree in memory cannot be
// validated, only a text while it is parsed: the whole is not checked, and neither are references.

#include <map>
#include <memory>
#include <sstream>
#include <unordered_map>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "bench/bench.h"
#include "building.hxx"

namespace bench {
namespace {

namespace xml = xercesc;
constexpr const char* kSubject = "xsdcxx";

// Parses and validates against the schema, which is compiled once.
class Parser : private xml::DOMErrorHandler {
 public:
  Parser() {
    xml::XMLPlatformUtils::Initialize();
    m_Pool = std::make_unique<xml::XMLGrammarPoolImpl>(xml::XMLPlatformUtils::fgMemoryManager);
    const XMLCh feature[] = {xml::chLatin_L, xml::chLatin_S, xml::chNull};
    m_Parser = xml::DOMImplementationRegistry::getDOMImplementation(feature)->createLSParser(
        xml::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr, xml::XMLPlatformUtils::fgMemoryManager,
        m_Pool.get());
    xml::DOMConfiguration& options = *m_Parser->getDomConfig();
    for (const XMLCh* on :
         {xml::XMLUni::fgDOMNamespaces, xml::XMLUni::fgDOMValidate, xml::XMLUni::fgXercesSchema,
          xml::XMLUni::fgDOMDatatypeNormalization, xml::XMLUni::fgXercesUserAdoptsDOMDocument})
      options.setParameter(on, true);
    for (const XMLCh* off :
         {xml::XMLUni::fgDOMComments, xml::XMLUni::fgDOMEntities,
          xml::XMLUni::fgDOMElementContentWhitespace, xml::XMLUni::fgXercesSchemaFullChecking})
      options.setParameter(off, false);
    options.setParameter(xml::XMLUni::fgDOMErrorHandler, static_cast<xml::DOMErrorHandler*>(this));
    Require(
        m_Parser->loadGrammar(Schema().c_str(), xml::Grammar::SchemaGrammarType, true) != nullptr &&
            !m_Failed,
        "compile the schema with Xerces-C++");
    m_Pool->lockPool();
    options.setParameter(xml::XMLUni::fgXercesLoadSchema, false);
    options.setParameter(xml::XMLUni::fgXercesUseCachedGrammarInParse, true);
  }

  std::unique_ptr<Configuration> Parse(const std::string& text) {
    const xml::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                        "text", false);
    const xml::Wrapper4InputSource input(const_cast<xml::MemBufInputSource*>(&source), false);
    xml_schema::dom::unique_ptr<xml::DOMDocument> document(
        m_Parser->parse(const_cast<xml::Wrapper4InputSource*>(&input)));
    Require(document && !m_Failed, "parse with Xerces-C++");
    return Configuration_(*document, xml_schema::flags::dont_initialize);
  }

 private:
  bool handleError(const xml::DOMError& error) override {
    m_Failed = m_Failed || error.getSeverity() != xml::DOMError::DOM_SEVERITY_WARNING;
    return true;
  }

  std::unique_ptr<xml::XMLGrammarPool> m_Pool;
  xml::DOMLSParser* m_Parser = nullptr;
  bool m_Failed = false;
};

Parser& TheParser() {
  static auto* parser = new Parser;  // lives as long as the process, as Xerces-C++ does
  return *parser;
}

template <class T>
using Index = std::unordered_map<std::string, T*>;

std::string Serialised(const Configuration& tree) {
  std::ostringstream text;
  Configuration_(text, tree, xml_schema::namespace_infomap(), "UTF-8",
                 xml_schema::flags::dont_initialize);
  return std::move(text).str();
}

class Store {
 public:
  explicit Store(std::size_t size)
      : m_Path(Directory(kSubject, size) / "main.xml"), m_Tree(TheParser().Parse(Xml(size))) {
    for (Category& group : m_Tree->Category()) {
      for (AlarmRuleType& rule : group.AlarmRule()) m_Rules[rule.InstanceId()] = &rule;
      for (SensorType& sensor : group.Sensor()) m_Sensors[sensor.InstanceId()] = &sensor;
      for (UserType& user : group.User()) m_Users[user.InstanceId()] = &user;
    }
  }

  void Commit(const std::string& text) {
    const std::unique_ptr<Configuration> incoming = TheParser().Parse(text);
    for (const Category& group : incoming->Category()) {
      for (const AlarmRuleType& rule : group.AlarmRule()) *m_Rules.at(rule.InstanceId()) = rule;
      for (const SensorType& sensor : group.Sensor()) *m_Sensors.at(sensor.InstanceId()) = sensor;
      for (const UserType& user : group.User()) *m_Users.at(user.InstanceId()) = user;
    }
    WriteDurably(m_Path, Serialised(*m_Tree));
  }

  std::string Read(const std::string& id) {
    const AlarmRuleType& rule = *m_Rules.at(id);
    Configuration result;
    Category group;
    group.AlarmRule().push_back(rule);
    group.Sensor().push_back(*m_Sensors.at(rule.Trigger().Sensor().InstanceId()));
    group.User().push_back(*m_Users.at(rule.Escalation().Step().front().Recipient().InstanceId()));
    result.Category().push_back(group);
    return Serialised(result);
  }

 private:
  std::filesystem::path m_Path;
  std::unique_ptr<Configuration> m_Tree;
  Index<AlarmRuleType> m_Rules;
  Index<SensorType> m_Sensors;
  Index<UserType> m_Users;
};

Store& SharedStore(std::size_t size) {
  static std::map<std::size_t, std::unique_ptr<Store>> stores;
  std::unique_ptr<Store>& store = stores[size];
  if (!store) store = std::make_unique<Store>(size);
  return *store;
}

}  // namespace

void RegisterXsdcxx() {
  for (const std::size_t size : g_Settings.stores) {
    const std::size_t iterations = Iterations(size);
    Register("open", kSubject, size, iterations, [size](benchmark::State& state) {
      TheParser();
      for (auto _ : state) {
        std::unique_ptr<Configuration> tree = TheParser().Parse(Xml(size));
        state.PauseTiming();
        tree.reset();
        state.ResumeTiming();
      }
    });
    Register("read", kSubject, size, 0, [size](benchmark::State& state) {
      Store& store = SharedStore(size);
      const std::vector<std::size_t> rules = SpreadRules(Data(size));
      std::size_t next = 0;
      for (auto _ : state) {
        const Instance& rule = Data(size).instances[rules[next++ % rules.size()]];
        Require(store.Read(rule.id).size() > 1000, "read a rule with xsdcxx");
      }
    });
    Register("commit", kSubject, size, iterations, [size](benchmark::State& state) {
      Store& store = SharedStore(size);
      const std::vector<std::string> texts = ChangedRules(size);
      std::size_t next = 0;
      for (auto _ : state) store.Commit(texts[next++ % texts.size()]);
    });
    Register("memory", kSubject, size, 1, [size](benchmark::State& state) {
      TheParser();
      for (auto _ : state) {
        const double before = HeapInUse();
        const std::unique_ptr<Configuration> tree = TheParser().Parse(Xml(size));
        state.counters["bytes"] = (HeapInUse() - before) / static_cast<double>(size);
      }
    });
  }
}

}  // namespace bench
