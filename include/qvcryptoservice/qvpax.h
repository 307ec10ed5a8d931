#pragma once

// The process-wide service object and the library's start-up entry points.

#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcs_export.h>

#include <memory>
#include <string>

namespace QVCryptoService {

class QVCertificate;
class QVHashing;
class QVSigning;
class QVCrypto;
class QVSSVCrypto;
class QVSecureComms;

// QVpax owns one instance of each engine and the keystore manager and hands them out as shared
// pointers. Build it with InitLibrary before using the library from several threads.
class QVCS_EXPORT QVpax {
 public:
  // getInstance returns the singleton, building it on first use. It takes no lock: call
  // InitLibrary once before concurrent use.
  static std::shared_ptr<QVpax>& getInstance();

  // The constructor initialises OpenSSL, then makes the keystore manager (empty), the SSV engine,
  // the encryption engine, the hashing engine and the signing engine, in that order.
  QVpax();
  QVpax(const QVpax& other);
  QVpax& operator=(const QVpax& other);
  ~QVpax();

  // CertificateIntrf and SecureCommsIntrf always return an empty pointer: this build carries no
  // certificate or secure-communications engine. Callers must test for null.
  std::shared_ptr<QVCertificate> CertificateIntrf();
  std::shared_ptr<QVHashing> HashingIntrf();
  std::shared_ptr<QVSigning> SigningIntrf();
  std::shared_ptr<QVCrypto> CryptoIntrf();
  std::shared_ptr<QVSSVCrypto> SSVCryptoIntrf();
  std::shared_ptr<QVSecureComms> SecureCommsIntrf();
  std::shared_ptr<CQVKeystoreMgr> GetKeystoreMgr();

  // addKeystoreImpl registers `store` under `name` in the keystore manager.
  void addKeystoreImpl(const std::string& name, const std::shared_ptr<IQVKeyStore>& store);

 private:
  // Declaration order is release order in reverse; keep it.
  std::shared_ptr<QVCertificate> certificate_;
  std::shared_ptr<QVHashing> hashing_;
  std::shared_ptr<QVSigning> signing_;
  std::shared_ptr<QVCrypto> crypto_;
  std::shared_ptr<QVSSVCrypto> ssvCrypto_;
  std::shared_ptr<QVSecureComms> secureComms_;
  std::shared_ptr<CQVKeystoreMgr> keystoreMgr_;

  static std::shared_ptr<QVpax> m_Instance;
  static bool m_instanceReady;
};

// InitLibrary builds the service singleton once, under a lock. Always returns true.
QVCS_EXPORT bool InitLibrary();

// SetKeystore registers `store` under `name` (replacing any keystore of that name). No keystore
// is registered by default; the engines look for "ZKSystem". Always returns true.
QVCS_EXPORT bool SetKeystore(const std::string& name, const std::shared_ptr<IQVKeyStore>& store);

}  // namespace QVCryptoService
