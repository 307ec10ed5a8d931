// Replays one fuzz target over every file of its seed corpus and of fuzz/regressions/<target>/:
// the target's own entry point, built with the ordinary compiler and sanitizers, so that an
// input that once broke a target stays a test. A broken invariant aborts the run; a crash or a
// sanitizer report fails it the same way.

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

// Feed gives the target one input. The data pointer is never null, as under libFuzzer, even for
// an empty input.
int Feed(const std::vector<std::uint8_t>& bytes) {
  static const std::uint8_t kNothing = 0;
  return LLVMFuzzerTestOneInput(bytes.empty() ? &kNothing : bytes.data(), bytes.size());
}

std::vector<fs::path> InputsBelow(const fs::path& directory) {
  std::vector<fs::path> inputs;
  if (fs::is_directory(directory)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      if (entry.is_regular_file() && entry.path().filename() != "README.md") {
        inputs.push_back(entry.path());
      }
    }
  }
  return inputs;
}

std::vector<std::uint8_t> Contents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class FuzzReplay : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    int argc = 0;
    char** argv = nullptr;
    ASSERT_TRUE(LLVMFuzzerInitialize == nullptr || LLVMFuzzerInitialize(&argc, &argv) == 0);
  }
};

TEST_F(FuzzReplay, SeedCorpusAndRegressions) {
  const fs::path corpus = fs::path("fuzz") / (std::string(QVCS_FUZZ_TARGET) + "_corpus");
  std::vector<fs::path> inputs = InputsBelow(corpus);
  ASSERT_FALSE(inputs.empty()) << "no inputs in " << corpus;
  for (const fs::path& regression : InputsBelow(fs::path("fuzz") / "regressions" / QVCS_FUZZ_TARGET)) {
    inputs.push_back(regression);
  }
  for (const fs::path& input : inputs) {
    EXPECT_EQ(Feed(Contents(input)), 0) << input;
  }
}

// Inputs a fuzzer meets early and that every target must take: nothing, one byte of each value,
// and a long run of one byte (of '[', deeper than any reader allows).
TEST_F(FuzzReplay, TinyAndUniformInputs) {
  EXPECT_EQ(Feed({}), 0);
  for (unsigned value = 0; value < 256; ++value) {
    const auto byte = static_cast<std::uint8_t>(value);
    EXPECT_EQ(Feed({byte}), 0) << value;
    EXPECT_EQ(Feed(std::vector<std::uint8_t>(4096, byte)), 0) << value;
  }
}

}  // namespace
