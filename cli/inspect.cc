#include "cli/commands.h"
#include "cli/io.h"
#include "cli/tool.h"
#include "frame/fixed_names.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/zkjson.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

struct FieldMeaning {
  std::string_view key;
  std::string_view meaning;
  // Byte strings in base64 get their decoded length added to the meaning.
  bool base64 = false;
  // Shown as a length only: cipher text says nothing useful and could be large.
  bool lengthOnly = false;
};

const std::vector<FieldMeaning> kCipherFields = {
    {"v", "record format version (1 for records this library writes)"},
    {"cn", "OpenSSL name of the cipher that encrypted the data"},
    {"iv", "initialisation vector, base64", true},
    {"kn", "name of the keystore key that encrypted the data"},
    {"kv", "version of that keystore key"},
    {"dn", "digest of PBKDF2, which derived the key from the password"},
    {"sa", "PBKDF2 salt, base64", true},
    {"it", "PBKDF2 iteration count"},
    {"cd", "the cipher text", true, true},
};

const std::vector<FieldMeaning> kHashingFields = {
    {"v", "record format version (1 for records this library writes)"},
    {"dn", "OpenSSL name of the digest"},
    {"it", "PBKDF2 iteration count (password hashes only)"},
    {"sa", "salt mixed into the value, base64", true},
    {"di", "the digest, checksum or password-hash value, base64", true},
};

const std::vector<FieldMeaning> kArgon2idFields = {
    {"v", "record format version (2 for Argon2id password hashes)"},
    {"a", "password-hashing algorithm"},
    {"m", "Argon2id memory cost, KiB"},
    {"t", "Argon2id passes over that memory"},
    {"p", "Argon2id lanes"},
    {"sa", "salt mixed into the value, base64", true},
    {"di", "the password-hash value, base64", true},
};

const std::vector<FieldMeaning> kSigningFields = {
    {"v", "record format version (1 for records this library writes)"},
    {"dn", "OpenSSL name of the digest inside the HMAC"},
    {"kn", "name of the keystore key that keyed the HMAC"},
    {"kv", "version of that keystore key"},
    {"hm", "the HMAC value, base64", true},
};

std::string Json(const zkJson::Value& value) {
  zkJson::FastWriter writer;
  writer.omitEndingLineFeed();
  return writer.write(value);
}

bool HasAll(const zkJson::Value& object, std::initializer_list<const char*> keys) {
  for (const char* key : keys) {
    if (!object.isMember(key)) {
      return false;
    }
  }
  return true;
}

std::string Field(std::string_view key, const std::string& valueJson, const std::string& meaning) {
  return "    " + Json(zkJson::Value(key)) + ": {\"value\": " + valueJson +
         ", \"meaning\": " + Json(zkJson::Value(meaning)) + "}";
}

std::string Fields(const zkJson::Value& object, const std::vector<FieldMeaning>& meanings) {
  std::string out;
  for (const std::string& key : object.getMemberNames()) {
    const zkJson::Value& value = object[key];
    std::string meaning = "not a member of this record; ignored by the library";
    std::string valueJson = Json(value);
    for (const FieldMeaning& known : meanings) {
      if (known.key != key) {
        continue;
      }
      meaning = known.meaning;
      if (known.base64 && value.isString()) {
        const std::size_t bytes = base64_decode(value.asString()).size();
        meaning += " (" + std::to_string(bytes) + " bytes)";
        if (known.lengthOnly) {
          valueJson = Json(zkJson::Value("(" + std::to_string(bytes) + " bytes, not shown)"));
        }
      }
    }
    out += (out.empty() ? "" : ",\n") + Field(key, valueJson, meaning);
  }
  return out;
}

void PrintReport(const std::string& kind, bool readable, const std::string& fields) {
  WriteStandardOutput("{\n  \"record\": " + Json(zkJson::Value(kind)) + ",\n  \"readable by the library\": " +
                      (readable ? "true" : "false") + ",\n  \"fields\": {\n" + fields + "\n  }\n}\n");
}

int InspectJson(const std::string& text, const zkJson::Value& object) {
  if (HasAll(object, {"v", "cn", "iv", "cd"})) {
    CipherMeta_t meta;
    std::vector<std::uint8_t> cipherBytes;
    const bool readable = DeserialzeCipherData(text, meta, cipherBytes);
    const std::string mode = object.isMember("kn") ? " (keystore key)" : object.isMember("dn") ? " (password)" : "";
    PrintReport("cipher text" + mode, readable, Fields(object, kCipherFields));
    return kExitOk;
  }
  if (HasAll(object, {"v", "dn", "kn", "kv", "hm"})) {
    SigningData_t record;
    PrintReport("signing record (HMAC)", DeserializeSigningData(record, text), Fields(object, kSigningFields));
    return kExitOk;
  }
  // An Argon2id record names its algorithm and, unlike the other hashing records, no digest.
  if (HasAll(object, {"v", "a", "di"}) && !object.isMember("dn")) {
    Argon2idParameters parameters{};
    PrintReport("password hash record (Argon2id)", ReadPasswordHashArgon2idParameters(text, parameters),
                Fields(object, kArgon2idFields));
    return kExitOk;
  }
  if (HasAll(object, {"v", "dn", "di"})) {
    HashingData_t record;
    const std::string kind = object.isMember("it")   ? "hashing record (password hash)"
                             : object.isMember("sa") ? "hashing record (salted digest)"
                                                     : "hashing record (checksum)";
    PrintReport(kind, DeserializeHashingData(record, text), Fields(object, kHashingFields));
    return kExitOk;
  }
  Failed("inspect: JSON inside, but not a record of this library (its members do not match any record)");
}

int InspectSsv(const std::string& bytes) {
  const std::string iv = base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), kFixedCipherIvLength);
  const std::size_t cipherLength = bytes.size() - kFixedCipherIvLength;
  const std::string fields =
      Field("iv", Json(zkJson::Value(iv)), "initialisation vector, the first 16 bytes") + ",\n" +
      Field("cipher text", Json(zkJson::Value("(" + std::to_string(cipherLength) + " bytes, not shown)")),
            "AES-256-CBC under this machine's SSV key, " + std::to_string(cipherLength / kFixedCipherBlockLength) +
                " block(s); only a machine with the same SSV record decrypts it");
  PrintReport("SSV text", true, fields);
  return kExitOk;
}

}  // namespace

int RunInspect(const Invocation& invocation) {
  const std::string text = ReadTextArgument(CommandArgument(invocation, 0), "text to inspect");
  const std::string bytes = base64_decode(text);
  // Only canonical base64 counts; anything else is not a text the library wrote.
  if (bytes.empty() || base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<std::uint32_t>(bytes.size())) != text) {
    Failed("inspect: not base64, so neither a serialized record nor an SSV text");
  }
  zkJson::Value root;
  zkJson::Reader reader(zkJson::ReaderMode::kDefault);
  if (bytes.front() == '{' && reader.parse(bytes, root, false) && root.isObject()) {
    return InspectJson(text, root);
  }
  if (bytes.size() >= kFixedCipherIvLength + kFixedCipherBlockLength &&
      (bytes.size() - kFixedCipherIvLength) % kFixedCipherBlockLength == 0) {
    return InspectSsv(bytes);
  }
  Failed("inspect: " + std::to_string(bytes.size()) +
         " bytes that are neither a JSON record nor an SSV text (16-byte IV and whole 16-byte blocks)");
}

}  // namespace qvcrypto
