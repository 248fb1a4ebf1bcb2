#include "arraysim/TlsContext.h"

#include "arraysim/Simulator.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace arraysim {

struct ServerCertificate::Parts {
    struct PkeyFree {
        void operator()(EVP_PKEY* pkey) const { EVP_PKEY_free(pkey); }
    };
    struct X509Free {
        void operator()(X509* cert) const { X509_free(cert); }
    };
    std::unique_ptr<EVP_PKEY, PkeyFree> key;
    std::unique_ptr<X509, X509Free> certificate;
};

namespace {

constexpr long kDaySeconds = 24L * 3600;
constexpr long kValiditySeconds = 10L * 365 * kDaySeconds;

struct FileClose {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileClose>;

std::string derSha256(X509* certificate) {
    unsigned char digest[EVP_MAX_MD_SIZE] = {};
    unsigned int length = 0;
    if (X509_digest(certificate, EVP_sha256(), digest, &length) != 1) {
        throw std::runtime_error("cannot hash the simulator's certificate");
    }
    static const char* const kHex = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += kHex[digest[i] >> 4];
        text += kHex[digest[i] & 0x0f];
    }
    return text;
}

void addName(X509_NAME* name, const char* field, const std::string& value) {
    X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC, reinterpret_cast<const unsigned char*>(value.c_str()), -1,
                               -1, 0);
}

}  // namespace

ServerCertificate::ServerCertificate(std::shared_ptr<const Parts> parts)
    : mParts(std::move(parts)), mSha256(derSha256(mParts->certificate.get())) {}

ServerCertificate ServerCertificate::make(const std::string& commonName, const CertificateSpec& spec) {
    auto parts = std::make_shared<Parts>();
    parts->key.reset(EVP_EC_gen("P-256"));
    if (!parts->key) throw std::runtime_error("cannot generate the simulator's key");
    parts->certificate.reset(X509_new());
    X509* cert = parts->certificate.get();
    if (cert == nullptr) throw std::runtime_error("cannot allocate the simulator's certificate");
    X509_set_version(cert, 2);
    // A random serial, so that two certificates of one name never look alike to a client.
    ASN1_INTEGER* serial = X509_get_serialNumber(cert);
    BIGNUM* random = BN_new();
    BN_rand(random, 64, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY);
    BN_to_ASN1_INTEGER(random, serial);
    BN_free(random);
    if (spec.expired) {
        X509_gmtime_adj(X509_getm_notBefore(cert), -30 * kDaySeconds);
        X509_gmtime_adj(X509_getm_notAfter(cert), -kDaySeconds);
    } else {
        // Valid from a day ago, so a client clock slightly behind still accepts the dates.
        X509_gmtime_adj(X509_getm_notBefore(cert), -kDaySeconds);
        X509_gmtime_adj(X509_getm_notAfter(cert), kValiditySeconds);
    }
    X509_set_pubkey(cert, parts->key.get());
    X509_NAME* name = X509_get_subject_name(cert);
    addName(name, "O", "Vantor array simulator");
    addName(name, "CN", commonName);
    X509_set_issuer_name(cert, name);
    if (X509_sign(cert, parts->key.get(), EVP_sha256()) == 0) {
        throw std::runtime_error("cannot sign the simulator's certificate");
    }
    return ServerCertificate(std::move(parts));
}

ServerCertificate ServerCertificate::load(const std::string& path) {
    const File file(std::fopen(path.c_str(), "r"));
    if (!file) throw std::runtime_error("cannot open certificate file " + path);
    auto parts = std::make_shared<Parts>();
    parts->key.reset(PEM_read_PrivateKey(file.get(), nullptr, nullptr, nullptr));
    parts->certificate.reset(PEM_read_X509(file.get(), nullptr, nullptr, nullptr));
    if (!parts->key || !parts->certificate) {
        throw std::runtime_error(path + " must hold a PEM private key followed by its certificate");
    }
    if (X509_check_private_key(parts->certificate.get(), parts->key.get()) != 1) {
        throw std::runtime_error("the key and certificate in " + path + " do not belong together");
    }
    return ServerCertificate(std::move(parts));
}

void ServerCertificate::save(const std::string& path) const {
    const std::string temporary = path + ".tmp";
    {
        const mode_t previous = umask(077);
        const File file(std::fopen(temporary.c_str(), "w"));
        umask(previous);
        if (!file) throw std::runtime_error("cannot write certificate file " + temporary);
        if (PEM_write_PrivateKey(file.get(), mParts->key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1 ||
            PEM_write_X509(file.get(), mParts->certificate.get()) != 1) {
            throw std::runtime_error("cannot write certificate file " + temporary);
        }
    }
    std::filesystem::rename(temporary, path);
}

Poco::Net::Context::Ptr ServerCertificate::serverContext() const {
    Poco::Net::Context::Ptr context =
        new Poco::Net::Context(Poco::Net::Context::TLS_SERVER_USE, "", Poco::Net::Context::VERIFY_NONE);
    context->requireMinimumProtocol(Poco::Net::Context::PROTO_TLSV1_2);
    if (SSL_CTX_use_certificate(context->sslContext(), mParts->certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context->sslContext(), mParts->key.get()) != 1) {
        throw std::runtime_error("cannot install the simulator's certificate");
    }
    return context;
}

ServerCertificate groupCertificate(const std::string& path, const std::string& commonName) {
    if (!path.empty() && std::filesystem::exists(path)) return ServerCertificate::load(path);
    ServerCertificate made = ServerCertificate::make(commonName, CertificateSpec{});
    if (!path.empty()) made.save(path);
    return made;
}

}  // namespace arraysim
