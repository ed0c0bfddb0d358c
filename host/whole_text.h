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

/// The bytes from where the stream stands to its end, without a leading byte-order mark. Throws
/// `TKaMessage` when the stream fails.
std::string KaReadText(TKaStream& stream);

/// Offset of the first control byte other than `allowed`, or npos: a text that has one is binary.
std::size_t KaFindControlByte(std::string_view text, std::string_view allowed);

/// Number of the line, from 1, that holds the byte at `offset`. Lines end in LF, CR LF, CR CR LF or CR.
std::size_t KaLineOf(std::string_view text, std::size_t offset);

/// A foreign text as a message quotes it: in quotes, and shortened.
std::string KaQuoted(std::string_view text);

/// Tells a handler, which may be null, how far the work has come; throws `TKaMessage` when it cancels.
void KaReportProgress(TKaProgressHandler* progress, double done);
