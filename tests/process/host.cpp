// Loads a plugin that uses the library and drops it, again and again, while threads that were in
// the library live on. Nothing may be left to grow, and no thread may end in code that is gone.

#include <dlfcn.h>
#include <malloc.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace {

std::mutex g_Mutex;
std::condition_variable g_Ended;
bool g_End = false;

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "host: %s\n", what);
  std::_Exit(1);
}

void Use(const char* plugin) {
  void* library = dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) Fail(dlerror());
  const auto use = reinterpret_cast<const char* (*)()>(dlsym(library, "UseLibrary"));
  if (use == nullptr) Fail("no such function");
  if (const char* failure = use()) Fail(failure);
  if (dlclose(library) != 0) Fail(dlerror());
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) Fail("usage: host PLUGIN");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([plugin = arguments[1]] {
      Use(plugin);
      std::unique_lock lock(g_Mutex);
      g_Ended.wait(lock, [] { return g_End; });
    });
  constexpr int kWarmUp = 60;  // the library keeps what it knows of the last few schemas
  constexpr int kTimes = 120;
  [[maybe_unused]] std::size_t before = 0;  // not looked at under sanitizers
  for (int i = 0; i < kTimes; ++i) {
    if (i == kWarmUp) before = mallinfo2().uordblks;
    Use(arguments[1]);
  }
#ifndef CFGEX_SANITIZED
  const std::size_t after = mallinfo2().uordblks;
  if (after > before + 20'000) Fail("memory is not given back");
#endif
  {
    const std::lock_guard lock(g_Mutex);
    g_End = true;
  }
  g_Ended.notify_all();
  for (std::thread& thread : threads) thread.join();
  return 0;
}
