#include "host/whole_text.h"

#include <algorithm>

#include "kelvane/module/host/message.h"
#include "kelvane/module/host/stream.h"

std::string_view KaTrimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(KaWhiteSpace);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(KaWhiteSpace) - begin + 1);
}

std::string KaReadText(TKaStream& stream) {
  constexpr std::size_t piece = std::size_t{1} << 16;
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  std::string text;
  std::size_t length = 0;
  std::size_t taken = piece;
  while (taken == piece) {
    if (length > KaLargestText)
      throw TKaMessage("the stream holds more than 1 GiB: no text to be read whole");
    text.resize(length + piece);
    taken = stream.Read(&text[length], piece);
    length += taken;
  }
  text.resize(length);
  if (!stream.IsReady()) throw TKaMessage("the stream cannot be read");
  if (text.compare(0, byte_order_mark.size(), byte_order_mark) == 0) text.erase(0, byte_order_mark.size());
  return text;
}

std::size_t KaFindControlByte(std::string_view text, std::string_view allowed) {
  const auto found = std::find_if(text.begin(), text.end(), [allowed](char c) {
    return static_cast<unsigned char>(c) < 0x20 && allowed.find(c) == std::string_view::npos;
  });
  return found == text.end() ? std::string_view::npos : static_cast<std::size_t>(found - text.begin());
}

std::size_t KaLineOf(std::string_view text, std::size_t offset) {
  std::size_t line = 1;
  for (std::size_t i = 0; i < std::min(offset, text.size()); ++i) {
    const std::string_view rest = text.substr(i, 3);
    const bool ends_later = rest.substr(0, 2) == "\r\n" || rest == "\r\r\n";
    if (rest[0] == '\n' || (rest[0] == '\r' && !ends_later)) ++line;
  }
  return line;
}

void KaReportProgress(TKaProgressHandler* progress, double done) {
  if (progress != nullptr && !progress->OnProgress(done)) throw TKaMessage("cancelled");
}
