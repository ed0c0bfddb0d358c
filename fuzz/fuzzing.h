/// \file
/// What the fuzzers share: input taken apart, texts through streams, and how a broken promise is told.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/var_a.h"

/// What libFuzzer calls for each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the process, as a finding, when a promise does not hold.
inline void Require(bool holds, std::string_view promise) {
  if (holds) return;
  std::fprintf(stderr, "BROKEN PROMISE: %.*s\n", static_cast<int>(promise.size()), promise.data());
  std::abort();
}

/// The same, and shows the two texts that should be one.
inline void RequireSameText(std::string_view a, std::string_view b, std::string_view promise) {
  if (a == b) return;
  std::fprintf(stderr, "one:\n%.*s\nother:\n%.*s\n", static_cast<int>(a.size()), a.data(),
               static_cast<int>(b.size()), b.data());
  Require(false, promise);
}

/// A failure says why, in one line.
inline void RequireReason(const std::string& problem) {
  Require(!problem.empty(), "a failure says what was wrong");
  Require(problem.find_first_of("\r\n") == std::string::npos, "the reason is one line");
}

/// Bit for bit, but that a NaN is a NaN.
inline bool SameNumber(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

inline bool SameNumbers(const double* a, const double* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (!SameNumber(a[i], b[i])) return false;
  }
  return true;
}

inline var_a<TKaStringStream*> StreamOf(std::string text) { return new_a<TKaStringStream>(std::move(text)); }

/// The input, taken piece by piece; zeros behind its end.
class TInput {
 public:
  TInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool AtEnd() const { return size_ == 0; }
  /// What is left of it.
  std::string_view Rest() const { return {reinterpret_cast<const char*>(data_), size_}; }

  std::uint8_t Byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  /// From 0 to `count` - 1; one byte.
  std::size_t Choice(std::size_t count) { return Byte() % count; }
  bool Bool() { return (Byte() & 1U) != 0; }

  /// In turns of its first byte: a value at which arithmetic bends; one between -2 and 2, of two bytes; the
  /// same with an exponent; any at all, of eight.
  double Number() {
    constexpr double Special[] = {0.0,
                                  -0.0,
                                  1.0,
                                  -1.0,
                                  std::numeric_limits<double>::infinity(),
                                  -std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::max(),
                                  -std::numeric_limits<double>::max(),
                                  std::numeric_limits<double>::min(),
                                  std::numeric_limits<double>::denorm_min(),
                                  std::numeric_limits<double>::epsilon(),
                                  1e-300,
                                  1e155,
                                  180.0,
                                  360.0};
    const unsigned kind = Byte();
    if (kind < 32) return Special[kind % std::size(Special)];
    if (kind < 160) return Small();
    if (kind < 240) {
      const double small = Small();
      return small * std::pow(10.0, static_cast<std::int8_t>(Byte()) % 40);
    }
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8U | Byte();
    double any = 0.0;
    std::memcpy(&any, &bits, sizeof any);
    return any;
  }

  /// Between -2 and 2, of two bytes.
  double Small() {
    const unsigned high = Byte();
    return (static_cast<double>(high << 8U | Byte()) - 32768.0) / 16384.0;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace fuzz
