// zkJson reading and writing against nlohmann/json and RapidJSON, on a cipher record and on a
// 1 MiB mixed document. Each library writes its own tree of the same document.

#include "bench/bench_support.h"
#include "bench/json_documents.h"
#include "bench/registration.h"

#include <qvcryptoservice/zkjson.h>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <nlohmann/json.hpp>

#include <string>
#include <utility>

namespace qvbench {
namespace {

void RegisterReads(const std::string& operation, const std::string& text) {
  const auto size = static_cast<std::int64_t>(text.size());
  Register(PairName(operation, "ours", size), size, [&text](benchmark::State& state) {
    for (auto _ : state) {
      zkJson::Value root;
      if (!zkJson::Reader().parse(text, root)) {
        Fail(state, "zkJson refused the document");
        break;
      }
      benchmark::DoNotOptimize(&root);
    }
  });
  Register(PairName(operation, "nlohmann", size), size, [&text](benchmark::State& state) {
    for (auto _ : state) {
      nlohmann::json root = nlohmann::json::parse(text, nullptr, false);
      if (root.is_discarded()) {
        Fail(state, "nlohmann/json refused the document");
        break;
      }
      benchmark::DoNotOptimize(&root);
    }
  });
  Register(PairName(operation, "rapidjson", size), size, [&text](benchmark::State& state) {
    for (auto _ : state) {
      rapidjson::Document root;
      if (root.Parse(text.data(), text.size()).HasParseError()) {
        Fail(state, "RapidJSON refused the document");
        break;
      }
      benchmark::DoNotOptimize(&root);
    }
  });
}

void RegisterWrites(const std::string& operation, const std::string& text) {
  const auto size = static_cast<std::int64_t>(text.size());
  Register(PairName(operation, "ours", size), size, [&text](benchmark::State& state) {
    zkJson::Value root;
    (void)zkJson::Reader().parse(text, root);
    for (auto _ : state) {
      std::string written = zkJson::FastWriter().write(root);
      benchmark::DoNotOptimize(written.data());
    }
  });
  Register(PairName(operation, "nlohmann", size), size, [&text](benchmark::State& state) {
    const nlohmann::json root = nlohmann::json::parse(text);
    for (auto _ : state) {
      std::string written = root.dump();
      benchmark::DoNotOptimize(written.data());
    }
  });
  Register(PairName(operation, "rapidjson", size), size, [&text](benchmark::State& state) {
    rapidjson::Document root;
    root.Parse(text.data(), text.size());
    for (auto _ : state) {
      rapidjson::StringBuffer buffer;
      rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
      root.Accept(writer);
      std::string written(buffer.GetString(), buffer.GetSize());
      benchmark::DoNotOptimize(written.data());
    }
  });
}

// Reading an object whose names come in descending order against the same object in ascending
// order: the ratio stays flat as the object grows when the out-of-order names cost a sort, not an
// insertion each.
void RegisterMemberOrderReads() {
  const std::string& descending = ManyMembersJson(true);
  const auto size = static_cast<std::int64_t>(descending.size());
  for (const auto& [side, text] : {std::pair{"ours", &descending}, std::pair{"in_order", &ManyMembersJson(false)}}) {
    Register(PairName("json_read_reversed", side, size), size, [text](benchmark::State& state) {
      for (auto _ : state) {
        zkJson::Value root;
        if (!zkJson::Reader().parse(*text, root)) {
          Fail(state, "zkJson refused the document");
          break;
        }
        benchmark::DoNotOptimize(&root);
      }
    });
  }
}

}  // namespace

void RegisterJsonBenchmarks() {
  RegisterReads("json_read_record", CipherRecordJson());
  RegisterWrites("json_write_record", CipherRecordJson());
  RegisterReads("json_read_mixed", MixedDocumentJson());
  RegisterWrites("json_write_mixed", MixedDocumentJson());
  RegisterMemberOrderReads();
}

}  // namespace qvbench
