#include "TestCertificates.h"

#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kau::test {
namespace {

void openssl(std::vector<std::string> args)
{
    args.insert(args.begin(), "openssl");
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int null = ::open("/dev/null", O_RDWR);
        ::dup2(null, STDIN_FILENO);
        ::dup2(null, STDOUT_FILENO);
        ::dup2(null, STDERR_FILENO);
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("TestCertificates: openssl " + args.at(1) + " failed");
}

const std::vector<std::string> kNewKey = {"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                                          "-nodes"};

} // namespace

TestCertificates::TestCertificates()
{
    makeCa("trusted-ca");
    makeCa("other-ca");
    makeServer("server", "trusted-ca", "IP:127.0.0.1,DNS:localhost");
    makeServer("stranger", "other-ca", "IP:127.0.0.1,DNS:localhost");
    makeServer("wrong-name", "trusted-ca", "DNS:elsewhere.example");
}

const TestCertificates& TestCertificates::shared()
{
    static const TestCertificates certificates;
    return certificates;
}

void TestCertificates::makeCa(const std::string& name) const
{
    std::vector<std::string> args = {"req", "-x509"};
    args.insert(args.end(), kNewKey.begin(), kNewKey.end());
    args.insert(args.end(), {"-keyout", m_dir / (name + ".key"), "-out", m_dir / (name + ".pem"),
                             "-days", "2", "-subj", "/CN=KorAutoUpdate test " + name});
    openssl(args);
}

void TestCertificates::makeServer(const std::string& name, const std::string& ca,
                                  const std::string& names) const
{
    std::vector<std::string> args = {"req"};
    args.insert(args.end(), kNewKey.begin(), kNewKey.end());
    args.insert(args.end(), {"-keyout", m_dir / (name + ".key"), "-out", m_dir / (name + ".csr"),
                             "-subj", "/CN=" + name});
    openssl(args);
    m_dir.write(name + ".ext", "basicConstraints=CA:FALSE\nsubjectAltName=" + names + "\n");
    openssl({"x509", "-req", "-in", m_dir / (name + ".csr"), "-CA", m_dir / (ca + ".pem"),
             "-CAkey", m_dir / (ca + ".key"), "-CAcreateserial", "-days", "2", "-extfile",
             m_dir / (name + ".ext"), "-out", m_dir / (name + ".crt")});
    m_dir.write(name + ".pem", m_dir.read(name + ".crt") + m_dir.read(name + ".key"));
}

} // namespace kau::test
