/// \file
/// The host's text helpers. Numbers in text have a decimal point under every locale.
#pragma once

#include <string>

#include "kelvane/module/export.h"
#include "kelvane/module/host/stream.h"
#include "kelvane/module/host/var_a.h"

/// Copy without white space (blank, tab, CR, LF, VT, FF) at both ends.
KELVANE_HOST_API std::string trim(std::string text);

/// Copy with the letters a to z in upper case; other bytes, UTF-8 included, stay.
KELVANE_HOST_API std::string toupper(const std::string& text);

namespace Tessarin {
/// Formats as printf does, with a decimal point whatever the locale says. The result has the length it
/// needs.
[[gnu::format(printf, 1, 2)]] KELVANE_HOST_API std::string ssprintf(const char* format, ...);
}  // namespace Tessarin

namespace SatCommonUtils {

/// The path with its extension replaced by `ext`, which brings its dot (".rpb"); appended when the file
/// name has none. Only a dot inside the file name, and not at its start, begins an extension.
KELVANE_HOST_API std::string ChangeFileExt(std::string path, std::string ext);

/// The path without its extension.
KELVANE_HOST_API std::string CutFileExt(std::string path);

/// The number that `text` is (white space around it is passed over), or `fallback` when it is none.
KELVANE_HOST_API double StringToDoubleDef(const std::string& text, const double& fallback);

/// Reads the numbers of a list such as "(1, 2, 3)". Characters of `separators` and white space divide
/// tokens. The first `count` numbers are stored in `out`; what stands behind them is not looked at. Returns
/// how many were stored. A token that is no number is passed over when `skip_others` is true; when it is
/// false such a text yields 0, with `out` partly written. `progress` may be null and is not needed.
KELVANE_HOST_API unsigned SplitStringIntoDoubles(const char* text, const char* separators, double* out,
                                                 unsigned count, bool skip_others,
                                                 TKaProgressHandler* progress);

/// Converts a PVL text (key = value, groups) read from where `in` stands to its end into the host's
/// configuration form, appended to `out`: groups become sections, values become value items, a quoted
/// text loses its quotes, a list keeps its parentheses and commas, a unit behind a number is dropped.
/// Throws `TKaMessage`, with line and reason, when the text is malformed; nothing is written then.
KELVANE_HOST_API void PVLtoXML(var_a<TKaStream*> in, var_a<TKaStream*> out);

}  // namespace SatCommonUtils
