// Replays fuzz corpus files through the fuzz target without libFuzzer (used
// by ctest in every build).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int main(int argc, char **argv) {
  std::size_t count = 0;
  const auto replay = [&](const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    ++count;
  };
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      replay(argv[i]);
      continue;
    }
    for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[i]))
      if (entry.is_regular_file()) replay(entry.path());
  }
  std::printf("replayed %zu inputs\n", count);
  return count > 0 ? 0 : 1;
}
