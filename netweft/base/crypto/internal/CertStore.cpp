#include "netweft/base/crypto/internal/CertStore.h"

#include "netweft/base/crypto/internal/OpenSslHandles.h"

#include <openssl/pem.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace qx::impl {

namespace {

#if defined(_WIN32)
constexpr char kPathListSeparator = ';';
#else
constexpr char kPathListSeparator = ':';
#endif

/// A program with raised rights must not take its trust from the environment.
const char* GetSafeEnvironment(const char* name) {
#if defined(__GLIBC__)
  return secure_getenv(name);
#else
  return std::getenv(name);
#endif
}

string GetCertFolders() {
  const char* folders = GetSafeEnvironment(X509_get_default_cert_dir_env());
  return folders == nullptr ? X509_get_default_cert_dir() : folders;
}

/// "5ed36f99.0": a certificate under the hash of its subject, which is how OpenSSL finds it in a folder.
bool IsHashedName(const string& name) {
  const size_t dot = name.find('.');
  const auto isIn = [&name](size_t begin, size_t end, const char* digits) {
    const size_t other = name.find_first_not_of(digits, begin);
    return begin < end && (other == string::npos ? name.size() : other) == end;
  };
  return dot == 8 && isIn(0, dot, "0123456789abcdef") && isIn(dot + 1, name.size(), "0123456789");
}

bool IsEmpty(X509_STORE* store) {
  X509_STORE_lock(store);
  const bool empty = sk_X509_OBJECT_num(X509_STORE_get0_objects(store)) <= 0;
  X509_STORE_unlock(store);
  return empty;
}

void LoadFolder(X509_STORE* store, const string& folder) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (IsHashedName(entry.path().filename().string())) {
      X509_STORE_load_file(store, entry.path().string().c_str());
    }
  }
}

/// The default paths name a bundle, which is read at once, and folders, in which OpenSSL looks when a certificate is
/// wanted. A system with folders alone has them read here, so that it is known whether there is any certificate.
X509StorePtr LoadStore() {
  const ErrorQueueMark mark;
  X509StorePtr store(X509_STORE_new());
  if (store == nullptr) return store;
  X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  X509_STORE_set_default_paths(store.get());
  if (!IsEmpty(store.get())) return store;
  std::istringstream folders(GetCertFolders());
  for (string folder; std::getline(folders, folder, kPathListSeparator);) LoadFolder(store.get(), folder);
  return store;
}

X509_STORE* GetStore() {
  static const X509StorePtr store = LoadStore();
  return store.get();
}

}  // namespace

bool InstallCertStore(SSL_CTX* context) {
  X509_STORE* store = GetStore();
  if (store == nullptr || IsEmpty(store)) return false;
  SSL_CTX_set1_cert_store(context, store);
  return true;
}

bool AddTrustedAuthority(const string& pem) {
  const ErrorQueueMark mark;
  const BioPtr text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  X509_STORE* store = GetStore();
  if (text == nullptr || store == nullptr) return false;
  bool added = false;
  while (const X509Ptr certificate{PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr)}) {
    added = X509_STORE_add_cert(store, certificate.get()) == 1 || added;
  }
  return added;
}

}  // namespace qx::impl
