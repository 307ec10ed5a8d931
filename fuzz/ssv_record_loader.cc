// The SSV loader fed whatever bytes the machine holds: the first input byte chooses where the
// record is put (the staging file or one of the three store locations) and whether the rest is
// cut or padded to exactly one record (2883 bytes) or kept at its own length. A fresh engine
// then loads it through the real path and recombines the shares.
//
// Invariants: a record of any other length is never loaded; a loaded record yields its first
// 32 bytes as the component id; recombination either gives five 32-byte secrets, which the
// format allows only when the 25 index bytes name every slot once, or fails with
// KS_ERR_INVALID_SSV_DATA.

#include <qvcryptoservice/result.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "fuzz/fuzz_support.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRecordSize = 2883;
constexpr std::size_t kIdSize = 32;
constexpr std::size_t kEntriesOffset = 33;
constexpr std::size_t kEntrySize = 114;
constexpr std::size_t kSlotCount = 25;

// The places a record is read from, each relative to the machine root.
const std::array<fs::path, 4> kPlaces{
    fs::path("stableSystemValues"),
    fs::path("registry") / "SOFTWARE" / "Quorvel" / "Quorvel_Data",
    fs::path("registry") / "SOFTWARE" / "Classes" / "Quorvel" / "Quorvel_Data",
    fs::path("registry") / "SOFTWARE" / "Classes" / "SSV" / "SSV_Data",
};

void Put(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
  std::error_code ignored;
  fs::create_directories(path.parent_path(), ignored);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  fuzzsupport::Require(out.good(), "the record can be written");
}

bool IndexBytesNameEverySlotOnce(const std::vector<std::uint8_t>& record) {
  std::array<bool, kSlotCount> seen{};
  for (std::size_t entry = 0; entry < kSlotCount; ++entry) {
    const std::uint8_t slot = record[kEntriesOffset + entry * kEntrySize];
    if (slot >= kSlotCount || seen[slot]) {
      return false;
    }
    seen[slot] = true;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzzsupport::SilenceLibraryLog();
  (void)fuzzsupport::UseTemporaryMachineRoot();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::uint8_t mode = data[0];
  std::vector<std::uint8_t> record(data + 1, data + size);
  const bool wholeRecord = (mode & 1U) == 0;
  if (wholeRecord) {
    record.resize(kRecordSize, 0);
  }
  const fs::path root = fuzzsupport::UseTemporaryMachineRoot();
  const fs::path place = root / kPlaces[(mode >> 1) % kPlaces.size()];
  Put(place, record);

  QVCryptoService::QVSSVCrypto engine;
  const std::string id = engine.getComponentId();
  std::vector<std::string> secrets;
  const QVCryptoService::EQVKeystoreCode recovered = engine.recoverSSV(secrets);
  std::error_code ignored;
  fs::remove(place, ignored);

  if (record.size() != kRecordSize) {
    fuzzsupport::Require(id.empty(), "a record of another length gives no component id");
    fuzzsupport::Require(recovered == QVCryptoService::KS_ERR_SSV_NOT_INITIALIZED && secrets.empty(),
                         "a record of another length is not loaded");
    return 0;
  }
  fuzzsupport::Require(id == std::string(record.begin(), record.begin() + kIdSize),
                       "the component id is the record's first 32 bytes");
  if (recovered == QVCryptoService::KS_SUCCESS) {
    fuzzsupport::Require(secrets.size() == 5, "five group secrets");
    fuzzsupport::Require(
        std::all_of(secrets.begin(), secrets.end(), [](const std::string& s) { return s.size() == 32; }),
        "every group secret has 32 bytes");
    fuzzsupport::Require(IndexBytesNameEverySlotOnce(record), "a record that recombines names every slot once");
  } else {
    fuzzsupport::Require(recovered == QVCryptoService::KS_ERR_INVALID_SSV_DATA && secrets.size() < 5,
                         "a record that does not recombine is reported as invalid data");
  }
  return 0;
}
