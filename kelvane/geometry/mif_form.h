/// \file
/// What reading and writing the MapInfo interchange form share (internal; header only).
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "kelvane/module/host/text.h"

namespace SatCommonUtils {

inline constexpr int GreatestMIFVersion = 1000000;
/// Passed over at the beginning of a text.
inline constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";

/// The suffixes that the MID file of a MIF file may have: first that in the letters of its own.
inline std::array<const char*, 2> MidSuffixes(const std::string& mif) {
  const bool capital = mif.substr(CutFileExt(mif).size()) == ".MIF";
  return capital ? std::array<const char*, 2>{".MID", ".mid"} : std::array<const char*, 2>{".mid", ".MID"};
}

}  // namespace SatCommonUtils
