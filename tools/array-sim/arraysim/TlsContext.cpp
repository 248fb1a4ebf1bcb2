#include "arraysim/TlsContext.h"

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <memory>
#include <mutex>
#include <stdexcept>

namespace arraysim {
namespace {

struct PkeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct X509Free {
    void operator()(X509* cert) const { X509_free(cert); }
};
using PkeyPtr = std::unique_ptr<EVP_PKEY, PkeyFree>;
using X509Ptr = std::unique_ptr<X509, X509Free>;

struct SelfSigned {
    PkeyPtr key;
    X509Ptr certificate;
};

constexpr long kValiditySeconds = 10L * 365 * 24 * 3600;

SelfSigned makeSelfSigned() {
    SelfSigned made;
    made.key.reset(EVP_RSA_gen(2048));
    if (!made.key) throw std::runtime_error("cannot generate the simulator's RSA key");
    made.certificate.reset(X509_new());
    X509* cert = made.certificate.get();
    if (cert == nullptr) throw std::runtime_error("cannot allocate the simulator's certificate");
    X509_set_version(cert, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert), 1);
    // Valid from a day ago, so a client clock slightly behind still accepts the dates.
    X509_gmtime_adj(X509_getm_notBefore(cert), -24L * 3600);
    X509_gmtime_adj(X509_getm_notAfter(cert), kValiditySeconds);
    X509_set_pubkey(cert, made.key.get());
    X509_NAME* name = X509_get_subject_name(cert);
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("Vantor array simulator"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("vantor-array-sim"), -1, -1, 0);
    X509_set_issuer_name(cert, name);
    if (X509_sign(cert, made.key.get(), EVP_sha256()) == 0) {
        throw std::runtime_error("cannot sign the simulator's certificate");
    }
    return made;
}

const SelfSigned& processCertificate() {
    static std::once_flag once;
    static SelfSigned made;
    std::call_once(once, [] { made = makeSelfSigned(); });
    return made;
}

}  // namespace

Poco::Net::Context::Ptr makeServerTlsContext() {
    const SelfSigned& made = processCertificate();
    Poco::Net::Context::Ptr context =
        new Poco::Net::Context(Poco::Net::Context::TLS_SERVER_USE, "", Poco::Net::Context::VERIFY_NONE);
    context->requireMinimumProtocol(Poco::Net::Context::PROTO_TLSV1_2);
    if (SSL_CTX_use_certificate(context->sslContext(), made.certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context->sslContext(), made.key.get()) != 1) {
        throw std::runtime_error("cannot install the simulator's certificate");
    }
    return context;
}

}  // namespace arraysim
