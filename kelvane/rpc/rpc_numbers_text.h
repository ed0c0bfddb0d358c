/// \file
/// Numbers in the texts of records (internal).
#pragma once

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

#include "kelvane/module/host/text.h"
#include "kelvane/rpc/rpc_data.h"

namespace SatCommonUtils {

/// The one number that stands in the text, with white space around it at most. Throws
/// `std::runtime_error`, calling it `what`, when that is not there.
inline double ReadNumber(const std::string& text, const std::string& what) {
  double values[2];
  if (SplitStringIntoDoubles(text.c_str(), "", values, 2, false, nullptr) != 1) {
    throw std::runtime_error(what + " is no number");
  }
  return values[0];
}

/// Reads one set of coefficients: twenty numbers, divided by characters of `separators` and white space.
/// Throws `std::runtime_error`, calling it `what`, with `out` untouched.
inline void ReadCoefficients(const std::string& text, const char* separators, const std::string& what,
                             double (&out)[TRPCData::CoefficientCount]) {
  // One more than there may be, so that a surplus is seen.
  double values[TRPCData::CoefficientCount + 1];
  const unsigned count =
      SplitStringIntoDoubles(text.c_str(), separators, values, std::size(values), false, nullptr);
  if (count != TRPCData::CoefficientCount) {
    const std::string found = count > TRPCData::CoefficientCount ? "more" : std::to_string(count);
    throw std::runtime_error(what + " does not hold 20 numbers (numbers found: " + found + ")");
  }
  std::copy_n(values, TRPCData::CoefficientCount, out);
}

}  // namespace SatCommonUtils
