#include "sandbox/certificate.h"

#include <fcntl.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>

#include "platform/files/unique_fd.h"

namespace sandbox {
namespace {

struct Deleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
template <class T>
using Owned = std::unique_ptr<T, Deleter>;

bool extend(X509* certificate, int id, const char* value) {
  const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, nullptr, id, value));
  return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

Owned<EVP_PKEY> make_key() {
  const Owned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_id(EVP_PKEY_EC, nullptr));
  EVP_PKEY* key = nullptr;
  if (!context || EVP_PKEY_keygen_init(context.get()) != 1 ||
      EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context.get(), NID_X9_62_prime256v1) != 1 ||
      EVP_PKEY_keygen(context.get(), &key) != 1)
    return nullptr;
  return Owned<EVP_PKEY>(key);
}

bool fill(X509* certificate, EVP_PKEY* key) {
  constexpr long DAY = 24L * 60 * 60;
  constexpr long VERSION_3 = 2;
  X509_NAME* const name = X509_get_subject_name(certificate);
  const auto* const common_name = reinterpret_cast<const unsigned char*>("catalog service");
  return X509_set_version(certificate, VERSION_3) == 1 &&
         ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1) == 1 &&
         X509_gmtime_adj(X509_getm_notBefore(certificate), -DAY) != nullptr &&
         X509_gmtime_adj(X509_getm_notAfter(certificate), DAY) != nullptr &&
         X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, common_name, -1, -1, 0) == 1 &&
         X509_set_issuer_name(certificate, name) == 1 && X509_set_pubkey(certificate, key) == 1 &&
         extend(certificate, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost") &&
         extend(certificate, NID_basic_constraints, "critical,CA:TRUE") &&
         X509_sign(certificate, key, EVP_sha256()) > 0;
}

Owned<std::FILE> create(const std::string& path, mode_t mode) {
  platform::Unique_Fd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  if (!fd) return nullptr;
  return Owned<std::FILE>(::fdopen(fd.release(), "w"));
}

}  // namespace

bool write_certificate(const std::string& certificate_path, const std::string& key_path) {
  const Owned<EVP_PKEY> key = make_key();
  const Owned<X509> certificate(X509_new());
  if (!key || !certificate || !fill(certificate.get(), key.get())) return false;

  const Owned<std::FILE> certificate_file = create(certificate_path, 0644);
  const Owned<std::FILE> key_file = create(key_path, 0600);
  return certificate_file && key_file && PEM_write_X509(certificate_file.get(), certificate.get()) == 1 &&
         PEM_write_PrivateKey(key_file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1;
}

}  // namespace sandbox
