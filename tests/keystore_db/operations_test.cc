// The keystore's own operations: versions, states, control data, listing, and the code each
// refusal gives.

#include "tests/keystore_db/keystore_db_fixture.h"

#include <openssl/evp.h>

#include <algorithm>
#include <functional>

namespace keystoredbtest {
namespace {

using namespace QVCryptoService;

using OperationsTest = KeystoreDbTest;

QVKeyControlData Shape(const std::string& algorithm, std::int32_t keyLength = 0, std::int32_t state = 0) {
  QVKeyControlData ctl;
  ctl.algorithm = algorithm;
  ctl.keyLength = keyLength;
  ctl.state = state;
  return ctl;
}

TEST_P(OperationsTest, VersionsAndStatesFollowRotationRetirementAndDestruction) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("orders"), KS_SUCCESS);
  SecureBlock key;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore->getKey("orders", key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(ctl.version, 1);
  EXPECT_EQ(ctl.state, 2);
  EXPECT_EQ(ctl.algorithm, "aes-256-cbc");
  EXPECT_EQ(ctl.keyLength, 32);
  EXPECT_EQ(key.size(), 32u);
  EXPECT_EQ(ctl.usageMask, 4);
  EXPECT_EQ(ctl.formatVersion, 0x01000000);
  EXPECT_TRUE(ctl.symmetric);
  EXPECT_GT(ctl.createdAt, 1700000000);
  EXPECT_EQ(ctl.deactivatedAt, 0);
  const SecureBlock version1 = key;

  ASSERT_EQ(keystore->reKey("orders"), KS_SUCCESS);
  ASSERT_EQ(keystore->getKey("orders", key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(ctl.version, 2);
  EXPECT_EQ(ctl.state, 2);
  EXPECT_NE(key, version1);
  ASSERT_EQ(keystore->getKey("orders", key, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(ctl.state, 3);
  EXPECT_GT(ctl.deactivatedAt, 0);
  EXPECT_EQ(key, version1);

  ASSERT_EQ(keystore->reKey("orders", 2), KS_SUCCESS);
  ASSERT_EQ(keystore->retireKey("orders", 3), KS_SUCCESS);
  // Version 0 is the active version or nothing: a retired key is no longer handed out as current.
  SecureBlock untouched = {7};
  EXPECT_EQ(keystore->getKey("orders", untouched, ctl, 0), KS_ERR_KEY_VERSION_NOT_FOUND);
  EXPECT_EQ(untouched, (SecureBlock{7}));
  ASSERT_EQ(keystore->getKey("orders", key, ctl, 3), KS_SUCCESS);
  EXPECT_EQ(ctl.state, 3);
  ASSERT_EQ(keystore->destroyKey("orders", 3), KS_SUCCESS);
  EXPECT_EQ(keystore->getKey("orders", key, ctl, 0), KS_ERR_KEY_VERSION_NOT_FOUND);

  std::vector<QVKeyListEntry> live;
  ASSERT_EQ(keystore->listKeys(false, live), KS_SUCCESS);
  EXPECT_EQ(live, (std::vector<QVKeyListEntry>{{"orders", 1}, {"orders", 2}}));
  std::vector<QVKeyListEntry> all = {{"kept", 9}};
  ASSERT_EQ(keystore->listKeys(true, all), KS_SUCCESS);
  EXPECT_EQ(all, (std::vector<QVKeyListEntry>{{"kept", 9}, {"orders", 1}, {"orders", 2}, {"orders", 3}}));
  std::vector<QVKeyDescription> described;
  ASSERT_EQ(keystore->describeKeys(described), KS_SUCCESS);
  ASSERT_EQ(described.size(), 3u);
  EXPECT_EQ(described[2].state, 5);
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys WHERE wrapped IS NULL")[0][0], "1");
}

TEST_P(OperationsTest, KeyShapesFromTheControlData) {
  auto keystore = Open();
  struct Case {
    std::string algorithm;
    std::int32_t keyLength;
    std::int32_t wantCode;
    std::int32_t wantLength;
    std::int32_t wantUsage;
  };
  const std::vector<Case> cases = {
      {"aes-128-cbc", 0, KS_SUCCESS, 16, 4},
      {"aes-256-gcm", 32, KS_SUCCESS, 32, 4},
      {"sha256", 0, KS_SUCCESS, 32, 0},
      {"sha512", 64, KS_SUCCESS, 64, 0},
      {"aes-256-cbc", 16, KS_ERR_INVALID_PARAMETERS, 0, 0},  // not the cipher's length
      {"sha256", 8, KS_ERR_INVALID_PARAMETERS, 0, 0},        // too short for an HMAC key
      {"sha256", 4096, KS_ERR_INVALID_PARAMETERS, 0, 0},
      {"rot13", 0, KS_ERR_INVALID_PARAMETERS, 0, 0},
  };
  int index = 0;
  for (const Case& c : cases) {
    const std::string name = "shape" + std::to_string(index++);
    const QVKeyControlData ctl = Shape(c.algorithm, c.keyLength);
    ASSERT_EQ(keystore->createKey(name, &ctl), c.wantCode) << c.algorithm << " " << c.keyLength;
    if (c.wantCode != KS_SUCCESS) {
      continue;
    }
    SecureBlock key;
    QVKeyControlData got;
    ASSERT_EQ(keystore->getKey(name, key, got, 0), KS_SUCCESS);
    EXPECT_EQ(got.algorithm, c.algorithm);
    EXPECT_EQ(got.keyLength, c.wantLength);
    EXPECT_EQ(key.size(), static_cast<std::size_t>(c.wantLength));
    EXPECT_EQ(got.usageMask, c.wantUsage);
  }
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys")[0][0], "4") << "a refused key left a row";
}

TEST_P(OperationsTest, RefusalsGiveTheirCodesAndChangeNothing) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore->reKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore->destroyKey("k", 1), KS_SUCCESS);
  SecureBlock key = {7};
  QVKeyControlData ctl;
  ctl.version = 42;
  const QVKeyControlData preActive = Shape("aes-256-cbc", 0, 1);
  struct Case {
    const char* what;
    std::function<std::int32_t()> call;
    std::int32_t want;
  };
  const std::vector<Case> cases = {
      {"getKey unknown name", [&] { return keystore->getKey("nope", key, ctl, 0); }, KS_ERR_KEY_NOT_FOUND},
      {"getKey unknown version", [&] { return keystore->getKey("k", key, ctl, 7); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"getKey destroyed version", [&] { return keystore->getKey("k", key, ctl, 1); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"getKey negative version", [&] { return keystore->getKey("k", key, ctl, -1); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey existing", [&] { return keystore->createKey("k"); }, KS_ERR_KEY_EXISTS},
      {"createKey empty name", [&] { return keystore->createKey(""); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey name with NUL", [&] { return keystore->createKey(std::string("a\0b", 3)); },
       KS_ERR_INVALID_PARAMETERS},
      {"createKey long name", [&] { return keystore->createKey(std::string(256, 'n')); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey pre-active", [&] { return keystore->createKey("p", &preActive); }, KS_ERR_INVALID_PARAMETERS},
      {"createKeyPair", [&] { return keystore->createKeyPair("pair"); }, KS_ERR_NOT_SUPPORTED},
      {"destroyKey unknown name", [&] { return keystore->destroyKey("nope", 1); }, KS_ERR_KEY_NOT_FOUND},
      {"destroyKey destroyed version", [&] { return keystore->destroyKey("k", 1); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"destroyKey negative version", [&] { return keystore->destroyKey("k", -2); }, KS_ERR_INVALID_PARAMETERS},
      {"reKey unknown name", [&] { return keystore->reKey("nope"); }, KS_ERR_KEY_NOT_FOUND},
      {"reKey stale expectation", [&] { return keystore->reKey("k", 1); }, KS_ERR_KEY_VERSION_EXISTS},
      {"retireKey destroyed", [&] { return keystore->retireKey("k", 1); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"retireKey unknown name", [&] { return keystore->retireKey("nope", 1); }, KS_ERR_KEY_NOT_FOUND},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.call(), c.want) << c.what;
  }
  EXPECT_EQ(key, SecureBlock{7}) << "a failed getKey wrote the key";
  EXPECT_EQ(ctl.version, 42) << "a failed getKey wrote the control data";
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys")[0][0], "2");
  EXPECT_EQ(keystore->retireKey("k", 2), KS_SUCCESS);
  EXPECT_EQ(keystore->retireKey("k", 2), KS_ERR_INVALID_PARAMETERS) << "retiring twice";
}

TEST_P(OperationsTest, KeysAreRandomAndOnlyStoredWrapped) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("a"), KS_SUCCESS);
  ASSERT_EQ(keystore->createKey("b"), KS_SUCCESS);
  SecureBlock a;
  SecureBlock b;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore->getKey("a", a, ctl, 1), KS_SUCCESS);
  ASSERT_EQ(keystore->getKey("b", b, ctl, 1), KS_SUCCESS);
  EXPECT_NE(a, b);
  const std::string stored = Wrapped("a", 1);
  EXPECT_EQ(stored.size(), 1u + 12 + 32 + 16);
  const std::string clear(a.begin(), a.end());
  EXPECT_EQ(stored.find(clear.substr(0, 8)), std::string::npos) << "key bytes stored in clear";
  EXPECT_NE(Wrapped("a", 1).substr(1, 12), Wrapped("b", 1).substr(1, 12)) << "nonce reused";
}

// The stored form is fixed (format byte, 96-bit nonce, AES-256-GCM over the key with the
// keystore's id and the row as associated data): a row sealed here by hand with OpenSSL must open to its key.
TEST_P(OperationsTest, AHandSealedRowOpensToItsKey) {
  auto keystore = Open();
  const std::string name = "hand";
  const std::string algorithm = "aes-256-cbc";
  std::vector<std::uint8_t> key(32);
  for (std::size_t index = 0; index < key.size(); ++index) {
    key[index] = static_cast<std::uint8_t>(0xa0 + index);
  }
  ASSERT_EQ(keystore->createKey(name), KS_SUCCESS);
  const std::string keystoreId = StoredMeta("keystore-id");
  ASSERT_EQ(keystoreId.size(), 16u);
  const std::vector<std::uint8_t> nonce = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  std::string aad = "QVKeystoreDb key v2";
  const auto put = [&aad](std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      aad.push_back(static_cast<char>((value >> shift) & 0xff));
    }
  };
  put(static_cast<std::uint32_t>(keystoreId.size()));
  aad += keystoreId;
  put(static_cast<std::uint32_t>(name.size()));
  aad += name;
  put(1);
  put(static_cast<std::uint32_t>(algorithm.size()));
  aad += algorithm;
  put(32);
  std::string sealed(1 + 12 + 32 + 16, '\0');
  sealed[0] = 2;
  std::copy(nonce.begin(), nonce.end(), sealed.begin() + 1);
  auto* out = reinterpret_cast<unsigned char*>(sealed.data()) + 13;
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  int written = 0;
  ASSERT_EQ(EVP_EncryptInit_ex(context, EVP_aes_256_gcm(), nullptr, hostKey_.bytes.data(), nonce.data()), 1);
  ASSERT_EQ(EVP_EncryptUpdate(context, nullptr, &written, reinterpret_cast<const unsigned char*>(aad.data()),
                              static_cast<int>(aad.size())),
            1);
  ASSERT_EQ(EVP_EncryptUpdate(context, out, &written, key.data(), 32), 1);
  ASSERT_EQ(EVP_EncryptFinal_ex(context, out + 32, &written), 1);
  ASSERT_EQ(EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, 16, out + 32), 1);
  EVP_CIPHER_CTX_free(context);

  SetWrapped(name, 1, sealed);
  ASSERT_EQ(keystore->refreshKeys(false), KS_SUCCESS);
  SecureBlock opened;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore->getKey(name, opened, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(std::vector<std::uint8_t>(opened.begin(), opened.end()), key);
}

TEST_P(OperationsTest, KeysMadeByAnotherKeystoreCanBeRotatedAndDestroyedWithoutARefresh) {
  auto first = Open();
  auto second = Open();
  ASSERT_EQ(second->createKey("elsewhere"), KS_SUCCESS);
  ASSERT_EQ(second->createKey("gone"), KS_SUCCESS);
  ASSERT_EQ(first->reKey("elsewhere", 1), KS_SUCCESS);
  SecureBlock key;
  QVKeyControlData ctl;
  ASSERT_EQ(first->getKey("elsewhere", key, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(ctl.state, 3);
  ASSERT_EQ(first->getKey("elsewhere", key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(ctl.version, 2);
  ASSERT_EQ(first->destroyKey("gone", 0), KS_SUCCESS);
  EXPECT_EQ(first->getKey("gone", key, ctl, 1), KS_ERR_KEY_VERSION_NOT_FOUND);
  // The other keystore still holds what it loaded until it refreshes.
  ASSERT_EQ(second->getKey("gone", key, ctl, 1), KS_SUCCESS);
  ASSERT_EQ(second->refreshKeys(false), KS_SUCCESS);
  EXPECT_EQ(second->getKey("gone", key, ctl, 1), KS_ERR_KEY_VERSION_NOT_FOUND);
}

TEST_P(OperationsTest, OperationsBeforeInitializeAnswerDatabaseError) {
  QVKeystoreDb keystore;
  SecureBlock key;
  QVKeyControlData ctl;
  std::vector<QVKeyListEntry> keys;
  EXPECT_EQ(keystore.getKey("k", key, ctl, 0), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.createKey("k"), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.reKey("k"), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.listKeys(false, keys), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.refreshKeys(false), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.re_sync(), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.getPluginName(), "QVKeystoreDb");
}

INSTANTIATE_TEST_SUITE_P(Backends, OperationsTest, testing::Values(Backend::kSqlite, Backend::kPostgres), BackendName);

}  // namespace
}  // namespace keystoredbtest
