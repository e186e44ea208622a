// One store, several threads.
#include <iostream>
#include <thread>
#include <vector>

#include "tutorial.h"

// [threads]
void ChangeFromThreads(const CCfgConfigurationEx& store) {
  const auto trim = [](CCfgConfigurationEx own, const wchar_t* id, bool& done) {
    for (int cm = 1; cm <= 5; ++cm) {
      OS::x_wstring xml;
      if (!own.GetConfiguration(id, xml)) return;
      CCfgInstance ship(xml);  // this thread's own
      if (!ship.SetFieldValue(L"TrimCm", cm) || !ship.GetXml(xml)) return;
      if (!own.SetConfiguration(xml, nullptr, nullptr)) return;
    }
    done = true;
  };
  bool auk = false;
  bool gull = false;
  {
    const std::jthread first(trim, store, L"auk", std::ref(auk));
    const std::jthread second(trim, store, L"gull", std::ref(gull));
  }
  Check(auk && gull, "a thread could not change its ship");

  CCfgConfigurationEx own = store;
  std::wcout << L"== threads\n";
  for (const wchar_t* id : {L"auk", L"gull"}) {
    int cm = 0;
    Check(Open(own, id).GetFieldValue(L"TrimCm", cm), "TrimCm");
    std::wcout << id << L": " << cm << L" cm\n";
  }
}
// [end]
