// Replays one fuzz target's entry point over its seed corpus and fuzz/regressions/<target>/. A
// broken invariant aborts the run; a crash or a sanitizer report fails it the same way.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

// Feed gives the target one input, never through a null pointer (neither does libFuzzer), after
// the target's own initialisation.
int Feed(const std::vector<std::uint8_t>& bytes) {
  static const bool initialised = [] {
    int argc = 0;
    char** argv = nullptr;
    return LLVMFuzzerInitialize == nullptr || LLVMFuzzerInitialize(&argc, &argv) == 0;
  }();
  static const std::uint8_t kNothing = 0;
  return initialised ? LLVMFuzzerTestOneInput(bytes.empty() ? &kNothing : bytes.data(), bytes.size()) : -1;
}

TEST(FuzzReplay, SeedCorpusAndRegressions) {
  const fs::path corpus = fs::path("fuzz") / (std::string(QVCS_FUZZ_TARGET) + "_corpus");
  std::size_t seeds = 0;
  for (const fs::path& directory : {corpus, fs::path("fuzz") / "regressions" / QVCS_FUZZ_TARGET}) {
    if (!fs::is_directory(directory)) {
      continue;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      if (entry.is_regular_file() && entry.path().filename() != "README.md") {
        std::ifstream in(entry.path(), std::ios::binary);
        EXPECT_EQ(Feed({std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()}), 0) << entry.path();
        seeds += directory == corpus ? 1 : 0;
      }
    }
  }
  EXPECT_GT(seeds, 0U) << "no inputs in " << corpus;
}

// Inputs a fuzzer meets early and that every target must take: nothing, one byte of each value,
// and a long run of one byte (of '[', deeper than any reader allows).
TEST(FuzzReplay, TinyAndUniformInputs) {
  EXPECT_EQ(Feed({}), 0);
  for (unsigned value = 0; value < 256; ++value) {
    const auto byte = static_cast<std::uint8_t>(value);
    EXPECT_EQ(Feed({byte}), 0) << value;
    EXPECT_EQ(Feed(std::vector<std::uint8_t>(4096, byte)), 0) << value;
  }
}

}  // namespace
