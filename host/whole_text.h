/// \file
/// Whole texts out of streams, and places in them (internal).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class TKaProgressHandler;
class TKaStream;

/// White space under every locale.
constexpr std::string_view KaWhiteSpace = " \t\r\n\v\f";

/// The text without white space at both ends.
std::string_view KaTrimmed(std::string_view text);

/// What is larger, such as a device without an end, is refused.
constexpr std::size_t KaLargestText = std::size_t{1} << 30;

/// The bytes from where the stream stands to its end, without a leading byte-order mark. Throws
/// `TKaMessage` when the stream fails or holds more than `KaLargestText`.
std::string KaReadText(TKaStream& stream);

/// Offset of the first control byte other than `allowed`, or npos: a text that has one is binary.
std::size_t KaFindControlByte(std::string_view text, std::string_view allowed);

/// Number of the line, from 1, that holds the byte at `offset`. Lines end in LF, CR LF, CR CR LF or CR.
std::size_t KaLineOf(std::string_view text, std::size_t offset);

/// Tells a handler, which may be null, how far the work has come; throws `TKaMessage` when it cancels.
void KaReportProgress(TKaProgressHandler* progress, double done);
