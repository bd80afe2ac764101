#include "runtime/print_size.h"

#include "runtime/allocate.h"

namespace orv {

char *print(char *buffer, std::uint64_t n) {
  char digits[20];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + n % 10);
    n /= 10;
  } while (n != 0);
  while (count > 0) *buffer++ = digits[--count];
  return buffer;
}

const char *print_size(PrintRing &ring, std::size_t n) {
  if (n == kSizeSentinel) return "HUGE";
  ring.last = (ring.last + 1) % ring.buffers.size();
  char *text = ring.buffers[ring.last].data();
  *print(text, n) = '\0';
  return text;
}

}  // namespace orv
