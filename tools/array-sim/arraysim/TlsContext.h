#pragma once
// The TLS side of the REST servers: each group presents a self-signed certificate of its own
// (an EC key, made in a moment), kept in memory or in a PEM file, TLS 1.2 or later.

#include <Poco/Net/Context.h>

#include <memory>
#include <string>

namespace arraysim {

struct CertificateSpec;

class ServerCertificate {
public:
    // A new key and certificate for `commonName`.
    static ServerCertificate make(const std::string& commonName, const CertificateSpec& spec);
    // Key and certificate from a PEM file; throws std::runtime_error when it holds neither.
    static ServerCertificate load(const std::string& path);
    // Both in one PEM file that only its owner may read (replaced atomically).
    void save(const std::string& path) const;

    // SHA-256 of the DER certificate, lower-case hex.
    const std::string& sha256() const { return mSha256; }
    Poco::Net::Context::Ptr serverContext() const;

private:
    struct Parts;
    explicit ServerCertificate(std::shared_ptr<const Parts> parts);
    std::shared_ptr<const Parts> mParts;
    std::string mSha256;
};

// The certificate a group starts with: loaded from `path` when it exists, otherwise made (and
// saved there when a path is given).
ServerCertificate groupCertificate(const std::string& path, const std::string& commonName);

}  // namespace arraysim
