/// How often a test tries what differs in numbers alone.
#pragma once

namespace test {

/// A tenth of them under sanitizers, which ask where code goes and not what it finds.
constexpr int Rounds(int count) {
#ifdef KELVANE_SANITIZED
  return count / 10;
#else
  return count;
#endif
}

}  // namespace test
