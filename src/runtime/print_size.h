// Decimal printing of sizes into a ring of eight buffers, so that one log
// line can carry several sizes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace orv {

struct PrintRing {
  std::array<std::array<char, 64>, 8> buffers{};
  unsigned last = 7;  // the buffer used last; the first print uses buffer 0
};

// Writes n's digits without terminator; returns the position after them.
char *print(char *buffer, std::uint64_t n);
// n in the ring's next buffer, or the static "HUGE" for the size sentinel.
// Valid until seven further prints on the same ring.
const char *print_size(PrintRing &ring, std::size_t n);

}  // namespace orv
