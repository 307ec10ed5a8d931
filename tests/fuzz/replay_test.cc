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
    if (LLVMFuzzerInitialize != nullptr) {
      int argc = 0;
      char** argv = nullptr;
      ASSERT_EQ(LLVMFuzzerInitialize(&argc, &argv), 0);
    }
  }

  static void Replay(const fs::path& directory, std::size_t atLeast) {
    const std::vector<fs::path> inputs = InputsBelow(directory);
    ASSERT_GE(inputs.size(), atLeast) << "too few inputs in " << directory;
    for (const fs::path& input : inputs) {
      SCOPED_TRACE(input.string());
      const std::vector<std::uint8_t> bytes = Contents(input);
      // The data pointer is never null, as under libFuzzer, even for an empty file.
      static const std::uint8_t kNothing = 0;
      EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.empty() ? &kNothing : bytes.data(), bytes.size()), 0);
    }
  }
};

TEST_F(FuzzReplay, SeedCorpus) { Replay(fs::path("fuzz") / (std::string(QVCS_FUZZ_TARGET) + "_corpus"), 1); }

TEST_F(FuzzReplay, Regressions) { Replay(fs::path("fuzz") / "regressions" / QVCS_FUZZ_TARGET, 0); }

// Inputs a fuzzer meets early and that every target must take: nothing, one byte of each value,
// and a long run of one byte (of '[', deeper than any reader allows).
TEST_F(FuzzReplay, TinyAndUniformInputs) {
  static const std::uint8_t kNothing = 0;
  EXPECT_EQ(LLVMFuzzerTestOneInput(&kNothing, 0), 0);
  for (unsigned value = 0; value < 256; ++value) {
    const auto byte = static_cast<std::uint8_t>(value);
    EXPECT_EQ(LLVMFuzzerTestOneInput(&byte, 1), 0) << value;
    const std::vector<std::uint8_t> run(4096, byte);
    EXPECT_EQ(LLVMFuzzerTestOneInput(run.data(), run.size()), 0) << value;
  }
}

}  // namespace
