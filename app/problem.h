/// \file
/// The failures that end a run of the program.
#pragma once

#include <stdexcept>
#include <string>

namespace app {

/// Exit statuses of the program.
enum ExitStatus { AllComputed = 0, SomePointsFailed = 1, Unusable = 2 };

/// A failure that a person can mend: one line for standard error, exit status 2.
class Problem : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// "NAME: what errno says".
Problem SystemProblem(const std::string& name);

}  // namespace app
