// The tutorial's application. It works on ferries.xsd and ferries.xml in the current directory, and
// damages the latter on purpose: run it in a directory of its own.
#include <exception>
#include <iostream>

#include "tutorial.h"

namespace {

// [open]
CCfgConfigurationEx OpenStore(const wchar_t* file) {
  CCfgConfigurationEx store;
  Check(store.Initialize(file), "neither the configuration nor its backup is valid");
  return store;
}
// [end]

void Run() {
  // [start]
  Check(CCfgEx_Initialization(L"ferries.xsd"), "the schema is not accepted");
  unsigned long major = 0;
  unsigned long minor = 0;
  unsigned long revision = 0;
  CCfgOption::Instance()->GetSchemaVersion(major, minor, revision);
  std::wcout << L"== start\n"
             << L"schema version " << major << L"." << minor << L"." << revision << L"\n";
  // [end]
  {
    CCfgConfigurationEx store = OpenStore(L"ferries.xml");
    CreateHarbours(store);
    CreateShips(store);
    CreateLine(store);
    ReadShip(store);
    ReadLine(store);
    ChangeShip(store);
    CopyLine(store);
    RemoveLine(store);
    ChangeFromThreads(store);
  }
  Recover(L"ferries.xml");
  CCfgEx_Uninitialization();
}

}  // namespace

// [main]
int main() {
  try {
    Run();
    return 0;
  } catch (const OS::CException& error) {  // the library's own: no memory, an index out of range
    std::wcerr << L"ferries: " << error.GetErrorMsg().c_str() << L"\n";
  } catch (const std::exception& error) {  // _com_error too: what() says what failed
    std::wcerr << L"ferries: " << error.what() << L"\n";
  }
  return 1;
}
// [end]
