// One thread of the soak: it does random operations on a store and holds every answer against what
// it expects.
#pragma once

#include <map>
#include <random>
#include <set>
#include <string>

#include "cfgex/cfgex.h"

namespace soak {

// How many instances every worker has: of P, which refer to one of Q, or to none.
constexpr int kOwnInstances = 6;
// Instances that all workers of a store write.
constexpr int kSharedInstances = 4;

// An instance with all fields that the workers write. The three that tell a value always agree.
std::wstring InstanceText(const std::wstring& category, const std::wstring& id, int value,
                          const std::wstring& referredTo = L"");
std::wstring SharedId(int number);

// Only the worker writes and removes its own instances, so that it knows what the store holds of
// them. What it does not expect, it raises as std::runtime_error.
class Worker {
 public:
  Worker(int number, CCfgOption option);

  // The operations, each on a random instance.
  void Run(CCfgConfigurationEx store, long operations);
  // Takes everything of this worker out of the store.
  void Clear(CCfgConfigurationEx store);
  // Whether the store holds of this worker's instances exactly what it expects.
  void CheckAll(CCfgConfigurationEx store);

 private:
  struct Expected {
    int value = 0;
    std::wstring referredTo;  // an instance of Q; it may be gone
  };

  void DoOne();
  void Write();
  void Read();
  void Remove();
  void Copy(bool deep);
  void Create();
  void EditObjects();
  void WriteShared();
  void OfferInvalid();

  int Pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_Random); }
  std::wstring Id(wchar_t kind, int number) const;
  std::wstring PickPresent();
  std::wstring Get(const std::wstring& id);
  void Check(const std::wstring& id, const Expected& expected);
  void RemoveOne(const std::wstring& id);
  void ForgetTarget(const Expected& old);

  int m_Number;
  CCfgOption m_Option;
  CCfgConfigurationEx m_Store;
  std::mt19937 m_Random;
  int m_NextValue = 0;
  std::map<std::wstring, Expected> m_Present;  // own instances of P
  std::set<std::wstring> m_Targets;            // own instances of Q
  std::set<std::wstring> m_Created;            // by CreateInstance
};

}  // namespace soak
