#include <array>
#include <memory>
#include <stdexcept>

#include "host_testing.h"
#include "tests/support/allocations.h"

namespace {

struct TBase {
  explicit TBase(int* destroyed) : Destroyed(destroyed) {}
  TBase(const TBase&) = delete;
  TBase& operator=(const TBase&) = delete;
  ~TBase() { ++*Destroyed; }
  int* Destroyed;
};

struct TOther {
  virtual ~TOther() = default;
  int Value = 5;
};

struct TDerived : TOther, TBase {
  TDerived(std::unique_ptr<int> moved, int* destroyed) : TBase(destroyed), Moved(std::move(moved)) {}
  std::unique_ptr<int> Moved;
};

struct TThrowsInDestructor {
  ~TThrowsInDestructor() noexcept(false) { throw std::runtime_error("from a destructor"); }
};

struct TThrowsInConstructor {
  TThrowsInConstructor() { throw std::runtime_error("from a constructor"); }
};

TEST(VarA, ObjectAndCountAreOneAllocation) {
  const long before = test::AllocationCount();
  const auto owner = new_a<std::array<double, 100>>();
  const auto second = owner;
  EXPECT_EQ(test::AllocationCount() - before, 1);
  EXPECT_THROW(new_a<TThrowsInConstructor>(), std::runtime_error);
}

TEST(VarA, OwnersShareTheObjectUntilTheLastIsGone) {
  int destroyed = 0;
  auto derived = new_a<TDerived>(std::make_unique<int>(3), &destroyed);
  EXPECT_EQ(*derived->Moved, 3);
  var_a<TBase*> base = derived;
  var_a<TOther*> other(derived);
  EXPECT_EQ(base.get(), static_cast<TBase*>(derived.get())) << "the base does not stand at the beginning";
  EXPECT_EQ(other->Value, 5);
  EXPECT_EQ(base.use_count(), 3U);
  var_a<TBase*> moved = std::move(derived);
  EXPECT_FALSE(derived);  // NOLINT(bugprone-use-after-move): moving leaves it empty
  EXPECT_EQ(derived.use_count(), 0U);
  EXPECT_EQ(moved.use_count(), 3U);
  moved = *&moved;
  base = nullptr;
  moved.swap(base);
  EXPECT_EQ(base.use_count(), 2U);
  base.reset();
  EXPECT_EQ(destroyed, 0);
  other.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(VarA, CountingIsSafeAcrossThreads) {
  int destroyed = 0;
  auto shared = new_a<TBase>(&destroyed);
  InFourThreads([&shared](int) {
    for (int k = 0; k < 50000; ++k) {
      const var_a<TBase*> copy = shared;
      const var_a<TBase*> another(copy);
    }
  });
  EXPECT_EQ(shared.use_count(), 1U);
  EXPECT_EQ(destroyed, 0);
  shared.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(VarADeathTest, AThrowingDestructorEndsTheProcess) {
  EXPECT_DEATH(test::RuntimeErrorOf([] { new_a<TThrowsInDestructor>(); }), "from a destructor");
}

}  // namespace
