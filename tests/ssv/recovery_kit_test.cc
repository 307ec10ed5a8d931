// Recovery kits: the threshold field code against known shares, the kit sets a restore takes and
// refuses, and a machine's SSV backed up and restored through the C functions.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "platform/task_memory.h"
#include "ssv/record.h"
#include "ssv/recovery_kit/kit_seal.h"
#include "ssv/recovery_kit/recovery_kit.h"
#include "ssv/recovery_kit/threshold_shares.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/data_table.h"
#include "tests/support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

namespace QVCryptoService {
namespace {

std::vector<std::string> Words(const std::string& text, char separator) {
  std::vector<std::string> words;
  std::istringstream in(text);
  for (std::string word; std::getline(in, word, separator);) {
    words.push_back(word);
  }
  return words;
}

TEST(ThresholdShares, KnownSharesGiveTheSecret) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("ssv_threshold_shares.tsv")) {
    const std::vector<std::string> holders = Words(row["holders"], ',');
    std::vector<std::vector<std::uint8_t>> values;
    std::vector<ThresholdShare> shares;
    for (const std::string& hex : Words(row["shares"], ' ')) {
      values.push_back(testsupport::FromHex(hex));
    }
    for (std::size_t i = 0; i < holders.size(); ++i) {
      shares.push_back({static_cast<std::uint8_t>(std::stoi(holders[i])), values[i]});
    }
    SecureBlock secret;
    ASSERT_TRUE(CombineThreshold(shares, secret)) << row.where;
    EXPECT_EQ(testsupport::ToHex(std::vector<std::uint8_t>(secret.begin(), secret.end())), row["secret"]) << row.where;
  }
}

TEST(ThresholdShares, EverySplitDrawsFreshCoefficients) {
  const std::vector<std::uint8_t> secret(64, 0x5A);
  std::vector<SecureBlock> first;
  std::vector<SecureBlock> second;
  ASSERT_TRUE(SplitThreshold(secret, 2, 2, first));
  ASSERT_TRUE(SplitThreshold(secret, 2, 2, second));
  // Equal by chance once in 2^512 splits.
  EXPECT_FALSE(first[0] == second[0]);
  EXPECT_FALSE(std::equal(secret.begin(), secret.end(), first[0].begin()));
}

// Kits at the lowest cost Argon2id allows, so that a test opens thousands of them.
constexpr Argon2idParameters kTestCost{8, 1, 1};

class KitSet : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(BuildSsvRecord(record_));
    for (char backup : {'a', 'b'}) {
      std::vector<SecureBlock> passphrases;
      for (char holder = '1'; holder <= '5'; ++holder) {
        passphrases.push_back(SecureBlock{static_cast<std::uint8_t>(holder)});
      }
      ASSERT_EQ(MakeKits(record_, 3, passphrases, kTestCost, kits_[backup]).status, SsvKitStatus::kOk);
    }
  }

  // Rebuild restores from the kits that `tokens` names (see ssv_kit_refusals.tsv).
  static SsvKitOutcome Rebuild(const std::string& tokens, SecureBlock& rebuilt) {
    std::vector<std::string> texts;
    std::vector<SecureBlock> passphrases;
    for (std::string token : Words(tokens, ' ')) {
      const char backup = token[0] == 'b' ? 'b' : 'a';
      token.erase(0, backup == 'b' ? 1 : 0);
      std::string text = kits_[backup].at(static_cast<std::size_t>(token[0] - '1'));
      const std::size_t at = token.find('@');
      if (at != std::string::npos) {
        const std::size_t equals = std::min(token.find('='), token.size());
        const std::string member = "\"" + token.substr(at + 1, equals - at - 1) + "\":";
        std::size_t first = text.find(member) + member.size();
        first += text[first] == '"' ? 1 : 0;
        text.replace(first, 1, equals < token.size() ? token.substr(equals + 1) : text[first] == '0' ? "1" : "0");
      }
      if (token.back() == '~') {
        text.pop_back();
      }
      texts.push_back(text);
      passphrases.push_back(SecureBlock{static_cast<std::uint8_t>(token.back() == '!' ? 'x' : token[0])});
    }
    return RebuildRecord(texts, passphrases, kTestCost, rebuilt);
  }

  static inline SecureBlock record_;
  static inline std::map<char, std::vector<std::string>> kits_;
};

TEST_F(KitSet, EveryThreeOfFiveRestoreTheRecordAndNoTwoDo) {
  for (char a = '1'; a <= '5'; ++a) {
    for (char b = static_cast<char>(a + 1); b <= '5'; ++b) {
      SecureBlock rebuilt;
      EXPECT_EQ(Rebuild({a, ' ', b}, rebuilt).status, SsvKitStatus::kTooFewKits) << a << b;
      EXPECT_TRUE(rebuilt.empty());
      for (char c = static_cast<char>(b + 1); c <= '5'; ++c) {
        const SsvKitOutcome outcome = Rebuild({c, ' ', a, ' ', b}, rebuilt);
        EXPECT_EQ(outcome.status, SsvKitStatus::kOk) << a << b << c << ": " << outcome.message;
        EXPECT_TRUE(rebuilt == record_) << a << b << c;
      }
    }
  }
}

TEST_F(KitSet, RefusesEachBadSetNamingTheKit) {
  const std::map<std::string, SsvKitStatus> statuses = {{"too few kits", SsvKitStatus::kTooFewKits},
                                                        {"does not open", SsvKitStatus::kKitDoesNotOpen},
                                                        {"unreadable", SsvKitStatus::kKitUnreadable},
                                                        {"mixed", SsvKitStatus::kMixedKits},
                                                        {"duplicate holder", SsvKitStatus::kDuplicateHolder}};
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("ssv_kit_refusals.tsv")) {
    SecureBlock rebuilt;
    const SsvKitOutcome outcome = Rebuild(row["kits"], rebuilt);
    EXPECT_EQ(outcome.status, statuses.at(row["status"])) << row.where << ": " << outcome.message;
    EXPECT_EQ(outcome.kit, row["kit"] == "-" ? SsvKitOutcome::kNoKit : std::stoul(row["kit"])) << row.where;
    EXPECT_NE(outcome.message.find(row["message"]), std::string::npos) << row.where << ": " << outcome.message;
    EXPECT_TRUE(rebuilt.empty()) << row.where;
  }
}

TEST_F(KitSet, AnyChangedByteIsRefusedAndNamed) {
  // Each kit of the set in turn is changed, last of three: the first kit is what the others are
  // compared with, so a change to it may be named on the kit after it.
  const std::vector<std::string>& set = kits_['a'];
  for (std::size_t changed = 0; changed < set.size(); ++changed) {
    const std::size_t first = (changed + 1) % set.size();
    const std::size_t second = (changed + 2) % set.size();
    std::vector<std::string> texts = {set[first], set[second], set[changed]};
    const std::vector<SecureBlock> passphrases = {{static_cast<std::uint8_t>('1' + first)},
                                                  {static_cast<std::uint8_t>('1' + second)},
                                                  {static_cast<std::uint8_t>('1' + changed)}};
    for (std::size_t i = 0; i < set[changed].size(); ++i) {
      texts[2] = set[changed];
      texts[2][i] = static_cast<char>(texts[2][i] ^ 0x01);
      SecureBlock rebuilt;
      const SsvKitOutcome outcome = RebuildRecord(texts, passphrases, kTestCost, rebuilt);
      ASSERT_NE(outcome.status, SsvKitStatus::kOk) << "kit " << changed + 1 << ", byte " << i;
      ASSERT_EQ(outcome.kit, 2U) << "kit " << changed + 1 << ", byte " << i << ": " << outcome.message;
    }
  }
}

TEST_F(KitSet, RefusesARecordOfAnotherComponentThanItsKits) {
  // Kits resealed, with their clear parts agreeing, under another component id than the record's.
  std::vector<std::string> texts;
  std::vector<SecureBlock> passphrases;
  for (std::size_t i = 0; i < 3; ++i) {
    KitText kit;
    std::string problem;
    SecureBlock share;
    passphrases.push_back(SecureBlock{static_cast<std::uint8_t>('1' + i)});
    ASSERT_TRUE(ReadKitText(kits_['a'][i], kit, problem)) << problem;
    ASSERT_TRUE(OpenKitShare(passphrases[i], kit, kTestCost, share));
    kit.header.componentId = std::string(kComponentIdSize, 'f');
    ASSERT_TRUE(SealKitShare(passphrases[i], share, kit));
    texts.push_back(WriteKitText(kit));
  }
  SecureBlock rebuilt;
  const SsvKitOutcome outcome = RebuildRecord(texts, passphrases, kTestCost, rebuilt);
  EXPECT_EQ(outcome.status, SsvKitStatus::kRecordRejected);
  EXPECT_NE(outcome.message.find("the kits name ffffffff"), std::string::npos) << outcome.message;
  EXPECT_TRUE(rebuilt.empty());
}

class MachineKits : public testing::Test {
 protected:
  testsupport::TempMachineRoot m_root;
};

TEST_F(MachineKits, RestoredRecordDecryptsTextsMadeBeforeTheBackup) {
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), false), KS_SUCCESS);
  std::string text;
  ASSERT_EQ(QVSSVCrypto().QVEncrypt(SecureBlock{'o', 'l', 'd'}, text), 0);
  const char* passphrases[] = {"first holder", "second holder", "third holder"};
  char* kits[3] = {};
  char message[200];
  ASSERT_EQ(QVSSVBackUp(3, 2, passphrases, kits, message, sizeof message), 0) << message;
  // Another SSV in its place is kept unless the restore is forced.
  SecureBlock other;
  ASSERT_TRUE(BuildSsvRecord(other));
  m_root.WriteValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value, {other.begin(), other.end()});
  const char* const given[] = {kits[2], kits[0]};
  const char* const theirPassphrases[] = {passphrases[2], passphrases[0]};
  EXPECT_EQ(QVSSVRestore(2, given, theirPassphrases, 0, message, sizeof message), 9) << message;
  EXPECT_EQ(QVSSVRestore(2, given, theirPassphrases, 1, message, sizeof message), 0) << message;
  EXPECT_EQ(QVSSVRestore(2, given, theirPassphrases, 0, message, sizeof message), 0) << message;
  EXPECT_STREQ(message, "this SSV is already stored");
  for (char* kit : kits) {
    platform::FreeCallerMemory(kit);
  }
  SecureBlock plain;
  ASSERT_EQ(QVSSVCrypto().QVDecrypt(text, plain), 0);
  EXPECT_EQ(std::string(plain.begin(), plain.end()), "old");
}

}  // namespace
}  // namespace QVCryptoService
