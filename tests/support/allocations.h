/// \file
/// Counts what a test program allocates, in the library too: a program's own operator new takes the place of
/// everybody's.
#pragma once

namespace test {

/// How often operator new has been called.
long AllocationCount();

}  // namespace test
