#include "tests/support/allocations.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>
#include <pugixml.hpp>

namespace {

constexpr long Never = std::numeric_limits<long>::max();

std::atomic<long> count{0};
std::atomic<long> live{0};
std::atomic<long> first_failing{Never};
std::atomic<long> last_failing{Never};

/// Null when it is to fail, too.
void* Allocate(std::size_t size) {
  const long number = count++;
  if (number >= first_failing && number <= last_failing) return nullptr;
  void* const memory = std::malloc(size);
  if (memory != nullptr) ++live;
  return memory;
}

void Free(void* memory) {
  if (memory != nullptr) --live;
  std::free(memory);
}

const bool xml_is_counted = [] {
  pugi::set_memory_management_functions(Allocate, Free);
  return true;
}();

}  // namespace

long test::AllocationCount() { return count; }
long test::LiveAllocations() { return live; }

void test::ArmAllocations(FailingAllocation failing) {
  last_failing = failing.and_all_behind ? Never : count + failing.number;
  first_failing = count + failing.number;
}
bool test::DisarmAllocations() { return count > first_failing.exchange(Never); }

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
