#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/encryption_streams.h>
#include <qvcryptoservice/qvpax.h>

#include "primitives/secret_string.h"

#include "encryption/cipher_steps.h"
#include "encryption/cipher_stream.h"
#include "encryption/cipher_text_reader.h"
#include "encryption/cipher_text_writer.h"
#include "encryption/key_retrieval.h"
#include "encryption/stream_steps.h"
#include "frame/fixed_names.h"
#include "primitives/c_boundary.h"
#include "primitives/openssl_int.h"

#include <algorithm>
#include <vector>

namespace QVCryptoService {
namespace {

// Plain text is read, and text handed on, in pieces of this size.
constexpr std::size_t kPieceSize = std::size_t{1} << 20;

std::span<const std::uint8_t> BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// ReadPiece fills `piece` from `source`; false when the source failed or claimed more than asked.
bool ReadPiece(ByteSource& source, std::span<std::uint8_t> piece, std::size_t& count) {
  count = 0;
  return source.Read(piece, count) && count <= piece.size();
}

// DecryptPieces decrypts the cipher bytes under `key` and the record's IV into `plain`,
// releasing each piece once it is decrypted. A record whose IV does not fit the cipher gets
// the one-call decryption's answer.
PxaResult DecryptPieces(const SecureBlock& key, const CipherMeta_t& meta, CipherPieces& pieces, ByteSink& plain) {
  CipherStream cipher;
  if (const PxaResult started = cipher.Start(meta.cipherName, key, meta.iv, false); started != PXA_OK) {
    std::vector<std::uint8_t> bytes;
    for (const std::vector<std::uint8_t>& piece : pieces) {
      bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    SecureBlock out(bytes.size() + kCipherSlack);
    std::size_t written = 0;
    const PxaResult result =
        DecryptWithRecordIv(meta.cipherName, key, meta, bytes.data(), bytes.size(), out.data(), written);
    return result != PXA_OK ? result : plain.Write({out.data(), written}) ? PXA_OK : PXA_ERR_UNSPECIFIED;
  }
  SecureBlock out(kPieceSize + CipherStream::kRoom);
  std::size_t written = 0;
  for (std::vector<std::uint8_t>& piece : pieces) {
    for (std::size_t done = 0; done < piece.size(); done += kPieceSize) {
      const std::size_t size = std::min(kPieceSize, piece.size() - done);
      if (const PxaResult result = cipher.Update({piece.data() + done, size}, out.data(), written); result != PXA_OK) {
        return result;
      }
      if (!plain.Write({out.data(), written})) {
        return PXA_ERR_UNSPECIFIED;
      }
    }
    std::vector<std::uint8_t>().swap(piece);
  }
  if (const PxaResult result = cipher.Finish(out.data(), written); result != PXA_OK) {
    return result;
  }
  return plain.Write({out.data(), written}) ? PXA_OK : PXA_ERR_UNSPECIFIED;
}

}  // namespace

ByteSource::~ByteSource() = default;
ByteSink::~ByteSink() = default;

PxaResult EncryptStreamUnder(const SecureBlock& key, const CipherMeta_t& meta, ByteSource& plain, ByteSink& text) {
  CipherStream cipher;
  if (const PxaResult started = cipher.Start(meta.cipherName, key, meta.iv, true); started != PXA_OK) {
    return started;
  }
  CipherTextWriter writer([&text](std::string_view piece) { return text.Write(BytesOf(piece)); });
  SecureBlock in(kPieceSize);
  std::vector<std::uint8_t> out(kPieceSize + CipherStream::kRoom);
  std::uint64_t total = 0;
  std::size_t count = 0;
  std::size_t written = 0;
  while (true) {
    if (!ReadPiece(plain, {in.data(), in.size()}, count)) {
      return PXA_ERR_UNSPECIFIED;
    }
    if (count == 0) {
      break;
    }
    total += count;
    if (!NarrowToOpenSslInt(total, kCipherSlack)) {
      return PXA_ERR_INVALID_ARGUMENTS;
    }
    if (const PxaResult result = cipher.Update({in.data(), count}, out.data(), written); result != PXA_OK) {
      return result;
    }
    if (!writer.AppendCipherBytes({out.data(), written})) {
      return PXA_ERR_UNSPECIFIED;
    }
  }
  if (const PxaResult result = cipher.Finish(out.data(), written); result != PXA_OK) {
    return result;
  }
  return writer.AppendCipherBytes({out.data(), written}) && writer.Finish(meta) ? PXA_OK : PXA_ERR_UNSPECIFIED;
}

PxaResult DecryptStreamWith(ByteSource& text, ByteSink& plain, const RecordKey& recordKey,
                            const OneCallDecryption& oneCall) {
  CipherTextReader reader;
  std::vector<std::uint8_t> piece(kPieceSize);
  std::size_t count = 0;
  do {
    if (!ReadPiece(text, piece, count)) {
      return PXA_ERR_UNSPECIFIED;
    }
    reader.Take(std::string_view(reinterpret_cast<const char*>(piece.data()), count));
  } while (count != 0);
  switch (reader.Finish()) {
    case CipherTextReader::Outcome::kTooLong:
      return PXA_ERR_CORRUPTED_DATA;
    case CipherTextReader::Outcome::kWholeText: {
      SecureBlock whole;
      const PxaResult result = oneCall(reader.wholeText(), whole);
      if (result != PXA_OK) {
        return result;
      }
      return plain.Write({whole.data(), whole.size()}) ? PXA_OK : PXA_ERR_UNSPECIFIED;
    }
    case CipherTextReader::Outcome::kRecord:
      break;
  }
  SecureBlock key;
  if (const PxaResult result = recordKey(reader.meta(), key); result != PXA_OK) {
    return result;
  }
  return DecryptPieces(key, reader.meta(), reader.pieces(), plain);
}

PxaResult EncryptDataStream(ByteSource& plain, ByteSink& cipherText, const std::string& keystoreName) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    SecureBlock key;
    QVKeyControlData ctl;
    if (const PxaResult fetched = FetchKeyToEncrypt(*QVpax::getInstance()->GetKeystoreMgr(), keystoreName, kFixedCipher,
                                                    kFixedEncryptionKey, key, ctl);
        fetched != PXA_OK) {
      return fetched;
    }
    std::vector<std::uint8_t> iv;
    if (const PxaResult drawn = FreshIv(kFixedCipher, iv); drawn != PXA_OK) {
      return drawn;
    }
    CipherMeta_t meta;
    FillKeystoreRecord(kFixedCipher, std::move(iv), kFixedEncryptionKey, ctl.version, meta);
    return EncryptStreamUnder(key, meta, plain, cipherText);
  });
}

PxaResult DecryptDataStream(ByteSource& cipherText, ByteSink& plain, const std::string& keystoreName) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    return DecryptStreamWith(
        cipherText, plain,
        [](const CipherMeta_t& meta, SecureBlock& key) {
          return FetchKeyToDecrypt(*QVpax::getInstance()->GetKeystoreMgr(), kFixedCipher, kFixedEncryptionKey, meta,
                                   key);
        },
        [&keystoreName](const std::string& text, SecureBlock& whole) {
          return DecryptData(text, whole, keystoreName);
        });
  });
}

PxaResult EncryptWithPasswordStream(ByteSource& plain, const std::string& password, ByteSink& cipherText) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    SecureBlock key;
    CipherMeta_t meta;
    if (const PxaResult derived = NewPasswordKey(kFixedCipher, password, key, meta); derived != PXA_OK) {
      return derived;
    }
    if (const PxaResult drawn = FreshIv(kFixedCipher, meta.iv); drawn != PXA_OK) {
      return drawn;
    }
    return EncryptStreamUnder(key, meta, plain, cipherText);
  });
}

PxaResult DecryptWithPasswordStream(ByteSource& cipherText, const std::string& password, ByteSink& plain) {
  return RunForC(PXA_ERR_UNSPECIFIED, [&] {
    return DecryptStreamWith(
        cipherText, plain,
        [&password](const CipherMeta_t& meta, SecureBlock& key) {
          return RecordPasswordKey(kFixedCipher, password, meta, key);
        },
        [&password](const std::string& text, SecureBlock& whole) {
          return DecryptWithPassword(text, password, whole);
        });
  });
}

}  // namespace QVCryptoService
