#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvhashing.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/qvsigning.h>
#include <qvcryptoservice/ssv_crypto.h>

#include <openssl/crypto.h>

#include <mutex>

namespace QVCryptoService {

std::shared_ptr<QVpax> QVpax::m_Instance;
bool QVpax::m_instanceReady = false;

namespace {
std::mutex g_initMutex;
bool g_initialized = false;
}  // namespace

// Members are assigned in order; if a later step throws, the members already made are released
// in reverse order by the destructors of the fully constructed members.
QVpax::QVpax() {
  OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);
  OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
  keystoreMgr_ = std::make_shared<CQVKeystoreMgr>();
  ssvCrypto_ = std::make_shared<QVSSVCrypto>();
  crypto_ = std::make_shared<QVCrypto>(keystoreMgr_);
  hashing_ = std::make_shared<QVHashing>();
  signing_ = std::make_shared<QVSigning>(keystoreMgr_);
}

QVpax::QVpax(const QVpax& other) = default;
QVpax& QVpax::operator=(const QVpax& other) = default;
QVpax::~QVpax() = default;

std::shared_ptr<QVpax>& QVpax::getInstance() {
  if (!m_instanceReady) {
    m_Instance = std::make_shared<QVpax>();
    m_instanceReady = true;
  }
  return m_Instance;
}

std::shared_ptr<QVCertificate> QVpax::CertificateIntrf() { return certificate_; }
std::shared_ptr<QVHashing> QVpax::HashingIntrf() { return hashing_; }
std::shared_ptr<QVSigning> QVpax::SigningIntrf() { return signing_; }
std::shared_ptr<QVCrypto> QVpax::CryptoIntrf() { return crypto_; }
std::shared_ptr<QVSSVCrypto> QVpax::SSVCryptoIntrf() { return ssvCrypto_; }
std::shared_ptr<QVSecureComms> QVpax::SecureCommsIntrf() { return secureComms_; }
std::shared_ptr<CQVKeystoreMgr> QVpax::GetKeystoreMgr() { return keystoreMgr_; }

void QVpax::addKeystoreImpl(const std::string& name, const std::shared_ptr<IQVKeyStore>& store) {
  (void)keystoreMgr_->AddKeystore(name, store);
}

bool InitLibrary() {
  const std::lock_guard lock(g_initMutex);
  if (!g_initialized) {
    (void)QVpax::getInstance();
    g_initialized = true;
  }
  return true;
}

bool SetKeystore(const std::string& name, const std::shared_ptr<IQVKeyStore>& store) {
  const std::shared_ptr<CQVKeystoreMgr> manager = QVpax::getInstance()->GetKeystoreMgr();
  return manager->AddKeystore(name, store);
}

}  // namespace QVCryptoService
