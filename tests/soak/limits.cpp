// Tries sizes that take long, one per call, and prints what they take.
//
//   cfgex_limits instances N     a configuration of N instances: open, read, change, open again
//   cfgex_limits field BYTES     one field of that length: written, stored, opened and read again
//   cfgex_limits over            a store that would grow beyond what can be read, an object
//   likewise
//
// The files are made where TMPDIR says. Ends with 1 when something is not as it must be.

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/support/sample.h"

namespace {

using namespace test;

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// Says what a step took of the processor since the one before, and how much memory the process had
// at most so far.
void Step(const char* what) {
  static double last = 0;
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  const double now = seconds(usage.ru_utime) + seconds(usage.ru_stime);
  std::printf("%-24s %8.2f s, at most %ld MB so far\n", what, now - last, usage.ru_maxrss / 1024);
  std::fflush(stdout);
  last = now;
}

std::string InstanceBytes(long number) {
  const std::string id = std::to_string(number);
  return "<P><InstanceId>instance-" + id + "</InstanceId><Name>The name of instance " + id +
         "</Name><Count>" + id + "</Count><Size>17</Size><On>true</On>" +
         "<When>2026-01-02T03:04:05Z</When><Ref><Category>P</Category><InstanceId>instance-" +
         std::to_string(number / 2) + "</InstanceId></Ref><Texts><Item>one text</Item>" +
         "<Item>another text</Item></Texts></P>\n";
}

void ChangeOne(CCfgConfigurationEx& store, CCfgOption& option, long number) {
  const std::wstring id = L"instance-" + std::to_wstring(number);
  OS::x_wstring xml;
  Require(store.GetConfiguration(id.c_str(), xml), "read");
  Step("read one");
  CCfgInstance instance(xml, option);
  Require(instance.SetFieldValue(L"Name", L"changed") && instance.GetXml(xml), "change");
  Require(store.SetConfiguration(xml, nullptr, nullptr), "write");
}

void Instances(long count) {
  const Sample sample({});
  CCfgOption option = sample.option;
  const std::wstring path = sample.folder.Path(L"large.xml");
  {
    std::ofstream file(Narrow(path), std::ios::binary);
    file << "<Configuration><Category>\n";
    for (long i = 0; i < count; ++i) file << InstanceBytes(i);
    file << "</Category></Configuration>\n";
    Require(static_cast<bool>(file.flush()), "no room for the file");
  }
  std::printf("%ld instances, %ju bytes\n", count, std::filesystem::file_size(Narrow(path)));
  Step("make the file");
  {
    CCfgConfigurationEx store(option);
    Require(store.Initialize(path.c_str()), "open");
    Step("open");
    ChangeOne(store, option, count - 1);
    Step("first commit");
    ChangeOne(store, option, count - 2);
    Step("second commit");
  }
  Step("close");
  CCfgConfigurationEx store(option);
  Require(store.Initialize(path.c_str()), "open again");
  OS::x_wstring xml;
  Require(store.GetConfiguration((L"instance-" + std::to_wstring(count - 2)).c_str(), xml) &&
              xml.str().find(L"<Name>changed</Name>") != std::wstring::npos,
          "the change is lost");
  Step("open again");
}

void Field(std::size_t bytes) {
  Sample sample({Item(L"P", L"a", L"<Name/>")});
  OS::x_wstring xml;
  {
    CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
    Require(instance.SetFieldValue(L"Name", std::wstring(bytes, L'x').c_str()), "set");
    Require(instance.GetXml(xml), "text");
  }
  Step("set the field");
  Require(sample.store->SetConfiguration(xml, nullptr, nullptr), "write");
  Step("commit");
  sample.Reopen();
  Step("open again");
  Require(sample.Get(L"a") == xml.str(), "another text is read");
  Step("read");
}

// In the file, "&" takes five bytes: memory holds what the file could not.
void Over() {
  constexpr std::size_t kPart = 220'000'000;
  Sample sample({Item(L"P", L"a", L"<Name/>") + Item(L"P", L"b", L"<Name/>")});
  const auto fill = [&sample](const wchar_t* id, std::size_t length) {
    OS::x_wstring xml;
    CCfgInstance instance(sample.Get(id).c_str(), sample.option);
    Require(instance.SetFieldValue(L"Name", std::wstring(length, L'&').c_str()), "set");
    Require(instance.GetXml(xml), "text");
    instance = CCfgInstance(sample.option);
    return sample.store->SetConfiguration(xml, nullptr, nullptr);
  };
  Require(fill(L"a", kPart), "the first");
  const std::uintmax_t size = std::filesystem::file_size(Narrow(sample.configFile));
  Require(size > 5 * kPart, "the first is not in the file");
  Step("a store of 1.1 GB");
  // The change stands in memory, as after any save that fails.
  Require(fill(L"b", kPart), "the second");
  Require(std::filesystem::file_size(Narrow(sample.configFile)) == size, "the file has changed");
  Step("refuse to save 2.2 GB");
  Require(fill(L"b", 1), "small again");
  Require(std::filesystem::file_size(Narrow(sample.configFile)) > size, "not saved");
  sample.Reopen();
  Require(sample.Get(L"b").find(L"<Name>&amp;</Name>") != std::wstring::npos, "another text");
  Step("save and open again");
  CCfgInstance object(sample.Get(L"b").c_str(), sample.option);
  Require(object.SetFieldValue(L"Name", std::wstring(2 * kPart, L'&').c_str()), "set");
  const std::wstring path = sample.folder.Path(L"object.xml");
  Require(!object.SaveToFile(path.c_str()) && !FileExists(path), "an object's file is too large");
  Step("refuse to save an object");
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  const long size = count > 2 ? std::atol(arguments[2]) : 0;
  try {
    if (what == "instances" && size > 2) {
      Instances(size);
    } else if (what == "field" && size > 0) {
      Field(static_cast<std::size_t>(size));
    } else if (what == "over") {
      Over();
    } else {
      std::fprintf(stderr, "usage: cfgex_limits instances N | field BYTES | over\n");
      return 2;
    }
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "cfgex_limits: %s\n", failure.what());
    return 1;
  }
}
