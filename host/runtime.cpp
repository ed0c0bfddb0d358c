#include "kelvane/module/host/runtime.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "host/runtime.h"

namespace {

std::atomic<int> g_threads_count{0};
std::atomic<int> g_data_container_users{0};

struct TDbgOutput {
  std::mutex Mutex;
  std::function<void(const std::string&)> Sink;
};

TDbgOutput& DbgOutput() {
  static TDbgOutput output;
  return output;
}

/// The number of threads that the environment asks for, or 0.
int ThreadsFromEnvironment() {
  const char* const variable = std::getenv("KELVANE_THREADS");
  if (variable == nullptr) return 0;
  const std::string_view text(variable);
  int count = 0;
  const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), count);
  const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
  return whole ? std::clamp(count, 0, KaMostThreads) : 0;
}

/// Processors that this process may run on, which can be fewer than the machine has.
int ProcessorsCount() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  const bool known = sched_getaffinity(0, sizeof processors, &processors) == 0;
  const int count = known ? CPU_COUNT(&processors) : static_cast<int>(std::thread::hardware_concurrency());
  return std::max(count, 1);
}

}  // namespace

int KaGetThreadsCount() {
  const int set = g_threads_count;
  if (set > 0) return set;
  const int asked = ThreadsFromEnvironment();
  return asked > 0 ? asked : ProcessorsCount();
}

void KaSetThreadsCount(int count) { g_threads_count = std::min(count, KaMostThreads); }

void KaPrintDbgMsg(const std::string& text) {
  TDbgOutput& output = DbgOutput();
  const std::lock_guard<std::mutex> lock(output.Mutex);
  if (output.Sink) {
    output.Sink(text);
  } else if (std::getenv("KELVANE_DEBUG") != nullptr) {
    const bool has_line_end = !text.empty() && (text.front() == '\n' || text.back() == '\n');
    std::fprintf(stderr, "%s%s", text.c_str(), has_line_end ? "" : "\n");
  }
}

void KaSetDbgMsgSink(std::function<void(const std::string&)> sink) {
  TDbgOutput& output = DbgOutput();
  const std::lock_guard<std::mutex> lock(output.Mutex);
  // Swapped, so that the old sink's captures are destroyed behind the lock.
  output.Sink.swap(sink);
}

void Init_KaDataContainer() { ++g_data_container_users; }

void Deinit_KaDataContainer() {
  int users = g_data_container_users;
  while (users > 0 && !g_data_container_users.compare_exchange_weak(users, users - 1)) {
  }
}

int KaDataContainerUsers() { return g_data_container_users; }

const char* KaHostName() { return "reference host " KELVANE_VERSION; }
