/// \file
/// Counts what a test program allocates, in the library too, and lets it fail: a program's own operator new
/// takes the place of everybody's. The parser of XML allocates its own way, which is counted and fails alike.
#pragma once

#include <gtest/gtest.h>

#include <exception>

namespace test {

/// How often memory has been allocated.
long AllocationCount();

/// How many of these allocations have not been freed.
long LiveAllocations();

/// Which allocation fails, counted from 0; and whether all behind it fail too, as when memory is used up.
struct FailingAllocation {
  long number;
  bool and_all_behind;
};

/// What came of work among whose allocations one failed.
struct Outcome {
  bool failed = false;  ///< it has come to that
  bool threw = false;   ///< an exception came out
};

/// From here to `DisarmAllocations` allocations fail like that.
void ArmAllocations(FailingAllocation failing);
/// Whether one has failed.
bool DisarmAllocations();

/// Does the work with that allocation failing.
template <class Work>
Outcome Without(FailingAllocation failing, Work work) {
  Outcome outcome;
  ArmAllocations(failing);
  try {
    work();
  } catch (const std::exception&) {
    outcome.threw = true;
  }
  outcome.failed = DisarmAllocations();
  return outcome;
}

/// Calls `attempt`, which makes of a `FailingAllocation` an `Outcome`, for one allocation after the other,
/// alone and with all behind it, until none fails: for each of the first `dense`, then for ever fewer. What
/// an attempt has allocated it must have freed.
template <class Attempt>
void ForEachFailingAllocation(Attempt attempt, long dense = 300) {
  for (const bool all : {false, true}) {
    bool failed = true;
    for (long number = 0; failed; number += number < dense ? 1 : 1 + number / 3) {
      const long live = LiveAllocations();
      const Outcome outcome = attempt(FailingAllocation{number, all});
      failed = outcome.failed;
      const long left = LiveAllocations() - live;
      if (testing::Test::HasFailure() || left != 0 || (outcome.threw && !failed)) {
        FAIL() << "at allocation " << number << (all ? " and all behind, " : ", ") << left << " left";
      }
    }
  }
}

}  // namespace test
