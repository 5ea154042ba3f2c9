#pragma once
// Certificates for the TLS test server, made by the openssl command in a
// temporary directory: two CAs, and server certificates signed by them. A
// server file holds the certificate and its key, as ftp_server.py --tls reads it.
#include "TempDir.h"

#include <string>

namespace kau::test {

class TestCertificates {
public:
    TestCertificates(); // throws when openssl fails
    // Made once for the whole test program.
    static const TestCertificates& shared();

    std::string trustedCa() const { return m_dir / "trusted-ca.pem"; }
    std::string otherCa() const { return m_dir / "other-ca.pem"; }
    // For 127.0.0.1 and localhost, by the trusted CA.
    std::string server() const { return m_dir / "server.pem"; }
    // For 127.0.0.1 and localhost, by the other CA.
    std::string strangerServer() const { return m_dir / "stranger.pem"; }
    // For elsewhere.example only, by the trusted CA.
    std::string wrongNameServer() const { return m_dir / "wrong-name.pem"; }

private:
    void makeCa(const std::string& name) const;
    void makeServer(const std::string& name, const std::string& ca, const std::string& names) const;

    TempDir m_dir;
};

} // namespace kau::test
