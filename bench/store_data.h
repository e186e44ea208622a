// The data that is measured: configurations of the example's schema, made from a fixed seed in the
// shape of the example's own configuration, so that every subject works on the same content.
//
// A store is made of blocks of 100 instances, a site with its zones, devices, rules and people.
// References stay within their block and form no cycles. An alarm rule reaches exactly two other
// instances: a sensor and a user, who refer to nothing and whom no other rule refers to.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

enum class Kind {
  kText,
  kNumber,
  kFlag,
  kDate,
  kReference,   // `category` and, in `text`, the id; an empty id refers to nothing
  kReferences,  // children of the kind kReference, all of them named "Item"
  kValues,      // children of one simple kind, all of them named "Item"
  kObject,      // named children
  kObjects,     // children of the kind kObject, named alike
};

struct Field {
  std::string name;
  Kind kind = Kind::kText;
  std::string text;
  std::string category;
  std::vector<Field> children;
};

struct Instance {
  std::string category;
  std::string id;
  std::vector<Field> fields;  // in the schema's order, without the id
};

struct StoreData {
  std::vector<Instance> instances;  // grouped by category, in the schema's order
  std::vector<std::size_t> rules;   // where the alarm rules are
};

constexpr std::size_t kBlockSize = 100;

// A store of `count` instances, a multiple of kBlockSize.
StoreData MakeStore(std::size_t count);

// Adds `length` users of whom each is deputy to the one before; the first has the id `firstId`.
void AddChain(StoreData& store, const std::string& firstId, std::size_t length);

// The configuration file of the store, laid out as the library saves it.
std::string ToXml(const StoreData& store);

// The stand-alone document of the alarm rule at `index` and of the two instances that it reaches,
// with `message` in the rule.
std::string RuleDocument(const StoreData& store, std::size_t index, std::string_view message);

// The instance with this id, which must be there.
const Instance& Find(const StoreData& store, std::string_view category, std::string_view id);

// What an instance refers to, in document order, empty references left out.
std::vector<const Field*> References(const Instance& instance);

// `text` with the characters replaced that XML content cannot hold.
std::string Escaped(std::string_view text);

}  // namespace bench
