// TestCertificate.cpp: the key and certificate through OpenSSL's library, as `openssl req -x509`
// makes them: a CA certificate that trusts itself, with the address in its alternative names.
#include "TestCertificate.h"

#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace servicetest {
namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using Extension = std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)>;
using File = std::unique_ptr<BIO, decltype(&BIO_free)>;

constexpr long kTwoDays = 2 * 24 * 60 * 60;

bool AddExtension(X509* certificate, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value),
                              X509_EXTENSION_free);
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

bool Fill(X509* certificate, EVP_PKEY* key) {
    X509_NAME* name = X509_get_subject_name(certificate);
    const auto* host = reinterpret_cast<const unsigned char*>("127.0.0.1");
    return X509_set_version(certificate, 2) == 1 &&  // version 3
           ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1) == 1 &&
           X509_gmtime_adj(X509_getm_notBefore(certificate), 0) != nullptr &&
           X509_gmtime_adj(X509_getm_notAfter(certificate), kTwoDays) != nullptr &&
           X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, host, -1, -1, 0) == 1 &&
           X509_set_issuer_name(certificate, name) == 1 && X509_set_pubkey(certificate, key) == 1 &&
           AddExtension(certificate, NID_basic_constraints, "critical,CA:TRUE") &&
           AddExtension(certificate, NID_subject_alt_name, "IP:127.0.0.1") &&
           X509_sign(certificate, key, EVP_sha256()) > 0;
}

}  // namespace

bool WriteSelfSignedCertificate(const std::string& keyPath, const std::string& certificatePath) {
    const Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const Certificate certificate(X509_new(), X509_free);
    if (!key || !certificate || !Fill(certificate.get(), key.get())) {
        return false;
    }
    // OpenSSL reads file names as UTF-8, on Windows too.
    const File keyFile(BIO_new_file(keyPath.c_str(), "w"), BIO_free);
    const File certificateFile(BIO_new_file(certificatePath.c_str(), "w"), BIO_free);
    return keyFile && certificateFile &&
           PEM_write_bio_PrivateKey(keyFile.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                    nullptr) == 1 &&
           PEM_write_bio_X509(certificateFile.get(), certificate.get()) == 1;
}

}  // namespace servicetest
