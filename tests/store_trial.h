// Operations on a store over the sample schema and on its model, side by side. What happens follows
// from choices: random ones in tests/store_model_test.cpp, those of a fuzzer in
// fuzz/model_fuzz.cpp.
#pragma once

#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/store_model.h"
#include "tests/support/sample.h"

namespace test::model {

// Choices that follow from a seed; or from bytes, one for each, and then from what these add up to.
class Dice {
 public:
  explicit Dice(unsigned seed, std::string_view bytes = {});
  size_t Below(size_t end);
  bool OneIn(size_t n) { return Below(n) == 0; }

  std::wstring Category() { return {L"PQR"[Below(3)]}; }
  // One of few ids, so that they meet; most stand in one category only.
  Pair Name();
  const Instance* Any(const Picture& picture);
  // To an instance of these as a rule, else to nothing, in one of many ways.
  Reference AnyReference(const Picture& picture);
  void Connect(Instance& instance, const Picture& picture, size_t atMost);
  std::wstring AnyText();
  std::wstring AnyUri() { return OneIn(2) ? L"urn:one" : L"urn:two"; }
  Dress AnyDress();

 private:
  std::string m_Bytes;
  size_t m_Used = 0;
  std::mt19937 m_Engine;
};

struct Operation {
  enum Kind { kWrite, kInsert, kRemove, kShallow, kDeep, kReopen, kTouch, kKinds } kind;
  // What all choices in it follow from; what they choose from is the store at that moment.
  unsigned seed;
  std::string bytes = {};
};

// What the file holds beside the groups.
struct Frame {
  size_t prolog = 0;      // the length of a comment before the root
  bool comments = false;  // in the root, in each group, and behind the root
  std::wstring uri;       // what the root binds the prefix p to, if to anything
};
Frame AnyFrame(Dice& dice);

struct Sequence {
  Frame frame;
  Picture start;
  std::vector<Operation> operations;
};

// A store of up to 12 instances.
Picture AnyStart(Dice& dice);

// A store and its model, after a sequence of operations or the first difference.
class Trial {
 public:
  explicit Trial(const Sequence& sequence);
  bool Failed() const { return !m_Difference.empty(); }
  std::string Report() const { return m_Steps + m_Difference; }

 private:
  void Say(const std::string& step) { m_Steps += "  " + step + "\n"; }
  void Differ(const std::string& what, const std::string& model, const std::string& library);
  void Expect(const std::string& what, const std::wstring& model, const std::wstring& library);
  void Compare();
  void CompareReading(const std::wstring& id, const std::wstring& category);
  void Do(const Operation& operation);
  void Reopen();
  void Touch(Dice& dice);
  std::wstring PickTarget(Dice& dice, const Instance& source);
  void Change(Dice& dice, Picture& document);
  void TakeNewIds(IdList& expected);
  std::wstring FileText(const Picture& picture, bool isNew = false) const;
  std::wstring ModelXml() const { return Canonical(FileText(m_Model)); }
  std::wstring FileXml() const;

  const Frame m_Frame;
  Sample m_Sample;
  Picture m_Model;
  std::optional<Picture> m_Disk;  // what the file holds; nothing when it was damaged
  Picture m_Backup;               // what the last opening or closing found good
  size_t m_GroupComments = 0;
  std::set<std::wstring> m_Known;  // ids that copies got
  size_t m_Step = 0;
  std::string m_Steps;
  std::string m_Difference;
};

}  // namespace test::model
