// The SSV's machine binding: the binding record by known answers, what tells a binding from
// another machine's, and the states on a machine whose identity the test changes.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/ssv_binding.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/machine_binding.h"
#include "tests/platform/machine_identity_fixture.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/data_table.h"

#include <gtest/gtest.h>

namespace QVCryptoService {
namespace {

using Bytes = std::vector<std::uint8_t>;
using State = SsvBindingState;

Bytes BytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

TEST(SsvBindingRecord, MatchesTheKnownBindings) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("ssv_machine_bindings.tsv")) {
    Bytes binding;
    ASSERT_TRUE(SealSsvBinding(row["component_id"], BytesOf(row["ssv_key"]), row["identity"], binding)) << row.where;
    EXPECT_EQ(binding, BytesOf(row["binding"])) << row.where;
  }
}

// A change to the binding or to what it is checked against breaks the match; a binding of
// another size or version is not judged at all.
TEST(SsvBindingRecord, MatchesOnlyItsOwnRecordKeyAndIdentity) {
  const testsupport::DataRow row = testsupport::ReadDataTable("ssv_machine_bindings.tsv").front();
  const Bytes stored = BytesOf(row["binding"]), key = BytesOf(row["ssv_key"]);
  const std::string id = row["component_id"], identity = row["identity"];
  const auto judge = [&](const Bytes& binding, const std::string& componentId, const Bytes& ssvKey,
                         const std::string& machine) {
    return JudgeSsvBinding(binding, componentId, ssvKey, machine).state;
  };
  const auto flipped = [&](std::size_t index) {
    Bytes binding = stored;
    binding[index] ^= 0x01;
    return binding;
  };
  EXPECT_EQ(judge(stored, id, key, identity), State::kBoundToThisMachine);
  EXPECT_EQ(judge(stored, id, key, std::string(32, 'f')), State::kCopiedFromAnotherMachine);
  EXPECT_EQ(judge(stored, std::string(32, 'a'), key, identity), State::kCopiedFromAnotherMachine);
  EXPECT_EQ(judge(stored, id, Bytes(32, 7), identity), State::kCopiedFromAnotherMachine);
  EXPECT_EQ(judge(flipped(64), id, key, identity), State::kCopiedFromAnotherMachine);
  EXPECT_EQ(judge(flipped(0), id, key, identity), State::kCannotTell);
  EXPECT_EQ(judge(Bytes(stored.begin(), stored.end() - 1), id, key, identity), State::kCannotTell);
  // What a restore replaces: only a binding that names another record.
  EXPECT_FALSE(SsvBindingNamesAnotherRecord(stored, id));
  EXPECT_TRUE(SsvBindingNamesAnotherRecord(stored, std::string(32, 'a')));
  EXPECT_FALSE(SsvBindingNamesAnotherRecord(flipped(0), std::string(32, 'a'))) << "a binding of another version";
}

// The states on one machine, through the C++ and the C functions alike.
TEST(SsvBinding, FollowsTheMachineIdentityAndTheStoredBinding) {
  const testsupport::TempMachineRoot root;
  const testsupport::TempMachineIdentity identity;
  const testsupport::CapturedLog log;
  identity.Set("11111111-2222-4333-8444-555555555555");
  std::string reason;
  EXPECT_EQ(CheckSsvBinding(&reason), State::kCannotTell);
  EXPECT_EQ(reason, "no readable SSV record");
  EXPECT_TRUE(log.entries().empty()) << "no SSV is an answer here, not a failure to log";
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_SUCCESS);
  EXPECT_EQ(CheckSsvBinding(), State::kNoBindingYet) << "a record made without a binding";
  State replaced = State::kCannotTell;
  ASSERT_TRUE(BindSsvToMachine(&replaced));
  EXPECT_EQ(replaced, State::kNoBindingYet);
  EXPECT_EQ(SSVBindingState(), 0);
  identity.Set("66666666-7777-4888-9999-aaaaaaaaaaaa");
  EXPECT_EQ(CheckSsvBinding(), State::kCopiedFromAnotherMachine);
  EXPECT_STREQ(SSVBindingStateText(SSVBindingState()), "copied from another machine");
  EXPECT_EQ(SSVBindToMachine(), 1);
  EXPECT_EQ(CheckSsvBinding(), State::kBoundToThisMachine);
  Bytes binding = root.ReadValue(kSsvBindingLocation.key, kSsvBindingLocation.value);
  ASSERT_EQ(binding.size(), kSsvBindingSize);
  binding.back() ^= 0x80;
  root.WriteValue(kSsvBindingLocation.key, kSsvBindingLocation.value, binding);
  EXPECT_EQ(CheckSsvBinding(), State::kCopiedFromAnotherMachine) << "an altered binding";
  identity.Remove();
  EXPECT_EQ(CheckSsvBinding(&reason), State::kCannotTell);
  EXPECT_EQ(reason.rfind("no machine identity: ", 0), 0U) << reason;
  EXPECT_FALSE(BindSsvToMachine(nullptr, &reason));
  EXPECT_EQ(root.ReadValue(kSsvBindingLocation.key, kSsvBindingLocation.value), binding) << "a failed bind wrote";
}

}  // namespace
}  // namespace QVCryptoService
