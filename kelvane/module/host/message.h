/// \file
/// The host's exception.
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "kelvane/module/export.h"

/// The host's exception, thrown by value. It is deliberately no `std::runtime_error`: which of the two a
/// function throws is part of its contract, and a caller can tell them apart.
class KELVANE_HOST_API TKaMessage : public std::exception {
 public:
  /// The text that `what` gives, copied.
  explicit TKaMessage(const char* text) : text_(text) {}
  explicit TKaMessage(std::string text) : text_(std::move(text)) {}

  /// The message, as given; lives as long as this object.
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};
