#include "bench/json_documents.h"

#include "bench/bench_environment.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/zkjson.h>

#include <cstdint>
#include <random>

namespace qvbench {
namespace {

std::string MakeCipherRecord() {
  QVCryptoService::CipherMeta_t meta;
  meta.version = 1;
  meta.cipherName = "aes-256-cbc";
  const Bytes& iv = SampleBytes(16);
  meta.iv.assign(iv.begin(), iv.end());
  meta.keyName = "QV_ENCYPT_DECRYPT_0";
  meta.keyVersion = 1;
  const Bytes& cipher = SampleBytes(80);
  return QVCryptoService::CipherToJsonStr(meta, Bytes(cipher.begin(), cipher.end()));
}

zkJson::Value MixedEntry(std::mt19937& random, int index) {
  static const char* const kWords[] = {"alpha", "b\"eta", "gam\\ma", "del\nta", "épsilon", "ζeta", "eta\t", "θήτα"};
  zkJson::Value entry;
  entry["id"] = zkJson::Value(index);
  entry["serial"] = zkJson::Value(static_cast<std::uint64_t>(random()) << 20);
  entry["name"] = zkJson::Value(std::string(kWords[random() % 8]) + " " + std::to_string(random() % 100000));
  entry["score"] = zkJson::Value(static_cast<double>(random()) / 7919.0);
  entry["ratio"] = zkJson::Value(-static_cast<double>(random() % 1000) / 1000.0);
  entry["active"] = zkJson::Value(random() % 2 == 0);
  entry["owner"] = zkJson::Value(zkJson::nullValue);
  zkJson::Value tags(zkJson::arrayValue);
  for (std::uint32_t t = 0; t < 1 + random() % 5; ++t) {
    tags.append(zkJson::Value(kWords[random() % 8]));
  }
  entry["tags"] = tags;
  zkJson::Value position(zkJson::objectValue);
  position["x"] = zkJson::Value(static_cast<int>(random() % 2000) - 1000);
  position["y"] = zkJson::Value(static_cast<double>(random() % 100000) / 3.0);
  position["history"] = zkJson::Value(zkJson::arrayValue);
  for (int h = 0; h < 4; ++h) {
    position["history"].append(zkJson::Value(static_cast<int>(random() % 1000)));
  }
  entry["position"] = position;
  return entry;
}

std::string MakeMixedDocument() {
  constexpr std::size_t kTarget = std::size_t{1} << 20;
  std::mt19937 random(20240601);
  zkJson::Value root(zkJson::objectValue);
  root["title"] = zkJson::Value("benchmark document");
  root["entries"] = zkJson::Value(zkJson::arrayValue);
  std::string text;
  // Grow in batches until the written text reaches the target size.
  for (int index = 0; text.size() < kTarget; text = zkJson::FastWriter().write(root)) {
    for (int batch = 0; batch < 500; ++batch, ++index) {
      root["entries"].append(MixedEntry(random, index));
    }
  }
  return text;
}

std::string MakeManyMembers(bool descending) {
  constexpr int kMembers = 100000;
  std::string text = "{";
  for (int i = 0; i < kMembers; ++i) {
    const std::string digits = std::to_string(descending ? kMembers - 1 - i : i);
    text += (i == 0 ? "\"m" : ",\"m") + std::string(6 - digits.size(), '0') + digits + "\":" + digits;
  }
  return text + "}";
}

}  // namespace

const std::string& CipherRecordJson() {
  static const std::string text = MakeCipherRecord();
  return text;
}

const std::string& MixedDocumentJson() {
  static const std::string text = MakeMixedDocument();
  return text;
}

const std::string& ManyMembersJson(bool descending) {
  static const std::string ascending = MakeManyMembers(false);
  static const std::string reversed = MakeManyMembers(true);
  return descending ? reversed : ascending;
}

}  // namespace qvbench
