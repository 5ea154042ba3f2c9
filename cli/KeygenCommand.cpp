#include "KeygenCommand.h"

#include "ExitCodes.h"
#include "trust/Ed25519.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace kau::cli {

int runKeygen(const CommandLine& line, std::ostream& out, std::ostream& err)
{
    const ed25519::KeyPair pair = ed25519::Generate();
    // Owner-only from the first byte; never over an existing key.
    const int fd = ::open(line.keyFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        err << "korautoupdate: " << line.keyFile << ": " << std::strerror(errno) << "\n";
        return kExitFailed;
    }
    const bool written = ::write(fd, pair.privatePem.data(), pair.privatePem.size())
                         == static_cast<ssize_t>(pair.privatePem.size());
    if (::close(fd) != 0 || !written) {
        ::unlink(line.keyFile.c_str());
        err << "korautoupdate: " << line.keyFile << " could not be written\n";
        return kExitFailed;
    }
    out << pair.publicBase64 << "\n";
    err << "korautoupdate: private key in " << line.keyFile
        << "; build with -DKAU_PUBLIC_KEY=" << pair.publicBase64 << "\n";
    return kExitOk;
}

} // namespace kau::cli
