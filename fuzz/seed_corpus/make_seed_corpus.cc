// Writes the seed corpora of the SSV record loader and of share combination, made by the
// library itself: `fuzz_make_seed_corpus <fuzz directory>`. Run once when the formats change;
// the results are committed.

#include <qvcryptoservice/result.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "platform/system_random.h"
#include "ssv/sharescheme/shares.h"

#include "fuzz/fuzz_support.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace ss = QVCryptoService::sharescheme;

void Write(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  fuzzsupport::Require(out.good(), "a corpus file can be written");
}

std::vector<std::uint8_t> Read(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The loader's input is a mode byte and the record: bit 0 clear keeps exactly one record,
// bits 1 and 2 choose the staging file (0) or a store location (1..3).
std::vector<std::uint8_t> LoaderInput(std::uint8_t mode, const std::vector<std::uint8_t>& record) {
  std::vector<std::uint8_t> input{mode};
  input.insert(input.end(), record.begin(), record.end());
  return input;
}

void MakeLoaderCorpus(const fs::path& directory) {
  const std::string& root = fuzzsupport::UseTemporaryMachineRoot();
  fuzzsupport::Require(QVCryptoService::QVSSVCrypto::generateSSV(root, true) == QVCryptoService::KS_SUCCESS,
                       "an SSV is generated");
  const std::vector<std::uint8_t> record =
      Read(fs::path(root) / "registry" / "SOFTWARE" / "Classes" / "SSV" / "SSV_Data");
  fuzzsupport::Require(record.size() == 2883, "the stored record has 2883 bytes");
  Write(directory / "staging_file", LoaderInput(0, record));
  Write(directory / "current_location", LoaderInput(6, record));
  Write(directory / "oldest_location", LoaderInput(2, record));
  Write(directory / "one_byte_short", LoaderInput(7, std::vector<std::uint8_t>(record.begin(), record.end() - 1)));
  std::vector<std::uint8_t> repeated = record;
  repeated[33 + 114] = repeated[33];
  Write(directory / "repeated_index", LoaderInput(6, repeated));
}

void MakeShareCorpus(const fs::path& directory) {
  std::array<std::uint8_t, ss::kShareMessageSize> message{};
  fuzzsupport::Require(QVCryptoService::platform::FillSystemRandom(message.data(), message.size()), "a random message");
  std::vector<std::uint8_t> shares(ss::kShareCount * ss::kShareSize);
  fuzzsupport::Require(ss::CreateShares(message, std::span<std::uint8_t, ss::kShareCount * ss::kShareSize>(shares),
                                        &QVCryptoService::platform::FillSystemRandom),
                       "shares are made");
  Write(directory / "one_group", shares);
  std::vector<std::uint8_t> swapped = shares;
  std::swap_ranges(swapped.begin(), swapped.begin() + ss::kShareSize, swapped.begin() + 3 * ss::kShareSize);
  Write(directory / "two_shares_swapped", swapped);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <fuzz directory>\n", argv[0]);
    return 2;
  }
  fuzzsupport::SilenceLibraryLog();
  const fs::path fuzzDirectory = argv[1];
  MakeLoaderCorpus(fuzzDirectory / "ssv_record_loader_corpus");
  MakeShareCorpus(fuzzDirectory / "share_combination_corpus");
  return 0;
}
