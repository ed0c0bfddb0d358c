/// \file
/// XML as text: parsing with the checks that every document gets, and escaping (internal).
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

class TKaStream;

/// How many elements may lie inside one another, the root included: enough for a root, 256 sections and a
/// value.
constexpr int KaMaxXmlDepth = 258;

/// How many tags and attributes a text may hold, closing tags counted: each costs many times its characters
/// in memory. A tree of items takes some 350 bytes for one, a parsed configuration a third of that.
constexpr std::size_t KaMostXmlMarks = std::size_t{1} << 24;
constexpr std::size_t KaMostXmlMarksOfTree = std::size_t{1} << 22;

/// Reads the text of a document from the stream: from its beginning when `from_start` is true, else from
/// where it stands. Throws `TKaMessage` when the stream is null, fails or cannot go back.
std::string KaReadXmlText(TKaStream* stream, bool from_start);

/// Parses the text. White space between elements is dropped; a text that consists of white space is kept
/// when it is the only content of its element. Throws `TKaMessage`, with line and reason, when the text is
/// no document with one root element, or when elements are nested too deeply, or are more than `most_marks`
/// together with their ends and attributes.
void KaParseXml(const std::string& text, std::size_t most_marks, pugi::xml_document* document);

/// "line 12: reason", for the place at `offset`, which is negative when it is not known.
std::string KaXmlReason(std::string_view text, std::ptrdiff_t offset, const std::string& reason);

/// Appends content of an element. References stand for what a parser would change or drop: a carriage
/// return, control characters, and blanks that are all of the text.
void KaAppendXmlContent(std::string_view content, std::string* xml);

/// Appends ` name="value"`.
void KaAppendXmlAttribute(std::string_view name, std::string_view value, std::string* xml);
