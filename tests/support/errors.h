/// \file
/// What actions throw.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>

namespace test {

/// The text of the error of that kind that the action throws, "" when it throws none. A text may be thrown
/// too.
template <class Error, class Action>
std::string ErrorOf(Action action) {
  try {
    action();
  } catch (const Error& error) {
    if constexpr (std::is_convertible_v<Error, std::string>) {
      return error;
    } else {
      return error.what();
    }
  }
  return {};
}

template <class Action>
std::string RuntimeErrorOf(Action action) {
  return ErrorOf<std::runtime_error>(action);
}

template <class Action>
std::string TextThrownBy(Action action) {
  return ErrorOf<const char*>(action);
}

}  // namespace test
